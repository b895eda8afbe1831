// Positions that a signed 32-bit value cannot hold, on a sparse file of more than 4 GiB. Every
// build behaves as one whose `long` has 32 bits.
#include <gmock/gmock.h>

#include "tests/support/service_host.h"

namespace {

using namespace avi_builder;
using testing::ElementsAre;

constexpr std::int64_t kLast = 2147483647;  // the last position that can be told
constexpr std::int64_t k4GiB = 4294967296;

class LongFile : public testing::Test {
protected:
    // A film, and behind it two chunks that take up the rest.
    LongFile() : film_(plain_file() + claiming("JUNK", kFirstGap, "")) {
        const auto second = static_cast<std::int64_t>(plain_file().size()) + 8 + kFirstGap;
        film_.write(second, claiming("JUNK", kSecondGap, ""));
        film_.resize(second + 8 + kSecondGap);
    }

    // Puts a chunk where its payload begins at `position`.
    void put(std::string_view id, std::int64_t position, const Bytes &payload) {
        film_.write(position - 8, chunk(id, payload));
    }

    // Goes to a position of any size, in steps that a 32-bit offset can make.
    static void go_to(const OpenFile &file, std::int64_t position) {
        file.seek(0, SEEK_SET);
        for (; position > kLast; position -= kLast) file.seek(kLast, SEEK_CUR);
        file.seek(position, SEEK_CUR);
    }

    const char *path() const { return film_.path(); }

private:
    static constexpr std::uint32_t kFirstGap = 0xC0000000;
    static constexpr std::uint32_t kSecondGap = 0x60000000;

    TempFile film_;
};

const Message not_data = detail("%s : This is not data frame area\n",
                                "drm_svc_sorn_read_file : This is not data frame area\n");
const Message video_starts = detail("CHUNK_TYPE_VIDEO STARTS\n", "CHUNK_TYPE_VIDEO STARTS\n");

Bytes read_at(const OpenFile &file, std::uint32_t size, const Message &expected) {
    forget_messages();
    Bytes bytes = file.read(size);
    EXPECT_EQ(messages().size(), 2U);
    EXPECT_EQ(messages().back(), expected);
    return bytes;
}

TEST_F(LongFile, IsPlayedUpToTheLastPositionThatCanBeTold) {
    put("00dc", kLast, filler(16));
    const OpenFile file(path());
    file.seek(kLast);
    EXPECT_EQ(file.tell(), kLast);
    EXPECT_EQ(read_at(file, 16, video_starts), filler(16));
    EXPECT_EQ(file.tell(), -1);
}

TEST_F(LongFile, IsNoDataFrameAreaFromTheNextPositionOn) {
    put("00dc", kLast + 1, filler(16));
    const OpenFile file(path());
    go_to(file, kLast + 1);
    EXPECT_EQ(file.tell(), -1);
    EXPECT_EQ(read_at(file, 16, not_data), filler(16));
    EXPECT_EQ(file.tell(), -1);
}

// Cut to 32 bits, these positions would be small ones, or negative.
TEST_F(LongFile, DeliversTheRightBytesAtAnyDistance) {
    const std::int64_t positions[] = {kLast + 100, k4GiB - 50, k4GiB + 3, k4GiB + 0x108};
    const auto payload = [](std::int64_t position) {
        return filler(16, static_cast<std::uint32_t>(position & 0xFFFF));
    };
    for (const std::int64_t position : positions) put("01wb", position, payload(position));
    const OpenFile file(path());
    for (const std::int64_t position : positions) {
        go_to(file, position);
        EXPECT_EQ(file.tell(), -1) << position;
        EXPECT_EQ(read_at(file, 16, not_data), payload(position)) << position;
        EXPECT_EQ(file.tell(), -1) << position;
    }
}

TEST_F(LongFile, IsReachedFromItsEndToo) {
    const OpenFile file(path());
    file.seek(0, SEEK_END);
    EXPECT_EQ(file.tell(), -1);
    EXPECT_EQ(read_at(file, 10, not_data), "");
    file.seek(-4, SEEK_END);
    EXPECT_EQ(read_at(file, 10, not_data), Bytes(4, '\0'));
}

TEST_F(LongFile, ComesBackFromBeyond) {
    const OpenFile file(path());
    go_to(file, k4GiB + 1000);
    ASSERT_EQ(file.tell(), -1);
    file.seek(0, SEEK_SET);
    EXPECT_EQ(file.tell(), 0);
    EXPECT_EQ(read_at(file, 100, not_data), plain_file().substr(0, 100));
    EXPECT_EQ(file.tell(), 100);

    go_to(file, kLast + 50);
    file.seek(-100, SEEK_CUR);
    EXPECT_EQ(file.tell(), kLast - 50);
}

}  // namespace
