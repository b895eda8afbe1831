#include <gmock/gmock.h>

#include "avi_reader/header_list.h"
#include "tests/support/half_open.h"

namespace {

using namespace avi_builder;

const Bytes kMedia = list("movi", chunk("00dc", filler(24)), chunk("00dc", filler(8)));

Bytes file_with_headers(const Bytes &header_list) {
    return riff("AVI ", header_list, kMedia);
}

// ---- the main header

struct ReadMainHeader {
    AviMainHeader header{};
    AviStatus status = kAviOk;
    std::int64_t position = 0;
};

ReadMainHeader read_main_header(const Bytes &content) {
    HalfOpen reader(content);
    ReadMainHeader result;
    result.status = avi_read_main_header(result.header, reader->stream);
    result.position = reader.position();
    return result;
}

// Every field differs, so that two that change places show.
const MainHeader kDistinct = {.microseconds_per_frame = 101,
                              .max_bytes_per_second = 102,
                              .padding_granularity = 103,
                              .flags = 104,
                              .total_frames = 105,
                              .initial_frames = 106,
                              .streams = 107,
                              .suggested_buffer_size = 108,
                              .width = 109,
                              .height = 0xFFFFFFFE,
                              .reserved = {111, 112, 113, 114}};

void expect_distinct(const AviMainHeader &header) {
    EXPECT_EQ(header.microseconds_per_frame, 101U);
    EXPECT_EQ(header.max_bytes_per_second, 102U);
    EXPECT_EQ(header.padding_granularity, 103U);
    EXPECT_EQ(header.flags, 104U);
    EXPECT_EQ(header.total_frames, 105U);
    EXPECT_EQ(header.initial_frames, 106U);
    EXPECT_EQ(header.streams, 107U);
    EXPECT_EQ(header.suggested_buffer_size, 108U);
    EXPECT_EQ(header.width, 109U);
    EXPECT_EQ(header.height, 0xFFFFFFFEU);
    EXPECT_THAT(header.reserved, testing::ElementsAre(111U, 112U, 113U, 114U));
}

TEST(MainHeader, ReadsEveryFieldInFileOrder) {
    const ReadMainHeader result = read_main_header(avih(kDistinct) + "next");
    EXPECT_EQ(result.status, kAviOk);
    EXPECT_EQ(result.position, 64);
    expect_distinct(result.header);
}

TEST(MainHeader, IsRecognisedInAnyCase) {
    EXPECT_EQ(read_main_header(chunk("AviH", avih_body())).status, kAviOk);
}

TEST(MainHeader, SkipsWhatIsBeyond56BytesWithoutAPadByte) {
    for (const std::uint32_t size : {57U, 64U, 65U}) {
        const ReadMainHeader result =
            read_main_header(claiming("avih", size, avih_body(kDistinct) + filler(40)));
        EXPECT_EQ(result.status, kAviOk) << size;
        EXPECT_EQ(result.position, 8 + std::int64_t{size}) << size;
        expect_distinct(result.header);
    }
}

TEST(MainHeader, SkipsPastTheEndOfTheFileWithoutFailing) {
    const ReadMainHeader result = read_main_header(claiming("avih", 0x7FFFFFFF, avih_body()));
    EXPECT_EQ(result.status, kAviOk);
    EXPECT_EQ(result.position, 8 + 0x7FFFFFFFLL);
}

TEST(MainHeader, FailsBelow56BytesButReadsAllFields) {
    for (const std::uint32_t size : {0U, 40U, 55U}) {
        const ReadMainHeader result =
            read_main_header(claiming("avih", size, avih_body(kDistinct)));
        EXPECT_EQ(result.status, kAviFailed) << size;
        EXPECT_EQ(result.position, 64) << size;
        expect_distinct(result.header);
    }
}

TEST(MainHeader, ThatCannotBeReadIsToldFromOneThatWillNotDo) {
    HalfOpen reader(claiming("avih", 40, avih_body()));
    reader.libc().damage(60);
    AviMainHeader header{};
    EXPECT_EQ(avi_read_main_header(header, reader.stream()), kAviUnreadable);
}

TEST(MainHeader, TakesTheSizeAsSigned) {
    for (const std::uint32_t size : {0x80000000U, 0xFFFFFFFFU}) {
        const ReadMainHeader result =
            read_main_header(claiming("avih", size, avih_body(kDistinct) + "tail"));
        EXPECT_EQ(result.status, kAviFailed);
        EXPECT_EQ(result.position, 64) << "nothing is skipped";
        expect_distinct(result.header);
    }
}

TEST(MainHeader, FailsForAnotherIdButReadsAndSkipsAllTheSame) {
    const ReadMainHeader result =
        read_main_header(chunk("JUNK", avih_body(kDistinct) + filler(8)) + "tail");
    EXPECT_EQ(result.status, kAviFailed);
    EXPECT_EQ(result.position, 72);
    expect_distinct(result.header);
}

TEST(MainHeader, FailsWhenTheFileEndsBeforeItsLastField) {
    const Bytes whole = avih(kDistinct);
    EXPECT_EQ(read_main_header(whole.substr(0, 61)).status, kAviOk)
        << "one byte of the last value is a value";
    const ReadMainHeader result = read_main_header(whole.substr(0, 60));
    EXPECT_EQ(result.status, kAviFailed);
    EXPECT_EQ(result.header.reserved[2], 113U);
    EXPECT_EQ(result.header.reserved[3], 0U);
    EXPECT_EQ(read_main_header("").status, kAviFailed);
}

// ---- the walk

TEST(HeaderList, NeedsTheMainHeaderFirst) {
    EXPECT_NE(open_bytes(file_with_headers(list("hdrl", avih(), chunk("JUNK", filler(8))))),
              nullptr);
    EXPECT_EQ(open_bytes(file_with_headers(list("hdrl", chunk("JUNK", filler(8)), avih()))),
              nullptr);
    EXPECT_EQ(open_bytes(file_with_headers(list("hdrl", video_stream(), avih()))), nullptr);
}

TEST(HeaderList, IsRefusedWhenItEndsAtOnce) {
    // Measured from its header, a list of 12 bytes has ended before its first chunk.
    const Bytes header = avih();
    for (const std::uint32_t size : {0U, 4U, 12U}) {
        const Bytes content = file_with_headers(claiming("LIST", size, "hdrl" + header));
        EXPECT_EQ(open_bytes(content), nullptr) << size;
    }
    HalfOpen reader(riff("AVI ", claiming("LIST", 12, "hdrl" + header)));
    reader.enter_first_list();
    EXPECT_EQ(avi_parse_header_list(*reader, false), kAviFailed);
    EXPECT_EQ(reader->main_header.width, 0U) << "it is not read";
    EXPECT_EQ(reader.position(), 24);
}

TEST(HeaderList, IsReadWhenItEndsOneByteLater) {
    HalfOpen reader(riff("AVI ", claiming("LIST", 13, "hdrl" + avih(kDistinct))));
    reader.enter_first_list();
    EXPECT_EQ(avi_parse_header_list(*reader, false), kAviOk);
    expect_distinct(reader->main_header);
    EXPECT_EQ(reader.position(), 24 + 64);
}

TEST(HeaderList, IsRefusedWhenNothingFollowsItsType) {
    EXPECT_EQ(open_bytes(riff("AVI ", claiming("LIST", 100, "hdrl"))), nullptr);
}

TEST(HeaderList, GoesOnAtTheNextChunkAfterALongMainHeader) {
    const AviReader reader = open_bytes(file_with_headers(
        list("hdrl", chunk("avih", avih_body(kDistinct) + filler(8)), video_stream())));
    ASSERT_NE(reader, nullptr);
    expect_distinct(reader->main_header);
    EXPECT_EQ(reader->stream_count, 1);
}

TEST(HeaderList, GoesOnAtTheNextChunkAfterAShortMainHeader) {
    // The last four fields are read from what follows: the next list's header and type, and the
    // id of its first chunk.
    const Bytes streams = video_stream();
    const AviReader reader = open_bytes(file_with_headers(
        list("hdrl", chunk("avih", avih_body(kDistinct).substr(0, 40)), streams)));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->main_header.height, 0xFFFFFFFEU);
    const auto word = [&streams](std::size_t at) {
        return avi_get_u32le(reinterpret_cast<const unsigned char *>(streams.data()) + at);
    };
    EXPECT_THAT(reader->main_header.reserved,
                testing::ElementsAre(word(0), word(4), word(8), word(12)));
    EXPECT_EQ(reader->stream_count, 1);
}

