#include <gmock/gmock.h>

#include "tests/support/half_open.h"

namespace {

using namespace avi_builder;

struct Summary {
    std::int32_t streams = -1;
    std::int32_t with_stream_data = -1;
};

Summary summary_of(const AviReaderState &reader) {
    Summary summary;
    EXPECT_EQ(avvin_get_summary(reader, summary.streams, summary.with_stream_data), kAviOk);
    return summary;
}

ChunkKind kind_of(const AviReaderState &reader, std::int32_t track) {
    ChunkKind kind = ChunkKind::reserved;
    EXPECT_EQ(avvin_get_track_chunk_type(reader, track, kind), kAviOk);
    return kind;
}

// Stream data of a video track; the pointer and the size start out as neither answer.
struct StreamData {
    unsigned char none = 0;
    const unsigned char *payload = &none;
    std::uint32_t size = 99;
};

StreamData stream_data_of(const AviReaderState &reader, std::int32_t track) {
    StreamData data;
    EXPECT_EQ(avvin_get_track_strd(reader, track, data.payload, data.size), kAviOk);
    return data;
}

TEST(Queries, CountNothingInAFileWithoutStreams) {
    const AviReader reader = open_bytes(file_with());
    ASSERT_NE(reader, nullptr);
    const Summary summary = summary_of(*reader);
    EXPECT_EQ(summary.streams, 0);
    EXPECT_EQ(summary.with_stream_data, 0);
}

TEST(Queries, DescribeAVideoStreamWithDataAndAnAudioStream) {
    const AviReader reader =
        open_bytes(file_with(video_stream({.strd = strd(7, "payload")}) + audio_stream()));
    ASSERT_NE(reader, nullptr);
    const Summary summary = summary_of(*reader);
    EXPECT_EQ(summary.streams, 2);
    EXPECT_EQ(summary.with_stream_data, 1);
    EXPECT_EQ(kind_of(*reader, 0), ChunkKind::compressed_video);
    EXPECT_EQ(kind_of(*reader, 1), ChunkKind::audio);

    const StreamData data = stream_data_of(*reader, 0);
    ASSERT_EQ(data.size, 7U);
    EXPECT_EQ(Bytes(reinterpret_cast<const char *>(data.payload), data.size), "payload");
    EXPECT_EQ(data.payload, reader->video.rows[0].stream_data) << "it stays the record's";
}

TEST(Queries, AnswerForTracksInTheOrderOfTheStreamLists) {
    const AviReader reader = open_bytes(
        file_with(audio_stream() + video_stream({.strd = strd(1, "first")}) +
                  text_stream({.name = "Chapter 1"}) + text_stream({.name = "Subtitle 1"}) +
                  bitmap_subtitle_stream() + video_stream({.strd = strd(2, "second one")}) +
                  text_stream({.name = "Lyrics"})));
    ASSERT_NE(reader, nullptr);
    const Summary summary = summary_of(*reader);
    EXPECT_EQ(summary.streams, 7);
    EXPECT_EQ(summary.with_stream_data, 2);

    const std::vector<ChunkKind> kinds = {ChunkKind::audio,           ChunkKind::compressed_video,
                                          ChunkKind::chapter,         ChunkKind::text_subtitle,
                                          ChunkKind::bitmap_subtitle, ChunkKind::compressed_video,
                                          ChunkKind::unknown};
    for (std::int32_t track = 0; track < summary.streams; ++track) {
        EXPECT_EQ(kind_of(*reader, track), kinds[static_cast<std::size_t>(track)]) << track;
    }
    // Stream 5 is the second video stream: its row is found through the stream's own row number.
    EXPECT_EQ(stream_data_of(*reader, 1).size, 5U);
    EXPECT_EQ(stream_data_of(*reader, 5).size, 10U);
}

TEST(Queries, FindNoDataInAVideoStreamWithoutAny) {
    const AviReader reader = open_bytes(file_with(video_stream()));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(summary_of(*reader).streams, 1);
    EXPECT_EQ(summary_of(*reader).with_stream_data, 0);
    const StreamData data = stream_data_of(*reader, 0);
    EXPECT_EQ(data.payload, nullptr);
    EXPECT_EQ(data.size, 0U);
}

TEST(Queries, CountAnEmptyPayloadAsStreamData) {
    const AviReader reader = open_bytes(file_with(video_stream({.strd = strd(1, "")})));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(summary_of(*reader).with_stream_data, 1);
    EXPECT_EQ(stream_data_of(*reader, 0).size, 0U);
}

TEST(Queries, CountOnlyRowsMarkedWithOne) {
    HalfOpen reader("");
    reader->stream_count = 4;
    reader->video.count = 3;
    reader->video.rows[0].has_stream_data = 2;
    reader->video.rows[1].has_stream_data = 1;
    reader->video.rows[2].has_stream_data = 0xFFFFFFFF;
    reader->video.rows[3].has_stream_data = 1;  // behind the last row
    EXPECT_EQ(summary_of(*reader).streams, 4);
    EXPECT_EQ(summary_of(*reader).with_stream_data, 1);
}

TEST(Queries, CountNoRowsInATableWithANegativeCount) {
    HalfOpen reader("");
    reader->stream_count = -3;
    reader->video.count = -1;
    reader->video.rows[0].has_stream_data = 1;
    EXPECT_EQ(summary_of(*reader).streams, -3);
    EXPECT_EQ(summary_of(*reader).with_stream_data, 0);
}

TEST(Queries, CountAllTwelveVideoRows) {
    Bytes streams;
    for (int i = 0; i < kAviMaxTracks; ++i) streams += video_stream({.strd = strd(1, "x")});
    const AviReader reader = open_bytes(file_with(streams));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(summary_of(*reader).with_stream_data, 12);
    EXPECT_EQ(kind_of(*reader, 11), ChunkKind::compressed_video);
    EXPECT_EQ(stream_data_of(*reader, 11).payload, reader->video.rows[11].stream_data);
}

TEST(Queries, LeaveTheStreamAlone) {
    const AviReader reader = open_bytes(rich_file());
    ASSERT_NE(reader, nullptr);
    avi_file_seek(reader->stream, 17, SEEK_SET);
    (void)summary_of(*reader);
    (void)kind_of(*reader, 0);
    (void)stream_data_of(*reader, 0);
    EXPECT_EQ(avi_file_tell(reader->stream), 17);
}

}  // namespace
