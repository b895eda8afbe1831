// 64-bit reading over five functions that are made here, so that files can have any length, and so
// that every offset which they are given can be looked at.
#include "clients/stream64.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

struct SvcFileHandle {
    std::int64_t position;
};

namespace {

constexpr std::int64_t kLongest32 = INT32_MAX;

// The file that an open opens, and what was done to it.
struct Film {
    std::int64_t length = 0;
    std::int64_t unreadable_from = INT64_MAX;
    std::int64_t open_result = DRM_SVC_SORN_OK;
    std::int64_t reads_past_the_end = 0;
    std::vector<std::uint32_t> read_sizes;
    std::vector<int> seek_origins;
    int open_files = 0;
} film;

unsigned char byte_at(std::int64_t position) {
    return static_cast<unsigned char>(position ^ position >> 8 ^ position >> 16 ^ position >> 24 ^
                                      position >> 32);
}

}  // namespace

int64_t drm_svc_sorn_open_file(const char * /*path*/, SvcFileHandle **new_handle) {
    if (film.open_result != DRM_SVC_SORN_OK) return film.open_result;
    ++film.open_files;
    *new_handle = new SvcFileHandle{};
    return DRM_SVC_SORN_OK;
}

int32_t drm_svc_sorn_close_file(SvcFileHandle *handle) {
    --film.open_files;
    delete handle;
    return DRM_SVC_SORN_CLOSED;
}

int64_t drm_svc_sorn_read_file(SvcFileHandle *handle, void *buffer, uint32_t size,
                               uint32_t *count) {
    if (handle->position + size > film.length) ++film.reads_past_the_end;
    film.read_sizes.push_back(size);
    const std::int64_t end = std::min({handle->position + size, film.length, film.unreadable_from});
    *count = static_cast<std::uint32_t>(std::max<std::int64_t>(end - handle->position, 0));
    for (std::uint32_t i = 0; i < std::min(*count, 4096u); ++i) {  // no test looks further
        static_cast<unsigned char *>(buffer)[i] = byte_at(handle->position + i);
    }
    handle->position += *count;
    if (*count < size) handle->position -= 8;  // as after the end: not where a caller thinks
    return DRM_SVC_SORN_OK;
}

int32_t drm_svc_sorn_seek_file(SvcFileHandle *handle, int32_t offset, int whence) {
    const std::int64_t start = whence == SEEK_SET   ? 0
                               : whence == SEEK_CUR ? handle->position
                                                    : film.length;
    film.seek_origins.push_back(whence);
    if (start + offset >= 0) handle->position = start + offset;
    return 1;
}

int32_t drm_svc_sorn_tell_file(SvcFileHandle *handle) {
    return handle->position > kLongest32 ? -1 : static_cast<std::int32_t>(handle->position);
}

namespace {

class Stream64Test : public testing::Test {
protected:
    void SetUp() override { film = Film{}; }

    void TearDown() override {
        EXPECT_EQ(film.reads_past_the_end, 0);
        EXPECT_EQ(film.open_files, 0);
    }

    // The size of a film of that length.
    static std::int64_t measured(std::int64_t length) {
        film.length = length;
        Stream64 stream;
        EXPECT_EQ(stream64_open(&stream, "film"), DRM_SVC_SORN_OK);
        EXPECT_EQ(stream.position, 0);
        stream64_close(&stream);
        return stream.size;
    }
};

// An open film of a length, closed at the end.
class OpenFilm {
public:
    explicit OpenFilm(std::int64_t length) {
        film.length = length;
        EXPECT_EQ(stream64_open(&stream_, "film"), DRM_SVC_SORN_OK);
        film.seek_origins.clear();
    }
    ~OpenFilm() { stream64_close(&stream_); }
    OpenFilm(const OpenFilm &) = delete;
    OpenFilm &operator=(const OpenFilm &) = delete;

    Stream64 *operator->() { return &stream_; }

    // Reads there and looks at the bytes.
    std::int64_t read_at(std::int64_t position, std::uint64_t size) {
        stream_.position = position;
        return read(size);
    }