TEST(HeaderList, ReadsTheMainHeaderPastItsOwnEnd) {
    // With nothing after the 40 bytes, the 16 come from behind the list and end its walk.
    const AviReader reader = open_bytes(
        file_with_headers(list("hdrl", chunk("avih", avih_body(kDistinct).substr(0, 40)))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->main_header.reserved[0], avi_fourcc_from_string("LIST").value);
    EXPECT_EQ(reader->main_header.reserved[2], avi_fourcc_from_string("movi").value);
}

TEST(HeaderList, PassesOverOtherChunksWithTheirPadBytes) {
    const AviReader reader = open_bytes(file_with_headers(
        list("hdrl", avih(), chunk("JUNK", filler(5)), video_stream(), chunk("idit", filler(3)),
             chunk("JUNK", ""), audio_stream(), chunk("JUNK", filler(1)))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 2);
}

TEST(HeaderList, PassesOverAMainHeaderOfOddSizeWithItsPadByte) {
    const AviReader reader = open_bytes(
        file_with_headers(list("hdrl", chunk("avih", avih_body() + filler(1)), video_stream())));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 1);
}

TEST(HeaderList, PassesOverListsOfOtherTypes) {
    const AviReader reader =
        open_bytes(file_with_headers(list("hdrl", avih(), list("INFO", video_stream()),
                                          list("movi", chunk("00dc", "x")), audio_stream())));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 1);
    EXPECT_EQ(reader->audio.count, 1);
}

