#include <gmock/gmock.h>

#include "tests/support/parsed_list.h"

namespace {

using namespace avi_builder;

constexpr std::int64_t kBehindFormat = 64 + 48;  // in a list's content

StreamHeader telling_header() {
    return {.type = "vids",
            .handler = std::string_view("H\0dl", 4),
            .scale = 0x81000001,
            .rate = 0x81000002,
            .quality = 0x81000003};
}

// ---- format

struct Picture {
    const char *label;
    std::string_view compression;
    ChunkKind kind;
    const AviTable<VideoTrack> &(*table)(const AviReaderState &);
};

void PrintTo(const Picture &picture, std::ostream *out) {
    *out << picture.label;
}

class PictureStream : public testing::TestWithParam<Picture> {
protected:
    [[nodiscard]] Bytes format(VideoFormat fields = {}, const Bytes &more = "") const {
        fields.compression = GetParam().compression;
        return unpadded("strf", video_format_body(fields) + more);
    }
    [[nodiscard]] const AviTable<VideoTrack> &table(const ParsedList &list) const {
        return GetParam().table(*list);
    }
};

TEST_P(PictureStream, KeepsWhatHeaderAndFormatSay) {
    const ParsedList list(strh(telling_header()) +
                          format({.width = 0x81000004, .height = 0x81000005}) + room());
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list.row().kind, GetParam().kind);
    EXPECT_EQ(list.row().track, 0U);
    EXPECT_EQ(list->video.count + list->bitmap_subtitle.count, 1);
    ASSERT_EQ(table(list).count, 1);
    const VideoTrack &row = table(list).rows[0];
    EXPECT_EQ(row.scale, 0x81000001U);
    EXPECT_EQ(row.rate, 0x81000002U);
    EXPECT_EQ(row.quality, 0x81000003U);
    EXPECT_EQ(row.width, 0x81000004U);
    EXPECT_EQ(row.height, 0x81000005U);
    EXPECT_EQ(bytes_at(row.handler, 5), Bytes("H\0dl\0", 5));
    EXPECT_EQ(bytes_at(row.compression, 5), Bytes(GetParam().compression) + Bytes(1, '\0'));
    EXPECT_EQ(row.has_stream_data, 0U);
    EXPECT_EQ(row.stream_data_word, 0U);
    EXPECT_EQ(row.stream_data_size, 0U);
    EXPECT_EQ(row.stream_data_pos, 0U);
    EXPECT_EQ(row.stream_data, nullptr);
}

TEST_P(PictureStream, MayHaveAFormatOfAnyId) {
    Bytes renamed = format();
    renamed.replace(0, 4, "abcd");
    const ParsedList list(strh() + renamed + room());
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list.row().kind, GetParam().kind);
}

TEST_P(PictureStream, NeedsAFormatWhoseOwnSizeIsTheChunks) {
    struct {
        std::uint32_t structure_size, chunk_size;
    } const cases[] = {{40, 40}, {44, 44}, {0, 0},   {39, 39}, {0xFFFFFFFF, 0xFFFFFFFF},
                       {40, 44}, {44, 40}, {40, 39}, {41, 40}, {40, 0x10028},
                       {0, 40}};
    for (const auto &c : cases) {
        Bytes chunk = format({.structure_size = c.structure_size});
        chunk.replace(4, 4, u32(c.chunk_size));
        ParsedList list(strh() + chunk + room());
        EXPECT_EQ(list.refused(), c.structure_size != c.chunk_size)
            << c.structure_size << " in " << c.chunk_size;
        // 40 bytes are read whatever the sizes say.
        EXPECT_EQ(list.consumed(), kBehindFormat);
    }
}

TEST_P(PictureStream, LeavesTheStreamInsideALongerFormat) {
    const Bytes inner = strn("inside!!");
    const ParsedList found(strh() + format({.structure_size = 56}, inner) + strn("behind") +
                           room());
    EXPECT_FALSE(found.refused());
    EXPECT_EQ(name_of(table(found).rows[0]), Bytes("inside!!", 9));

    const ParsedList hidden(strh() + format({.structure_size = 44}, "more") + strn("behind") +
                            room());
    EXPECT_FALSE(hidden.refused());
    EXPECT_EQ(name_of(table(hidden).rows[0]), "(none)");
}

TEST_P(PictureStream, IsRefusedWhenTheFileEndsInItsFormat) {
    const Bytes whole = strh() + format();
    for (std::size_t held = 64; held <= whole.size(); ++held) {
        EXPECT_TRUE(ParsedList(whole.substr(0, held)).refused()) << held;
    }
}

INSTANTIATE_TEST_SUITE_P(
    BothKinds, PictureStream,
    testing::Values(Picture{"Video", "FMP4", ChunkKind::compressed_video,
                            [](const AviReaderState &r) -> const AviTable<VideoTrack> & {
                                return r.video;
                            }},
                    Picture{"BitmapSubtitle", "QRSB", ChunkKind::bitmap_subtitle,
                            [](const AviReaderState &r) -> const AviTable<VideoTrack> & {
                                return r.bitmap_subtitle;
                            }}),
    [](const auto &instance) { return instance.param.label; });

