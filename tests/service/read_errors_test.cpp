// Reads at and behind bytes that cannot be read, as those of a bad sector. The plug-in's own source
// is linked in, so that its file can be damaged.
#include <gmock/gmock.h>

#include "tests/support/controlled_libc.h"
#include "tests/support/debug_messages.h"
#include "tests/support/test_files.h"

namespace {

using namespace avi_builder;

const std::string kUnknown = "unknown chunk type : offset - ";
const std::string kVideo = "CHUNK_TYPE_VIDEO STARTS\n";

// A film whose last chunk can be damaged, at positions that count from its payload.
class DamagedChunk : public testing::Test {
protected:
    static constexpr std::int32_t kPayload = 400;

    DamagedChunk() { EXPECT_EQ(drm_svc_sorn_open_file("film.avi", &handle_), DRM_SVC_SORN_OK); }
    ~DamagedChunk() override { drm_svc_sorn_close_file(handle_); }

    void damage(std::int32_t offset) {
        libc_.repair();
        libc_.damage(position_ + offset);
    }
    void go_to_payload() { drm_svc_sorn_seek_file(handle_, position_, SEEK_SET); }
    // Bytes from the position.
    Bytes read(std::uint32_t size) {
        forget_messages();
        Bytes buffer(size, '?');
        std::uint32_t count = 0xDEADBEEF;
        EXPECT_EQ(drm_svc_sorn_read_file(handle_, buffer.data(), size, &count), DRM_SVC_SORN_OK);
        EXPECT_LE(count, size);
        EXPECT_EQ(buffer.find_first_not_of('?', count), Bytes::npos);
        buffer.resize(count);
        return buffer;
    }
    // Where the position lies, from the payload.
    std::int32_t told() { return drm_svc_sorn_tell_file(handle_) - position_; }
    void seek(std::int32_t offset) { drm_svc_sorn_seek_file(handle_, offset, SEEK_CUR); }
    static std::string said() { return messages().at(1).text; }
    std::string unknown_at_payload() const {
        char hex[16];
        std::snprintf(hex, sizeof hex, "%x\n", static_cast<unsigned>(position_));
        return kUnknown + hex;
    }

private:
    const Bytes content_ = file_with(video_stream()) + unpadded("00dc", filler(kPayload));
    const std::int32_t position_ = static_cast<std::int32_t>(content_.size()) - kPayload;
    ControlledLibc libc_{content_};
    SvcFileHandle *handle_ = nullptr;
};

// The look back leaves the stream where it could read no further, and there the read begins.
TEST_F(DamagedChunk, IsReadFromWhereTheLookBackFailed) {
    for (std::int32_t byte = -8; byte < 0; ++byte) {
        damage(byte);
        go_to_payload();
        EXPECT_EQ(read(kPayload), "") << byte;
        // Two bytes are enough of this chunk's size.
        EXPECT_EQ(said(), byte < -2 ? unknown_at_payload() : kVideo) << byte;
        EXPECT_EQ(told(), byte);
    }
}

// What cannot be read of the header counts as 0.
TEST_F(DamagedChunk, IsKnownByAnIdWhoseSizeIsLostWhenNothingIsAskedFor) {
    damage(-4);
    go_to_payload();
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(said(), kVideo);
    damage(-5);
    go_to_payload();
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(said(), unknown_at_payload()) << "not by three characters of it";
}

TEST_F(DamagedChunk, IsDeliveredUpToTheDamage) {
    for (const std::int32_t byte : {0, 1, 200, kPayload - 1}) {
        damage(byte);
        go_to_payload();
        EXPECT_EQ(read(kPayload), filler(kPayload).substr(0, static_cast<std::size_t>(byte)));
        EXPECT_EQ(said(), kVideo) << byte;
        EXPECT_EQ(told(), byte);
    }
}

TEST_F(DamagedChunk, IsDeliveredFromBehindTheDamage) {
    damage(100);
    go_to_payload();
    read(kPayload);
    seek(1);
    EXPECT_EQ(told(), 101);
    EXPECT_EQ(read(0), "") << "the look back meets the damage";
    EXPECT_EQ(told(), 100);
    seek(9);
    EXPECT_EQ(read(kPayload), filler(kPayload).substr(109));
    EXPECT_EQ(told(), kPayload);
}

TEST_F(DamagedChunk, IsDeliveredOnceItCanBeRead) {
    damage(0);
    go_to_payload();
    EXPECT_EQ(read(kPayload), "");
    damage(-20);
    EXPECT_EQ(read(kPayload), filler(kPayload));
    EXPECT_EQ(said(), kVideo);
}

}  // namespace