TEST(HeaderList, KnowsItsListsInAnyCase) {
    Bytes content = file_with_headers(list("HdRl", chunk("AVIH", avih_body()), video_stream()));
    const std::size_t stream_list = content.find("LIST", 20);
    content.replace(stream_list, 4, "lIsT");
    content.replace(stream_list + 8, 4, "STRL");
    const AviReader reader = open_bytes(content);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 1);
}

TEST(HeaderList, TakesAStreamListThatFollowsItDirectly) {
    // The last chunk was only stepped over, so the walk looks at one more position.
    const Bytes passed_over = list("hdrl", avih(), chunk("JUNK", filler(2)));
    const Bytes read_to_the_end = list("hdrl", avih());
    const AviReader inside = open_bytes(riff("AVI ", passed_over, video_stream(), kMedia));
    ASSERT_NE(inside, nullptr);
    EXPECT_EQ(inside->stream_count, 1);
    const AviReader outside = open_bytes(riff("AVI ", read_to_the_end, video_stream(), kMedia));
    ASSERT_NE(outside, nullptr);
    EXPECT_EQ(outside->stream_count, 0);
}

TEST(HeaderList, VisitsAChunkInItsLastEightBytesOnlyAfterOneThatWasPassedOver) {
    HalfOpen passed_over(riff("AVI ", list("hdrl", avih(), chunk("JUNK", ""), chunk("JUNK", ""))));
    passed_over.enter_first_list();
    EXPECT_EQ(avi_parse_header_list(*passed_over, false), kAviOk);
    EXPECT_EQ(passed_over.position(), 24 + 64 + 8);

    HalfOpen read(riff("AVI ", list("hdrl", avih(), chunk("JUNK", ""))));
    read.enter_first_list();
    EXPECT_EQ(avi_parse_header_list(*read, false), kAviOk);
    EXPECT_EQ(read.position(), 24 + 64) << "the main header ends where the last chunk starts";
}

TEST(HeaderList, TakesTheFirstValueOfTheExtendedHeader) {
    const AviReader reader =
        open_bytes(file_with_headers(list("hdrl", avih(), video_stream(), odml(0x87654321))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->total_frames_ext, 0x87654321U);
    EXPECT_EQ(open_bytes(plain_file())->total_frames_ext, 0U);
}

TEST(HeaderList, TakesTheExtendedHeaderFromAnyFirstChunk) {
    const AviReader reader = open_bytes(file_with_headers(
        list("hdrl", avih(), list("odml", chunk("xxxx", u32(5) + u32(6)), chunk("dmlh", u32(7))),
             list("OdMl", chunk("dmlh", u32(8))), video_stream())));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 1) << "the walk goes on at the next chunk";
    EXPECT_EQ(reader->total_frames_ext, 8U) << "the later list counts";
    const AviReader single = open_bytes(file_with_headers(
        list("hdrl", avih(), list("odml", chunk("xxxx", u32(5) + u32(6)), chunk("dmlh", u32(7))))));
    ASSERT_NE(single, nullptr);
    EXPECT_EQ(single->total_frames_ext, 5U);
}

TEST(HeaderList, LeavesTheStreamBehindTheExtendedHeadersFirstValue) {
    HalfOpen reader(riff("AVI ", list("hdrl", avih(), list("odml", chunk("dmlh", u32(3))))));
    reader.enter_first_list();
    EXPECT_EQ(avi_parse_header_list(*reader, false), kAviOk);
    EXPECT_EQ(reader.position(), 24 + 64 + 12 + 12);
    EXPECT_EQ(reader->total_frames_ext, 3U);
}

TEST(HeaderList, KeepsTheExtendedHeaderWithoutAValueAtZero) {
    HalfOpen reader(riff("AVI ", list("hdrl", avih(), list("odml", chunk("dmlh", "")))));
    reader.enter_first_list();
    EXPECT_EQ(avi_parse_header_list(*reader, false), kAviOk);
    EXPECT_EQ(reader->total_frames_ext, 0U);
}

