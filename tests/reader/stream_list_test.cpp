// What "strl" lists of every kind have in common: their rows and limits, the stream header, the
// peeks at what follows the format, and names.
#include <gmock/gmock.h>
#include <malloc.h>

#include <vector>

#include "tests/support/parsed_list.h"

namespace {

using namespace avi_builder;

Bytes stream_of_unknown_type() {
    return list("strl", strh({.type = "dats"}));
}

// ---- rows

TEST(StreamTable, HasARowForEveryListInFileOrder) {
    const AviReader reader = open_bytes(file_with(
        video_stream(), audio_stream({.name = "one"}), stream_of_unknown_type(),
        text_stream({.name = "Chapter 1"}), audio_stream({.name = "two"}), bitmap_subtitle_stream(),
        video_stream(), text_stream({.name = "Subtitle 1"}), text_stream({.name = "Subtitle 2"}),
        text_stream({.name = "Chapter 2"}), bitmap_subtitle_stream()));
    ASSERT_NE(reader, nullptr);
    struct Row {
        ChunkKind kind;
        std::uint32_t track;
        bool operator==(const Row &) const = default;
    };
    std::vector<Row> rows;
    for (int i = 0; i < reader->stream_count; ++i) {
        rows.push_back({reader->streams[i].kind, reader->streams[i].track});
    }
    EXPECT_THAT(
        rows, testing::ElementsAre(
                  Row{ChunkKind::compressed_video, 0}, Row{ChunkKind::audio, 0},
                  Row{ChunkKind::unknown, 0}, Row{ChunkKind::chapter, 0}, Row{ChunkKind::audio, 1},
                  Row{ChunkKind::bitmap_subtitle, 0}, Row{ChunkKind::compressed_video, 1},
                  Row{ChunkKind::text_subtitle, 0}, Row{ChunkKind::text_subtitle, 1},
                  Row{ChunkKind::chapter, 1}, Row{ChunkKind::bitmap_subtitle, 1}));
    EXPECT_EQ(name_of(reader->audio.rows[0]), Bytes("one", 4));
    EXPECT_EQ(name_of(reader->audio.rows[1]), Bytes("two", 4));
}

TEST(StreamTable, IsEmptyInAFileWithoutStreams) {
    const AviReader reader = open_bytes(file_with());
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 0);
}

TEST(StreamTable, HasRoomFor19Lists) {
    const Bytes stream = stream_of_unknown_type();
    const AviReader reader = open_bytes(file_with(repeat(stream, 19)));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 19);
    EXPECT_EQ(open_bytes(file_with(repeat(stream, 20))), nullptr);
}

TEST(StreamTable, IsLeftAloneByTheListTooMany) {
    HalfOpen reader(list("strl", audio_head() + strn("20") + room()));
    reader->stream_count = kAviMaxStreams;
    reader.enter(0);
    EXPECT_EQ(avi_parse_stream_list(*reader, false), kAviFailed);
    EXPECT_EQ(reader->stream_count, kAviMaxStreams);
    EXPECT_EQ(reader->audio.count, 0);
    EXPECT_EQ(reader.position(), 12);
}

TEST(StreamTable, CountsListsOfEveryKindTowardsItsRoom) {
    const Bytes nineteen = repeat(audio_stream(), 5) + repeat(video_stream(), 5) +
                           repeat(text_stream(), 5) + repeat(bitmap_subtitle_stream(), 4);
    EXPECT_NE(open_bytes(file_with(nineteen)), nullptr);
    EXPECT_EQ(open_bytes(file_with(nineteen, audio_stream())), nullptr);
}

struct TrackTable {
    const char *name;
    Bytes stream;
    ChunkKind kind;
    std::int32_t (*count)(const AviReaderState &);
};

void PrintTo(const TrackTable &table, std::ostream *out) {
    *out << table.name;
}

class TrackTableOf : public testing::TestWithParam<TrackTable> {};