TEST(VideoStream, OfAFileIsRefusedWithAFormatThatSaysLessThanItsChunk) {
    const Bytes format = chunk("strf", video_format_body({.structure_size = 40}) + "more");
    EXPECT_EQ(open_bytes(file_with(list("strl", strh(), format))), nullptr);
}

// ---- bitmap subtitles

TEST(BitmapSubtitle, IsToldByItsCompressionWithoutRegardToCase) {
    for (const std::string_view code : {"QRSB", "qrsb", "QrSb"}) {
        const ParsedList list(strh() + video_strf({.compression = code}) + room());
        EXPECT_EQ(list.row().kind, ChunkKind::bitmap_subtitle) << code;
        EXPECT_EQ(list->bitmap_subtitle.rows[0].compression, Bytes(code));
    }
    for (const std::string_view code : {"QRSV", "QRS\0", "XRSB"}) {
        const ParsedList list(strh() + video_strf({.compression = {code.data(), 4}}) + room());
        EXPECT_EQ(list.row().kind, ChunkKind::compressed_video) << code;
    }
    const ParsedList by_handler(strh({.handler = "QRSB"}) + video_strf() + room());
    EXPECT_EQ(by_handler.row().kind, ChunkKind::compressed_video);
}

TEST(BitmapSubtitle, HasNoStreamData) {
    ParsedList list(bitmap_subtitle_head() + strd(1, filler(8)) + strn("behind") + room());
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list->bitmap_subtitle.rows[0].has_stream_data, 0U);
    EXPECT_EQ(list->bitmap_subtitle.rows[0].stream_data, nullptr);
    EXPECT_EQ(name_of(list->bitmap_subtitle.rows[0]), "(none)");
    EXPECT_EQ(list.consumed(), kBehindFormat);
}

TEST(BitmapSubtitle, LooksForNoIndex) {
    for (const Bytes &name : {Bytes(), strn("Deutsch")}) {
        ParsedList list(bitmap_subtitle_head() + name + indx({.chunk_id = "02sb"}) + room());
        EXPECT_FALSE(list.refused());
        EXPECT_EQ(list->super_index_pos[2], 0);
        EXPECT_EQ(list.consumed(), kBehindFormat + length(name));
    }
}

// ---- stream data

// A "strd" chunk that declares any payload size over the bytes that follow.
Bytes strd_claiming(std::uint32_t payload_size, const Bytes &payload) {
    return claiming("strd", static_cast<std::uint32_t>(payload.size() + 8),
                    u32(0x81020304) + u32(payload_size) + payload);
}

void expect_no_stream_data(const VideoTrack &row) {
    EXPECT_EQ(row.has_stream_data, 0U);
    EXPECT_EQ(row.stream_data_word, 0U);
    EXPECT_EQ(row.stream_data_size, 0U);
    EXPECT_EQ(row.stream_data_pos, 0U);
    EXPECT_EQ(row.stream_data, nullptr);
}

TEST(StreamData, KeepsWordSizePositionAndPayload) {
    ParsedList list(video_head() + strd(0x81020304, "payload") + room());
    EXPECT_FALSE(list.refused());
    const VideoTrack &row = list->video.rows[0];
    EXPECT_EQ(row.has_stream_data, 1U);
    EXPECT_EQ(row.stream_data_word, 0x81020304U);
    EXPECT_EQ(row.stream_data_size, 7U);
    EXPECT_EQ(row.stream_data_pos, ParsedList::kHeader + kBehindFormat + 16);
    ASSERT_NE(row.stream_data, nullptr);
    EXPECT_EQ(bytes_at(row.stream_data, 7), "payload");
    EXPECT_EQ(list.consumed(), kBehindFormat + 16 + 7);
}

TEST(StreamData, MayBeMissing) {
    const ParsedList list(video_head() + strn("Main film") + room());
    EXPECT_FALSE(list.refused());
    expect_no_stream_data(list->video.rows[0]);
}

TEST(StreamData, MayHoldNoBytes) {
    const ParsedList list(video_head() + strd(9, "") + room());
    EXPECT_FALSE(list.refused());
    const VideoTrack &row = list->video.rows[0];
    EXPECT_EQ(row.has_stream_data, 1U);
    EXPECT_EQ(row.stream_data_word, 9U);
    EXPECT_EQ(row.stream_data_size, 0U);
    EXPECT_EQ(row.stream_data_pos, ParsedList::kHeader + kBehindFormat + 16);
}

TEST(StreamData, IsFoundWithoutRegardToCase) {
    const ParsedList list(video_head() + unpadded("STRD", u32(1) + u32(2) + "ab") + room());
    EXPECT_EQ(list->video.rows[0].stream_data_size, 2U);
}