TEST(HeaderList, StopsAtAStreamListThatIsRefused) {
    HalfOpen reader(riff(
        "AVI ", list("hdrl", avih(), list("strl", chunk("strf", filler(60))), video_stream())));
    reader.enter_first_list();
    EXPECT_EQ(avi_parse_header_list(*reader, false), kAviFailed);
    ASSERT_NE(reader->chunk_top, nullptr);
    EXPECT_EQ(reader->chunk_top->depth, 3U) << "the refused list stays innermost";
    EXPECT_EQ(reader->stream_count, 1);
    EXPECT_EQ(open_bytes(
                  file_with_headers(list("hdrl", avih(), list("strl", chunk("strf", filler(60)))))),
              nullptr);
}

TEST(HeaderList, StopsAtAListThatCannotBeEntered) {
    // The list's header is cut before its type, after a chunk and after another list.
    for (const Bytes &before : {Bytes(), odml(3)}) {
        for (const Bytes &tail : {Bytes("LIST"), Bytes("LIST@"), "LIST" + u32(64)}) {
            HalfOpen reader("RIFF" + u32(4000) + "AVI " +
                            claiming("LIST", 2000, "hdrl" + avih() + before + tail));
            reader.enter_first_list();
            EXPECT_EQ(avi_parse_header_list(*reader, false), kAviFailed);
            ASSERT_NE(reader->chunk_top, nullptr);
            EXPECT_EQ(reader->chunk_top->depth, 2U) << "the header list stays innermost";
            EXPECT_EQ(reader->refusal.reason, AviReason::list_header_cut_short);
        }
    }
}

TEST(HeaderList, PassesTheOptionOnToItsStreams) {
    const Bytes content = file_with_headers(
        list("hdrl", avih(), video_stream({.index = SuperIndex{.chunk_id = "ix02"}})));
    EXPECT_EQ(open_bytes(content, 0)->super_index_pos[2], 0);
    EXPECT_NE(open_bytes(content, 1)->super_index_pos[2], 0);
    EXPECT_NE(open_bytes(content, 0x80000000)->super_index_pos[2], 0) << "any bit counts";
}

TEST(HeaderList, IsRefusedWhenTheFileEndsBeforeItDoes) {
    // Whatever the last chunk was, the walk's next read finds nothing and marks the list.
    const Bytes headers = "hdrl" + avih() + video_stream();
    EXPECT_EQ(open_bytes(riff("AVI ", claiming("LIST", 60000, headers))), nullptr);
    EXPECT_EQ(open_bytes(riff("AVI ", claiming("LIST", 0xFFFFFFFF, headers))), nullptr);
    EXPECT_EQ(open_bytes(riff("AVI ", claiming("LIST", 0xFFFFFFFF, headers), kMedia)), nullptr);
}

TEST(HeaderList, StepsIntoAChunkWhoseSizeWraps) {
    // 0xFFFFFFFF is odd and its even form is 0, so the walk goes on behind the chunk's header.
    const AviReader stepped = open_bytes(
        file_with_headers(list("hdrl", avih(), claiming("JUNK", 0xFFFFFFFF, ""), video_stream())));
    ASSERT_NE(stepped, nullptr);
    EXPECT_EQ(stepped->stream_count, 1);
    EXPECT_EQ(open_bytes(file_with_headers(
                  list("hdrl", avih(), claiming("JUNK", 0xFFFFFFFE, ""), video_stream()))),
              nullptr);
}

TEST(HeaderList, AddsToTheFirstWhenThereIsASecond) {
    const AviReader reader = open_bytes(
        riff("AVI ", list("hdrl", avih({.flags = 1, .width = 1}), video_stream(), odml(5)),
             list("hdrl", avih({.flags = 2, .width = 2}), audio_stream(), video_stream()), kMedia));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 3);
    EXPECT_EQ(reader->video.count, 2);
    EXPECT_EQ(reader->audio.count, 1);
    EXPECT_EQ(reader->streams[2].track, 1U);
    EXPECT_EQ(reader->main_header.width, 2U);
    EXPECT_EQ(reader->main_header.flags, 2U);
    EXPECT_EQ(reader->total_frames_ext, 5U);
}

TEST(HeaderList, CountsStreamsOverBothWhenThereIsASecond) {
    Bytes ten, nine;
    for (int i = 0; i < 5; ++i) ten += video_stream() + audio_stream();
    for (int i = 0; i < 9; ++i) nine += text_stream();
    const Bytes first = list("hdrl", avih(), ten);
    EXPECT_NE(open_bytes(riff("AVI ", first, list("hdrl", avih(), nine), kMedia)), nullptr);
    EXPECT_EQ(open_bytes(riff("AVI ", first, list("hdrl", avih(), nine, text_stream()), kMedia)),
              nullptr);
}

TEST(HeaderList, RefusesTheFileWhenTheSecondIsBad) {
    const Bytes good = list("hdrl", avih(), video_stream());
    EXPECT_EQ(open_bytes(riff("AVI ", good, list("hdrl", chunk("JUNK", filler(8))), kMedia)),
              nullptr);
}

}  // namespace
