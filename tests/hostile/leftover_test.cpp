// However often files are opened, refused, read and closed, nothing is left behind; and handles
// have nothing in common.
#include <drm-service-sorn.h>
#include <gmock/gmock.h>
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <iterator>
#include <thread>

#include "tests/support/test_files.h"

extern "C" void _debug_message(int, const char *, unsigned int, unsigned int, const char *, ...) {}

namespace {

using namespace avi_builder;

constexpr int kTimes = 10000;

std::ptrdiff_t open_files() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
}

// Bytes that are allocated: 0 always under a sanitizer, which finds leaks itself.
std::size_t heap_in_use() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Runs `body` a few times to let the C library set up what it keeps, then ten thousand times. A
// leak of one byte a time would show; what the allocator rounds up changes by less.
void expect_nothing_left(const std::function<void()> &body) {
    for (int i = 0; i < 10; ++i) body();
    const std::ptrdiff_t files = open_files();
    const std::size_t heap = heap_in_use();
    for (int i = 0; i < kTimes; ++i) body();
    EXPECT_EQ(open_files(), files);
    EXPECT_LT(heap_in_use(), heap + kTimes);
}

// ---- refused files, a kind each

struct Refusal {
    const char *name;
    Bytes content;
};

void PrintTo(const Refusal &refusal, std::ostream *out) {
    *out << refusal.name;
}

Bytes media() {
    return list("movi", chunk("00dc", filler(24)));
}

Bytes with_headers(const Bytes &headers) {
    return riff("AVI ", list("hdrl", headers), media());
}

// Files that are refused after extension chunks have been found.
Bytes with_extensions(const Bytes &rest) {
    return riff("AVI ", data_list(chunk("MTDA", filler(9))), menu_list(chunk("MENU", filler(9))),
                rest) +
           menu_form(unpadded("MENU", filler(9)));
}

std::vector<Refusal> refusals() {
    const Bytes loaded = video_stream({.strd = strd(1, filler(90)), .name = "Name"});
    return {
        {"Empty", ""},
        {"CutInTheFirstId", "RI"},
        {"CutInTheFirstSize", "RIFF\x01"},
        {"CutBehindATopLevelId", plain_file() + "JUNK"},
        {"NoForm", chunk("JUNK", filler(40))},
        {"AFormOfAnotherType", riff("WAVE", list("hdrl", avih()), media())},
        {"NoMediaList", riff("AVI ", list("hdrl", avih(), loaded))},
        {"AnEmptyMediaList", riff("AVI ", list("hdrl", avih(), loaded), list("movi"))},
        {"NoMainHeader", with_headers(chunk("JUNK", filler(56)) + loaded)},
        {"AHeaderListCutShort", claiming("RIFF", 4000, "AVI " + list("hdrl", avih(), loaded))},
        {"TwentyStreams", with_headers(avih() + repeat(text_stream({.name = "Other"}), 20))},
        {"ThirteenVideoStreams", with_headers(avih() + repeat(loaded, 13))},
        {"ThirteenAudioStreams", with_headers(avih() + repeat(audio_stream({.name = "One"}), 13))},
        {"ThirteenBitmapSubtitleStreams",
         with_headers(avih() + repeat(bitmap_subtitle_stream({.name = "One"}), 13))},
        {"ThirteenTextStreams", with_headers(avih() + repeat(text_stream(), 13))},
        {"ThirteenChapterStreams",
         with_headers(avih() + repeat(text_stream({.name = "Chapter"}), 13))},
        {"AShortStreamHeader",
         with_headers(avih() + loaded + list("strl", chunk("strh", filler(55))))},
        {"AVideoFormatOfAnotherSize",
         with_headers(avih() + loaded + video_stream({.format = {.structure_size = 44}}))},
        {"ANegativeNameLength", with_headers(avih() + loaded +
                                             list("strl", strh({.type = "auds"}), audio_strf(),
                                                  claiming("strn", 40000, filler(20))))},
        {"NoMediaListBehindExtensions", with_extensions(list("hdrl", avih(), loaded))},
        {"ABadStreamBehindExtensions",
         with_extensions(list("hdrl", avih(), loaded, list("strl", chunk("strh", filler(8)))))},
        {"AListCutShort",
         claiming("RIFF", 4000,
                  "AVI " + list("hdrl", avih(), loaded) + claiming("LIST", 4000, ""))},
    };
}

class Refused : public testing::TestWithParam<Refusal> {};