// The chunk's own size says nothing, and there is no pad byte: the name is right behind.
TEST(StreamData, EndsWhereItsPayloadDoes) {
    for (const std::uint32_t chunk_size : {0U, 8U, 13U, 14U, 999U, 0xFFFFFFFFU}) {
        const ParsedList list(video_head() +
                              claiming("strd", chunk_size, u32(1) + u32(5) + "abcde") +
                              strn("Main film") + indx({.entries_in_use = 4}) + room());
        EXPECT_FALSE(list.refused()) << chunk_size;
        EXPECT_EQ(bytes_at(list->video.rows[0].stream_data, 5), "abcde") << chunk_size;
        EXPECT_EQ(name_of(list->video.rows[0]), Bytes("Main film", 10)) << chunk_size;
        EXPECT_EQ(list->super_index[0].entries_in_use, 4U) << chunk_size;
    }
}

TEST(StreamData, MayFillTheFile) {
    const ParsedList list(video_head() + strd_claiming(40, filler(40)));
    const VideoTrack &row = list->video.rows[0];
    EXPECT_EQ(row.has_stream_data, 1U);
    EXPECT_EQ(bytes_at(row.stream_data, 40), filler(40));
    // Nothing is left for the peek behind it.
    EXPECT_TRUE(list.refused());
}

// As after reading to the end of the file, where no name can be looked for.
TEST(StreamData, ThatTheFileCannotFillRefusesTheList) {
    for (const std::uint32_t size : {41U, 42U, 1000000U, 0x7FFFFFFEU, 0x7FFFFFFFU}) {
        ParsedList list(video_head() + strd_claiming(size, filler(40)));
        EXPECT_TRUE(list.refused()) << size;
        expect_no_stream_data(list->video.rows[0]);
        EXPECT_EQ(list.consumed(), kBehindFormat + 16 + 40 - 12) << size;
    }
}

// A buffer that cannot be had leaves the stream before the payload, where the name is looked for.
TEST(StreamData, LargerThanAnyBufferIsPassedOver) {
    for (const std::uint32_t size : {0x80000000U, 0x80000001U, 0xFFFFFFFFU}) {
        ParsedList list(video_head() + strd_claiming(size, "") + strn("Main film") + room());
        EXPECT_FALSE(list.refused()) << size;
        EXPECT_EQ(list.row().kind, ChunkKind::compressed_video) << size;
        expect_no_stream_data(list->video.rows[0]);
        EXPECT_EQ(name_of(list->video.rows[0]), Bytes("Main film", 10)) << size;
        EXPECT_EQ(list.consumed(), kBehindFormat + 16 + 8 + 9) << size;
    }
}

TEST(StreamData, DecidesOnAWholeFileByItsSize) {
    const auto open_with = [](std::uint32_t size) {
        return open_bytes(file_with(list("strl", video_head(), strd_claiming(size, filler(40)))));
    };
    EXPECT_EQ(open_with(0x7FFFFFFF), nullptr);
    const AviReader reader = open_with(0x80000000);
    ASSERT_NE(reader, nullptr);
    expect_no_stream_data(reader->video.rows[0]);
}

// What the file cannot fill is not even asked for: the outcome is the same with little memory.
TEST(StreamData, ThatTheFileCannotFillNeedsNoMemory) {
    const Bytes bytes = filler(100000);
    ParsedList filled(video_head() + strd_claiming(100000, bytes) + room());
    EXPECT_FALSE(filled.refused());
    EXPECT_EQ(filled.libc().largest_allocation(), 100000U);
    ParsedList lacking(video_head() + strd_claiming(0x7FFFFFFF, bytes) + room());
    EXPECT_TRUE(lacking.refused());
    EXPECT_LT(lacking.libc().largest_allocation(), 100000U);
}

// The chunk's fields lost to the end of the file, one after the other; none refuses by itself, but
// nothing is left for the peek behind.
TEST(StreamData, IsNotKeptWhenTheFileEndsInItsHeader) {
    const Bytes data = strd(7, "");
    for (std::size_t held = 9; held <= 12; ++held) {
        const ParsedList list(video_head() + data.substr(0, held));
        EXPECT_TRUE(list.refused()) << held;
        expect_no_stream_data(list->video.rows[0]);
    }
}

TEST(StreamData, BehindTheNameIsNotFound) {
    const ParsedList list(video_head() + strn("Main film") + strd(1, "abcd") + room());
    EXPECT_FALSE(list.refused());
    expect_no_stream_data(list->video.rows[0]);
    EXPECT_EQ(name_of(list->video.rows[0]), Bytes("Main film", 10));
}

TEST(VideoStream, OfAFileHasDataNameAndIndex) {
    const Bytes content = file_with(video_stream({.strd = strd(3, filler(9)),
                                                  .name = "Main film",
                                                  .index = SuperIndex{.entries_in_use = 5}}));
    const AviReader reader = open_bytes(content);
    ASSERT_NE(reader, nullptr);
    const VideoTrack &row = reader->video.rows[0];
    EXPECT_EQ(row.stream_data_pos, content.find("strd") + 16);
    EXPECT_EQ(bytes_at(row.stream_data, 9), filler(9));
    EXPECT_EQ(name_of(row), Bytes("Main film", 10));
    EXPECT_EQ(reader->super_index[0].entries_in_use, 5U);
}

}  // namespace