TEST_P(TrackTableOf, HasRoomFor12Streams) {
    const AviReader reader = open_bytes(file_with(repeat(GetParam().stream, 12)));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(GetParam().count(*reader), 12);
    EXPECT_EQ(reader->streams[11].kind, GetParam().kind);
    EXPECT_EQ(reader->streams[11].track, 11U);
    EXPECT_EQ(open_bytes(file_with(repeat(GetParam().stream, 13))), nullptr);
}

TEST_P(TrackTableOf, CountsItsOwnKindOnly) {
    for (const Bytes &other : {audio_stream(), video_stream(), bitmap_subtitle_stream(),
                               text_stream(), text_stream({.name = "Chapter 1"})}) {
        if (other == GetParam().stream) continue;
        const AviReader reader = open_bytes(file_with(repeat(GetParam().stream, 12), other));
        ASSERT_NE(reader, nullptr);
        EXPECT_EQ(GetParam().count(*reader), 12);
        EXPECT_EQ(reader->streams[12].track, 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, TrackTableOf,
    testing::Values(TrackTable{"Audio", audio_stream(), ChunkKind::audio,
                               [](const AviReaderState &r) { return r.audio.count; }},
                    TrackTable{"Video", video_stream(), ChunkKind::compressed_video,
                               [](const AviReaderState &r) { return r.video.count; }},
                    TrackTable{"BitmapSubtitle", bitmap_subtitle_stream(),
                               ChunkKind::bitmap_subtitle,
                               [](const AviReaderState &r) { return r.bitmap_subtitle.count; }},
                    TrackTable{"TextSubtitle", text_stream({.name = "Subtitle 1"}),
                               ChunkKind::text_subtitle,
                               [](const AviReaderState &r) { return r.text_subtitle.count; }},
                    TrackTable{"Chapter", text_stream({.name = "Chapter 1"}), ChunkKind::chapter,
                               [](const AviReaderState &r) { return r.chapter.count; }}),
    [](const auto &instance) { return instance.param.name; });

// ---- "strh"

TEST(StreamHeader, KeepsEveryField) {
    const ParsedList list(strh({.type = "dats",
                                .handler = "hand",
                                .flags = 0x81000003,
                                .priority = 0x8004,
                                .language = 0x8005,
                                .initial_frames = 0x81000006,
                                .scale = 0x81000007,
                                .rate = 0x81000008,
                                .start = 0x81000009,
                                .length = 0x8100000A,
                                .suggested_buffer_size = 0x8100000B,
                                .quality = 0x8100000C,
                                .sample_size = 0x8100000D,
                                .frame = {0x800E, 0x800F, 0x8010, 0x8011}}));
    EXPECT_FALSE(list.refused());
    const AviStreamHeader &header = list.row().header;
    EXPECT_EQ(header.type.value, avi_fourcc_from_string("dats").value);
    EXPECT_EQ(header.handler.value, avi_fourcc_from_string("hand").value);
    EXPECT_EQ(header.flags, 0x81000003U);
    EXPECT_EQ(header.priority, 0x8004U);
    EXPECT_EQ(header.language, 0x8005U);
    EXPECT_EQ(header.initial_frames, 0x81000006U);
    EXPECT_EQ(header.scale, 0x81000007U);
    EXPECT_EQ(header.rate, 0x81000008U);
    EXPECT_EQ(header.start, 0x81000009U);
    EXPECT_EQ(header.length, 0x8100000AU);
    EXPECT_EQ(header.suggested_buffer_size, 0x8100000BU);
    EXPECT_EQ(header.quality, 0x8100000CU);
    EXPECT_EQ(header.sample_size, 0x8100000DU);
    EXPECT_THAT(header.frame, testing::ElementsAre(0x800E, 0x800F, 0x8010, 0x8011));
}

TEST(StreamHeader, OfAnUnknownTypeIsAllThatIsReadOfItsList) {
    ParsedList list(strh({.type = "dats"}));
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list.consumed(), 64);
    EXPECT_EQ(list->stream_count, 1);
    EXPECT_EQ(list.row().kind, ChunkKind::unknown);
}

TEST(StreamHeader, TellsTypesWithoutRegardToCase) {
    struct {
        std::string_view type;
        Bytes format;
        ChunkKind kind;
    } const cases[] = {{"AUDS", audio_strf(), ChunkKind::audio},
                       {"Vids", video_strf(), ChunkKind::compressed_video},
                       {"tXtS", text_strf() + strn("Subtitle 1"), ChunkKind::text_subtitle},
                       {"midi", audio_strf(), ChunkKind::unknown},
                       {"vidx", video_strf(), ChunkKind::unknown}};
    for (const auto &c : cases) {
        const ParsedList list(strh({.type = c.type}) + c.format + room());
        EXPECT_FALSE(list.refused()) << c.type;
        EXPECT_EQ(list.row().kind, c.kind) << c.type;
    }
}

TEST(StreamHeader, MustBeCalledSo) {
    EXPECT_FALSE(ParsedList(chunk("STRH", strh_body({.type = "dats"}))).refused());
    EXPECT_TRUE(ParsedList(chunk("strx", strh_body({.type = "dats"}))).refused());
    EXPECT_TRUE(ParsedList(chunk("JUNK", "") + strh({.type = "dats"})).refused());
}

TEST(StreamHeader, HasAtLeast56Bytes) {
    const Bytes body = strh_body({.type = "dats"});
    EXPECT_TRUE(ParsedList(claiming("strh", 0, body)).refused());
    EXPECT_TRUE(ParsedList(claiming("strh", 55, body)).refused());
    EXPECT_FALSE(ParsedList(claiming("strh", 56, body)).refused());
    EXPECT_EQ(open_bytes(file_with(list("strl", claiming("strh", 55, body)))), nullptr);
}

TEST(StreamHeader, SkipsWhatItHasBeyond56Bytes) {
    for (const std::uint32_t more : {1U, 2U, 7U, 8U, 1000U}) {
        const Bytes head = unpadded("strh", strh_body({.type = "auds"}) + filler(more));
        ParsedList list(head + audio_strf({.channels = 6}) + room());
        EXPECT_FALSE(list.refused()) << more;
        EXPECT_EQ(list->audio.rows[0].format.channels, 6U) << more;
        EXPECT_EQ(list.consumed(), length(head) + 24) << more;
    }
    const AviReader reader = open_bytes(file_with(
        list("strl", chunk("strh", strh_body() + filler(8)), video_strf({.width = 1234}))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->video.rows[0].width, 1234U);
}

TEST(StreamHeader, HasNoPadByte) {
    const Bytes odd = strh_body() + "!";
    EXPECT_FALSE(ParsedList(unpadded("strh", odd) + video_strf() + room()).refused());
    EXPECT_TRUE(ParsedList(chunk("strh", odd) + video_strf() + room()).refused());
}

// The last field may lack its second byte, not both.
TEST(StreamHeader, IsRefusedOnceAFieldIsLostToTheEndOfTheFile) {
    const Bytes whole = strh({.type = "dats", .frame = {1, 2, 3, 0x0504}});
    for (std::size_t held = 0; held <= whole.size(); ++held) {
        EXPECT_EQ(ParsedList(whole.substr(0, held)).refused(), held < 63) << held;
    }
    EXPECT_EQ(ParsedList(whole.substr(0, 63)).row().header.frame[3], 4);
}

TEST(StreamHeader, IsRefusedWhenTheFileLacksWhatItHasBeyond56Bytes) {
    const Bytes body = strh_body({.type = "dats"});
    EXPECT_FALSE(ParsedList(claiming("strh", 57, body + "!")).refused());
    for (const std::uint32_t size : {57U, 58U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        ParsedList list(claiming("strh", size, body));
        EXPECT_TRUE(list.refused()) << size;
        EXPECT_EQ(list.consumed(), 64) << size;
    }
}

// ---- the peeks at what follows the format

struct Kind {
    const char *name;
    Bytes head;
    bool peeks_for_index;
    bool returns_to_the_format_end;
};

void PrintTo(const Kind &kind, std::ostream *out) {
    *out << kind.name;
}

class Peek : public testing::TestWithParam<Kind> {};

// Nine bytes make three reads succeed; the step back of 12 then ends before the format's end.
TEST_P(Peek, NeedsTheThirdValueToBegin) {
    const std::int64_t head = length(GetParam().head);
    for (std::size_t left = 0; left <= 13; ++left) {
        ParsedList list(GetParam().head + Bytes(left, '.'));
        EXPECT_EQ(list.refused(), left < 9) << left;
        if (left < 9) continue;
        const auto missing = left < 12 ? static_cast<std::int64_t>(12 - left) : 0;
        EXPECT_EQ(list.consumed(), GetParam().returns_to_the_format_end ? head : head - missing)
            << left;
    }
}

TEST_P(Peek, OfAnotherChunkKeepsTheStreamAndRefusesNothing) {
    for (const char *id : {"JUNK", "strf", "strm", "LIST"}) {
        ParsedList list(GetParam().head + chunk(id, filler(32)));
        EXPECT_FALSE(list.refused()) << id;
        EXPECT_EQ(list->stream_count, 1) << id;
        EXPECT_EQ(list.consumed(), length(GetParam().head)) << id;
    }
}

// Also when there was a name, however short, and when it was looked for in vain.
TEST_P(Peek, IsMadeForAnIndexBehindAName) {
    for (const Bytes &name : {Bytes("name"), filler(5)}) {
        for (std::size_t left = 0; left <= 12; ++left) {
            const ParsedList list(GetParam().head + strn(name) + Bytes(left, '.'));
            EXPECT_EQ(list.refused(), GetParam().peeks_for_index && left < 9) << left;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryKind, Peek,
                         testing::Values(Kind{"Audio", audio_head(), true, false},
                                         Kind{"Video", video_head(), true, false},
                                         Kind{"BitmapSubtitle", bitmap_subtitle_head(), false,
                                              false},
                                         Kind{"Text", text_head(), false, true}),
                         [](const auto &instance) { return instance.param.name; });

// ---- names

struct NameField {
    std::int32_t length;
    const unsigned char *bytes;
};

template <typename Row>
NameField name_field(const AviTable<Row> &table) {
    return {table.rows[0].name_length, table.rows[0].name};
}

struct NamedKind {
    const char *kind;
    Bytes head;
    bool peeks_for_index;
    NameField (*name)(const AviReaderState &);
};

void PrintTo(const NamedKind &kind, std::ostream *out) {
    *out << kind.kind;
}

class StreamName : public testing::TestWithParam<NamedKind> {
protected:
    [[nodiscard]] ParsedList parse(const Bytes &rest) const {
        return ParsedList(GetParam().head + rest);
    }
    [[nodiscard]] std::int64_t head() const { return length(GetParam().head); }

    void expect_name(const ParsedList &list, const Bytes &expected) const {
        const NameField name = GetParam().name(*list);
        ASSERT_EQ(name.length, length(expected));
        ASSERT_NE(name.bytes, nullptr);
        EXPECT_EQ(bytes_at(name.bytes, expected.size()), expected);
        EXPECT_EQ(name.bytes[expected.size()], 0);
        EXPECT_GT(malloc_usable_size(const_cast<unsigned char *>(name.bytes)), expected.size());
    }
    void expect_no_name(const ParsedList &list) const {
        const NameField name = GetParam().name(*list);
        EXPECT_EQ(name.length, 0);
        EXPECT_EQ(name.bytes, nullptr);
    }
};

TEST_P(StreamName, MayBeMissing) {
    const ParsedList list = parse(room());
    EXPECT_FALSE(list.refused());
    expect_no_name(list);
}

TEST_P(StreamName, IsKeptWithAZeroBehindIt) {
    ParsedList list = parse(strn("English") + "-" + room());
    EXPECT_FALSE(list.refused());
    expect_name(list, "English");
    EXPECT_EQ(list.consumed(), head() + 8 + 7);
}

TEST_P(StreamName, KeepsAnyBytes) {
    const Bytes name("a\0b\xff\\", 5);
    expect_name(parse(strn(name) + room()), name);
}

TEST_P(StreamName, IsFoundWithoutRegardToCase) {
    expect_name(parse(unpadded("STRN", "English") + room()), "English");
}

TEST_P(StreamName, HasUpTo32767Bytes) {
    for (const std::size_t length : {0U, 1U, 2U, 24U, 40U, 32766U, 32767U}) {
        ParsedList list = parse(strn(filler(length)) + room());
        EXPECT_FALSE(list.refused()) << length;
        expect_name(list, filler(length));
        EXPECT_EQ(list.consumed(), head() + 8 + static_cast<std::int64_t>(length)) << length;
    }
}

TEST_P(StreamName, OfNegativeLengthRefusesTheList) {
    for (const std::uint32_t size :
         {32768U, 32769U, 40000U, 65534U, 65535U, 0x1FFFFU, 0x8000FFFFU, 0xFFFFFFFFU}) {
        const ParsedList list = parse(claiming("strn", size, filler(66000)));
        EXPECT_TRUE(list.refused()) << size;
        expect_no_name(list);
    }
}

TEST_P(StreamName, TakesTheLow16BitsOfItsSize) {
    for (const std::uint32_t size : {0x10005U, 0xFFFF0005U, 0x80000005U}) {
        ParsedList list = parse(claiming("strn", size, "abcdefgh") + room());
        EXPECT_FALSE(list.refused()) << size;
        expect_name(list, "abcde");
        EXPECT_EQ(list.consumed(), head() + 8 + 5) << size;
    }
}

TEST_P(StreamName, IsNotKeptWhenTheFileCutsItShort) {
    const ParsedList list = parse(claiming("strn", 11, "ten bytes."));
    // The end of the file is then where the next peek would be.
    EXPECT_EQ(list.refused(), GetParam().peeks_for_index);
    expect_no_name(list);
}

TEST_P(StreamName, MayEndTheFileWhereNothingIsLookedForBehindIt) {
    const ParsedList list = parse(strn("name"));
    EXPECT_EQ(list.refused(), GetParam().peeks_for_index);
    expect_name(list, "name");
}

// A short peek steps back to before the name's header, which then is not met there.
TEST_P(StreamName, IsMissedInTheLastElevenBytesOfTheFile) {
    for (const char *name : {"", "a", "ab", "abc"}) expect_no_name(parse(strn(name)));
}

INSTANTIATE_TEST_SUITE_P(
    EveryNamedKind, StreamName,
    testing::Values(NamedKind{"Audio", audio_head(), true,
                              [](const AviReaderState &r) { return name_field(r.audio); }},
                    NamedKind{"Video", video_head(), true,
                              [](const AviReaderState &r) { return name_field(r.video); }},
                    NamedKind{
                        "BitmapSubtitle", bitmap_subtitle_head(), false,
                        [](const AviReaderState &r) { return name_field(r.bitmap_subtitle); }}),
    [](const auto &instance) { return instance.param.kind; });

// Audio tries to read the name that it saw, and has too little left for the next peek. A bitmap
// subtitle looks for no more. Video has stepped back already, looking for stream data.
TEST(StreamNames, InTheLastElevenBytesLeaveTheStreamWhereTheTryEnded) {
    EXPECT_TRUE(ParsedList(audio_head() + strn("abc")).refused());

    ParsedList bitmap_subtitle(bitmap_subtitle_head() + strn("abc"));
    EXPECT_FALSE(bitmap_subtitle.refused());
    EXPECT_EQ(bitmap_subtitle.consumed(), length(bitmap_subtitle_head()) - 1 + 4);

    ParsedList video(video_head() + strn("abc"));
    EXPECT_FALSE(video.refused());
    EXPECT_EQ(video.consumed(), length(video_head()) - 1);
}

TEST(StreamNames, OfNegativeLengthRefuseTheFile) {
    const Bytes bad = claiming("strn", 65535, filler(65535)) + Bytes(1, '\0');
    EXPECT_EQ(open_bytes(file_with(list("strl", audio_head(), bad))), nullptr);
    EXPECT_EQ(open_bytes(file_with(list("strl", video_head(), bad))), nullptr);
    EXPECT_EQ(open_bytes(file_with(list("strl", bitmap_subtitle_head(), bad))), nullptr);
    EXPECT_NE(open_bytes(file_with(list("strl", text_head(), bad))), nullptr);
}

}  // namespace