TEST_P(Refused, FilesLeaveNothingBehind) {
    const TempFile file(GetParam().content);
    SvcFileHandle *handle = nullptr;
    expect_nothing_left([&] {
        ASSERT_EQ(drm_svc_sorn_open_file(file.path(), &handle), DRM_SVC_SORN_CANNOT_OPEN);
        ASSERT_EQ(handle, nullptr);
    });
}

INSTANTIATE_TEST_SUITE_P(, Refused, testing::ValuesIn(refusals()),
                         [](const auto &tested) { return std::string(tested.param.name); });

TEST(RefusedPaths, LeaveNothingBehind) {
    for (const char *path : {static_cast<const char *>(nullptr), "", "/no/such/file", "/"}) {
        SvcFileHandle *handle = nullptr;
        expect_nothing_left(
            [&] { ASSERT_EQ(drm_svc_sorn_open_file(path, &handle), DRM_SVC_SORN_CANNOT_OPEN); });
    }
}

// ---- files that open

// Reads the whole file in steps, with seeks and tells between, and compares what comes.
bool reads_as(SvcFileHandle *handle, const Bytes &content) {
    Bytes read(content.size(), '\0');
    for (std::size_t at = 0; at < content.size(); at += 64) {
        std::uint32_t count = 0;
        const auto pos = static_cast<std::int32_t>(at);
        drm_svc_sorn_seek_file(handle, pos, SEEK_SET);
        if (drm_svc_sorn_tell_file(handle) != pos) return false;
        drm_svc_sorn_read_file(handle, read.data() + at, 64, &count);
        if (count != std::min<std::size_t>(64, content.size() - at)) return false;
    }
    return read == content;
}

TEST(OpenReadAndClose, LeavesNothingBehind) {
    const Bytes content = rich_file() + Bytes(64 - rich_file().size() % 64, '.');
    const TempFile file(content);
    expect_nothing_left([&] {
        SvcFileHandle *handle = nullptr;
        ASSERT_EQ(drm_svc_sorn_open_file(file.path(), &handle), DRM_SVC_SORN_OK);
        ASSERT_TRUE(reads_as(handle, content));
        ASSERT_EQ(drm_svc_sorn_close_file(handle), DRM_SVC_SORN_CLOSED);
    });
}

TEST(TwoHandles, OnOneFileHaveTheirOwnPositions) {
    const Bytes content = rich_file();
    const TempFile file(content);
    SvcFileHandle *first = nullptr;
    SvcFileHandle *second = nullptr;
    ASSERT_EQ(drm_svc_sorn_open_file(file.path(), &first), DRM_SVC_SORN_OK);
    ASSERT_EQ(drm_svc_sorn_open_file(file.path(), &second), DRM_SVC_SORN_OK);
    ASSERT_NE(first, second);

    drm_svc_sorn_seek_file(first, 100, SEEK_SET);
    EXPECT_EQ(drm_svc_sorn_tell_file(second), 0);
    Bytes read(10, '\0');
    std::uint32_t count = 0;
    drm_svc_sorn_read_file(second, read.data(), 10, &count);
    EXPECT_EQ(read, content.substr(0, 10));
    EXPECT_EQ(drm_svc_sorn_tell_file(first), 100);

    EXPECT_EQ(drm_svc_sorn_close_file(second), DRM_SVC_SORN_CLOSED);
    drm_svc_sorn_read_file(first, read.data(), 10, &count);
    EXPECT_EQ(read, content.substr(100, 10));
    EXPECT_EQ(drm_svc_sorn_close_file(first), DRM_SVC_SORN_CLOSED);
}

TEST(Threads, WithAHandleEachReadTheirFiles) {
    const Bytes content = rich_file() + Bytes(64 - rich_file().size() % 64, '.');
    const TempFile shared(content);
    const TempFile refused("RIFF");
    std::atomic<int> right{0};
    const auto use = [&] {
        for (int i = 0; i < 50; ++i) {
            SvcFileHandle *handle = nullptr;
            if (drm_svc_sorn_open_file(refused.path(), &handle) != DRM_SVC_SORN_CANNOT_OPEN) return;
            if (drm_svc_sorn_open_file(shared.path(), &handle) != DRM_SVC_SORN_OK) return;
            if (reads_as(handle, content)) ++right;
            if (drm_svc_sorn_close_file(handle) != DRM_SVC_SORN_CLOSED) return;
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(16);
    for (int i = 0; i < 16; ++i) threads.emplace_back(use);
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(right, 16 * 50);
}

}  // namespace