    std::int64_t read(std::uint64_t size) {
        const std::int64_t start = stream_.position;
        std::vector<unsigned char> buffer(
            static_cast<std::size_t>(std::min<std::uint64_t>(size, 4096)));
        const std::int64_t count = stream64_read(&stream_, buffer.data(), size);
        for (std::int64_t i = 0; i < std::min<std::int64_t>(count, 4096); ++i) {
            EXPECT_EQ(buffer[static_cast<std::size_t>(i)], byte_at(start + i)) << start + i;
        }
        EXPECT_EQ(stream_.position, start + std::max<std::int64_t>(count, 0));
        return count;
    }

private:
    Stream64 stream_{};
};

TEST_F(Stream64Test, MeasuresFilesOnBothSidesOfWhatTellCanName) {
    for (const std::int64_t length :
         {std::int64_t{1}, kLongest32 - 1, kLongest32, kLongest32 + 1, kLongest32 + 2,
          2 * kLongest32, 2 * kLongest32 + 1, 2 * kLongest32 + 2, std::int64_t{1} << 32,
          std::int64_t{5368732462}, std::int64_t{1} << 44}) {
        EXPECT_EQ(measured(length), length);
    }
}

TEST_F(Stream64Test, ReadsAtAnyPosition) {
    OpenFilm file(std::int64_t{7} << 30);
    for (const std::int64_t border :
         {std::int64_t{1}, kLongest32, 2 * kLongest32, std::int64_t{1} << 32, 3 * kLongest32}) {
        for (const std::int64_t position : {border + 1, border, border - 1}) {
            EXPECT_EQ(file.read_at(position, 100), 100) << position;
        }
    }
}

TEST_F(Stream64Test, SeeksOnceFromTheStartAndThenOnwards) {
    OpenFilm file(std::int64_t{6} << 30);
    file.read_at(std::int64_t{5} << 30, 10);
    EXPECT_EQ(film.seek_origins, (std::vector<int>{SEEK_SET, SEEK_CUR, SEEK_CUR}));
    EXPECT_EQ(file->seeks, 3u);
}

TEST_F(Stream64Test, DoesNotSeekToWhereItStands) {
    OpenFilm file(std::int64_t{6} << 30);
    file.read_at(std::int64_t{5} << 30, 10);
    film.seek_origins.clear();
    EXPECT_EQ(file.read(10), 10);
    EXPECT_EQ(file.read(10), 10);
    EXPECT_TRUE(film.seek_origins.empty());
    EXPECT_EQ(file->reads, 3u);
}

TEST_F(Stream64Test, AsksForExactlyWhatIsAsked) {
    OpenFilm file(1000);
    file.read_at(100, 400);
    EXPECT_EQ(film.read_sizes, std::vector<std::uint32_t>{400});
}

TEST_F(Stream64Test, DeliversWhatIsLeftAtTheEnd) {
    OpenFilm file((std::int64_t{1} << 32) + 5);
    EXPECT_EQ(file.read_at((std::int64_t{1} << 32) - 5, 100), 10);
    EXPECT_EQ(file.read(100), 0);
}

TEST_F(Stream64Test, AsksForNothingPastTheEnd) {
    OpenFilm file(1000);
    EXPECT_EQ(file.read_at(1000, 1), 0);
    EXPECT_EQ(file.read_at(5000, 1), 0);
    EXPECT_EQ(file.read_at(0, 0), 0);
    EXPECT_TRUE(film.read_sizes.empty());
}

TEST_F(Stream64Test, ReadsAtMostWhatACountCanName) {
    OpenFilm file(std::int64_t{6} << 30);
    EXPECT_EQ(file.read(std::uint64_t{5} << 30), std::int64_t{UINT32_MAX});
}

TEST_F(Stream64Test, AnErrorIsNotTheEnd) {
    OpenFilm file(1000);
    film.unreadable_from = 500;
    EXPECT_EQ(file.read_at(490, 100), 10);
    EXPECT_EQ(file.read(100), -1);
    film.reads_past_the_end = 0;
}

TEST_F(Stream64Test, GoesOnRightAfterAnError) {
    OpenFilm file(1000);
    film.unreadable_from = 500;
    EXPECT_EQ(file.read_at(490, 100), 10);
    film.unreadable_from = INT64_MAX;
    EXPECT_EQ(file.read(100), 100);
}

TEST_F(Stream64Test, HandsOnWhatOpenReturns) {
    Stream64 stream;
    for (const int result : {DRM_SVC_SORN_CANNOT_OPEN, DRM_SVC_SORN_NO_MEMORY}) {
        film.open_result = result;
        EXPECT_EQ(stream64_open(&stream, "film"), result);
    }
}

TEST(Stream64Refusal, SaysWhatIsWrongWithThePathOrTheFile) {
    EXPECT_STREQ(stream64_refusal("/no/such/film.avi", DRM_SVC_SORN_CANNOT_OPEN),
                 "No such file or directory");
    EXPECT_EQ(std::string(stream64_refusal("/", DRM_SVC_SORN_CANNOT_OPEN)).find("refused: "), 0u);
    EXPECT_STREQ(stream64_refusal("/", DRM_SVC_SORN_NO_MEMORY), "out of memory");
}

}  // namespace
