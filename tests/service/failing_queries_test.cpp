// Open, with a reader whose queries say what a test wants. They take the place of the reader's own,
// which never fail.
#include <gmock/gmock.h>

#include <map>
#include <string>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "tests/support/avi_builder.h"
#include "tests/support/controlled_libc.h"
#include "tests/support/debug_messages.h"

namespace {

using namespace avi_builder;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// What the queries answer, and what was asked for.
struct {
    AviStatus summary;
    std::int32_t tracks;
    std::vector<ChunkKind> kinds;
    std::map<std::int32_t, AviStatus> kind_failures;
    std::map<std::int32_t, AviStatus> stream_data_failures;

    std::uint32_t open_option;
    std::vector<std::int32_t> kinds_asked_for;
    std::vector<std::int32_t> stream_data_asked_for;
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

namespace {

constexpr ChunkKind kVideo = ChunkKind::compressed_video;
constexpr ChunkKind kAudio = ChunkKind::audio;
constexpr ChunkKind kText = ChunkKind::text_subtitle;

const std::string kOpen = "drm_svc_sorn_open_file";

Message starts() {
    return api("%s starts. filepath:%s\n", kOpen + " starts. filepath:any\n");
}

// What one open comes to. Everything that it took has to be given back, by a close after a success.
struct Outcome {
    std::int64_t result;
    bool handle_written;
    std::vector<Message> messages;
    // What the service still held when it reported the failure.
    std::size_t held_allocations;
    std::size_t held_files;
};

Outcome open_and_close() {
    const Bytes content = rich_file();
    ControlledLibc libc(content);
    forget_messages();
    Outcome outcome{};
    const MessageWatch watch([&](const Message &message) {
        if (message.level != 0x2000000) return;
        outcome.held_allocations = libc.live_allocations();
        outcome.held_files = libc.open_files();
    });
    SvcFileHandle *const untouched = reinterpret_cast<SvcFileHandle *>(&host);
    SvcFileHandle *handle = untouched;
    outcome.result = drm_svc_sorn_open_file("any", &handle);
    outcome.messages = messages();
    outcome.handle_written = handle != untouched;
    EXPECT_GT(libc.calls(Call::allocation), 2U);
    if (outcome.result == DRM_SVC_SORN_OK) {
        EXPECT_EQ(drm_svc_sorn_close_file(handle), DRM_SVC_SORN_CLOSED);
    }
    EXPECT_EQ(libc.live_allocations(), 0U);
    EXPECT_EQ(libc.open_files(), 0U);
    return outcome;
}

class FailingQueries : public testing::Test {
protected:
    void SetUp() override {
        host = {};
        host.open_option = 77;
        host.kinds = {kVideo, kAudio, kText, kVideo, kAudio};
        host.tracks = static_cast<std::int32_t>(host.kinds.size());
    }

    // The failure is reported first, and only then is all released.
    static std::vector<Message> messages_of_a_refusal() {
        const Outcome outcome = open_and_close();
        EXPECT_EQ(outcome.result, -999);
        EXPECT_FALSE(outcome.handle_written);
        EXPECT_GT(outcome.held_allocations, 2U);
        EXPECT_EQ(outcome.held_files, 1U);
        return outcome.messages;
    }
};

const Message unknown_track = detail("%s : Found unknown chynk type, ignoring.\n",
                                     kOpen + " : Found unknown chynk type, ignoring.\n");

TEST_F(FailingQueries, OpenWhenNoneOfThemFails) {
    const Outcome outcome = open_and_close();
    EXPECT_EQ(outcome.result, 0);
    EXPECT_TRUE(outcome.handle_written);
    EXPECT_THAT(host.kinds_asked_for, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(host.stream_data_asked_for, ElementsAre(0, 3));
    EXPECT_THAT(outcome.messages, ElementsAre(starts(), unknown_track, testing::_));
}

TEST_F(FailingQueries, AreAskedAboutARecordOpenedWithoutOptions) {
    open_and_close();
    EXPECT_EQ(host.open_option, 0U);
}

TEST_F(FailingQueries, RefuseTheFileForItsSummary) {
    host.summary = kAviFailed;
    EXPECT_THAT(
        messages_of_a_refusal(),
        ElementsAre(starts(), error("[DRM-ERROR]%s : Error avvin_get_summary.\n",
                                    "[DRM-ERROR]" + kOpen + " : Error avvin_get_summary.\n")));
    EXPECT_THAT(host.kinds_asked_for, IsEmpty());
}

TEST_F(FailingQueries, RefuseTheFileForTheKindOfATrack) {
    host.kind_failures = {{2, kAviFailed}};
    EXPECT_THAT(messages_of_a_refusal(),
                ElementsAre(starts(), error("[DRM-ERROR]%s : Error getting chunk type, track %d\n",
                                            "[DRM-ERROR]" + kOpen +
                                                " : Error getting chunk type, track 2\n")));
    EXPECT_THAT(host.kinds_asked_for, ElementsAre(0, 1, 2));
}

TEST_F(FailingQueries, RefuseTheFileForTheStreamDataOfATrack) {
    host.stream_data_failures = {{3, kAviFailed}};
    const std::vector<Message> messages = messages_of_a_refusal();
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[0], starts());
    EXPECT_EQ(messages[1], unknown_track);
    EXPECT_EQ(messages[2].category, 0x61f0000U);
    EXPECT_EQ(messages[2].level, 0x2000000U);
    EXPECT_THAT(messages[2].text, StartsWith("[DRM-ERROR]" + kOpen + " : "));
    EXPECT_THAT(host.stream_data_asked_for, ElementsAre(0, 3));
    EXPECT_THAT(host.kinds_asked_for, ElementsAre(0, 1, 2, 3));
}

TEST_F(FailingQueries, RefuseTheFileForAnyStatusButSuccess) {
    host.summary = 2;
    EXPECT_EQ(messages_of_a_refusal().size(), 2U);
    host.summary = kAviOk;
    host.kind_failures = {{0, 0x80000000}};
    EXPECT_EQ(messages_of_a_refusal().size(), 2U);
    host.kind_failures = {};
    host.stream_data_failures = {{0, 2}};
    EXPECT_EQ(messages_of_a_refusal().size(), 2U);
}

TEST_F(FailingQueries, AreNotAskedAboutTracksWhenThereAreNone) {
    for (const std::int32_t tracks : {0, -1, INT32_MIN}) {
        host.tracks = tracks;
        const Outcome outcome = open_and_close();
        EXPECT_EQ(outcome.result, 0) << tracks;
        EXPECT_THAT(outcome.messages, ElementsAre(starts(), testing::_)) << tracks;
    }
    EXPECT_THAT(host.kinds_asked_for, IsEmpty());
}

}  // namespace
