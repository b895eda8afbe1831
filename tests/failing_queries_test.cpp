// Open, with a reader whose queries say what a test wants. They take the place of the reader's own,
// which never fail.
#include <drm-service-sorn.h>
#include <gmock/gmock.h>

#include <cstdarg>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "avi_builder.h"
#include "avi_reader/avi_reader.h"
#include "controlled_libc.h"

namespace {

using namespace avi_builder;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// What the queries answer, what was asked for, and what the service said.
struct {
    AviStatus summary;
    std::int32_t tracks;
    std::vector<ChunkKind> kinds;
    std::map<std::int32_t, AviStatus> kind_failures;
    std::map<std::int32_t, AviStatus> stream_data_failures;

    std::uint32_t open_option;
    std::vector<std::int32_t> kinds_asked_for;
    std::vector<std::int32_t> stream_data_asked_for;
    std::vector<std::string> details;
    std::vector<std::string> errors;
} host;

AviStatus status_in(const std::map<std::int32_t, AviStatus> &failures, std::int32_t track) {
    const auto found = failures.find(track);
    return found == failures.end() ? kAviOk : found->second;
}

}  // namespace

AviStatus avvin_get_summary(const AviReaderState &reader, std::int32_t &streams,
                            std::int32_t &with_stream_data) {
    host.open_option = reader.open_option;
    streams = host.tracks;
    with_stream_data = 77;  // nothing depends on it
    return host.summary;
}

AviStatus avvin_get_track_chunk_type(const AviReaderState &, std::int32_t track, ChunkKind &kind) {
    host.kinds_asked_for.push_back(track);
    kind = host.kinds.at(static_cast<std::size_t>(track));
    return status_in(host.kind_failures, track);
}

AviStatus avvin_get_track_strd(const AviReaderState &, std::int32_t track,
                               const unsigned char *&payload, std::uint32_t &size) {
    host.stream_data_asked_for.push_back(track);
    payload = nullptr;
    size = 0;
    return status_in(host.stream_data_failures, track);
}

extern "C" void _debug_message(int, const char *, unsigned int category, unsigned int level,
                               const char *format, ...) {
    char text[512];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (category == 0x61f0000 && level == 0x2000000) host.errors.emplace_back(text);
    if (category == 0x61e0000 && level == 0x4000000) host.details.emplace_back(text);
}

namespace {

constexpr ChunkKind kVideo = ChunkKind::compressed_video;
constexpr ChunkKind kAudio = ChunkKind::audio;
constexpr ChunkKind kText = ChunkKind::text_subtitle;

// What one open comes to. Everything that it took has to be given back, by a close after a success.
struct Outcome {
    std::int64_t result;
    bool handle_written;
};

Outcome open_and_close() {
    const Bytes content = rich_file();
    ControlledLibc libc(content);
    SvcFileHandle *const untouched = reinterpret_cast<SvcFileHandle *>(&host);
    SvcFileHandle *handle = untouched;
    const std::int64_t result = drm_svc_sorn_open_file("any", &handle);
    EXPECT_GT(libc.calls(Call::allocation), 2U);
    if (result == DRM_SVC_SORN_OK) {
        EXPECT_EQ(drm_svc_sorn_close_file(handle), DRM_SVC_SORN_CLOSED);
    }
    EXPECT_EQ(libc.live_allocations(), 0U);
    EXPECT_EQ(libc.open_files(), 0U);
    return {result, handle != untouched};
}

class FailingQueries : public testing::Test {
protected:
    void SetUp() override {
        host = {};
        host.open_option = 77;
        host.kinds = {kVideo, kAudio, kText, kVideo, kAudio};
        host.tracks = static_cast<std::int32_t>(host.kinds.size());
    }

    static void expect_refused() {
        const Outcome outcome = open_and_close();
        EXPECT_EQ(outcome.result, -999);
        EXPECT_FALSE(outcome.handle_written);
    }
};

TEST_F(FailingQueries, OpenWhenNoneOfThemFails) {
    const Outcome outcome = open_and_close();
    EXPECT_EQ(outcome.result, 0);
    EXPECT_TRUE(outcome.handle_written);
    EXPECT_THAT(host.kinds_asked_for, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(host.stream_data_asked_for, ElementsAre(0, 3));
    EXPECT_THAT(host.details,
                ElementsAre("drm_svc_sorn_open_file : Found unknown chynk type, ignoring.\n"));
    EXPECT_THAT(host.errors, IsEmpty());
}

TEST_F(FailingQueries, AreAskedAboutARecordOpenedWithoutOptions) {
    open_and_close();
    EXPECT_EQ(host.open_option, 0U);
}

TEST_F(FailingQueries, RefuseTheFileForItsSummary) {
    host.summary = kAviFailed;
    expect_refused();
    EXPECT_THAT(host.errors,
                ElementsAre("[DRM-ERROR]drm_svc_sorn_open_file : Error avvin_get_summary.\n"));
    EXPECT_THAT(host.kinds_asked_for, IsEmpty());
}

TEST_F(FailingQueries, RefuseTheFileForTheKindOfATrack) {
    host.kind_failures = {{2, kAviFailed}};
    expect_refused();
    EXPECT_THAT(
        host.errors,
        ElementsAre("[DRM-ERROR]drm_svc_sorn_open_file : Error getting chunk type, track 2\n"));
    EXPECT_THAT(host.kinds_asked_for, ElementsAre(0, 1, 2));
    EXPECT_THAT(host.details, IsEmpty());
}

TEST_F(FailingQueries, RefuseTheFileForTheStreamDataOfATrack) {
    host.stream_data_failures = {{3, kAviFailed}};
    expect_refused();
    EXPECT_THAT(host.errors, ElementsAre(StartsWith("[DRM-ERROR]drm_svc_sorn_open_file : ")));
    EXPECT_THAT(host.stream_data_asked_for, ElementsAre(0, 3));
    EXPECT_THAT(host.kinds_asked_for, ElementsAre(0, 1, 2, 3));
}

TEST_F(FailingQueries, RefuseTheFileForAnyStatusButSuccess) {
    host.summary = 2;
    expect_refused();
    host.summary = kAviOk;
    host.kind_failures = {{0, 0x80000000}};
    expect_refused();
    host.kind_failures = {};
    host.stream_data_failures = {{0, 2}};
    expect_refused();
    EXPECT_EQ(host.errors.size(), 3U);
}

TEST_F(FailingQueries, AreNotAskedAboutTracksWhenThereAreNone) {
    for (const std::int32_t tracks : {0, -1, INT32_MIN}) {
        host.tracks = tracks;
        EXPECT_EQ(open_and_close().result, 0) << tracks;
    }
    EXPECT_THAT(host.kinds_asked_for, IsEmpty());
    EXPECT_THAT(host.errors, IsEmpty());
}

}  // namespace
