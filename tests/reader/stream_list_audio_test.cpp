#include <gmock/gmock.h>

#include "tests/support/parsed_list.h"

namespace {

using namespace avi_builder;

Bytes audio_list(const Bytes &format) {
    return strh({.type = "auds"}) + format + room();
}

TEST(AudioStream, KeepsItsFormatAndWhatTheHeaderSays) {
    const ParsedList list(strh({.type = "auds",
                                .initial_frames = 0x81000001,
                                .scale = 0x81000002,
                                .rate = 0x81000003,
                                .start = 0x81000004,
                                .length = 0x81000005,
                                .quality = 0x81000006,
                                .sample_size = 0x81000007}) +
                          audio_strf({.format_tag = 0x8055,
                                      .channels = 0x8006,
                                      .samples_per_second = 0x81234567,
                                      .average_bytes_per_second = 0x89ABCDEF,
                                      .block_align = 0x8007,
                                      .bits_per_sample = 0x8008,
                                      .extra_size = 4,
                                      .extra = "more"}) +
                          room());
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list.row().kind, ChunkKind::audio);
    EXPECT_EQ(list.row().track, 0U);
    ASSERT_EQ(list->audio.count, 1);
    const AudioTrack &row = list->audio.rows[0];
    EXPECT_EQ(row.initial_frames, 0x81000001U);
    EXPECT_EQ(row.scale, 0x81000002U);
    EXPECT_EQ(row.rate, 0x81000003U);
    EXPECT_EQ(row.start, 0x81000004U);
    EXPECT_EQ(row.sample_size, 0x81000007U);
    EXPECT_EQ(row.format.format_tag, 0x8055U);
    EXPECT_EQ(row.format.channels, 0x8006U);
    EXPECT_EQ(row.format.samples_per_second, 0x81234567U);
    EXPECT_EQ(row.format.average_bytes_per_second, 0x89ABCDEFU);
    EXPECT_EQ(row.format.block_align, 0x8007U);
    EXPECT_EQ(row.format.bits_per_sample, 0x8008U);
    EXPECT_EQ(row.format.extra_size, 4U);
    EXPECT_EQ(bytes_at(row.format.extra, 22), Bytes("more") + Bytes(18, '\0'));
}

// What the chunk is called is no matter, only that one stands there.
TEST(AudioFormat, MayHaveAnyId) {
    const ParsedList list(audio_list(chunk("abcd", audio_format_body({.channels = 6}))));
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list->audio.rows[0].format.channels, 6U);
}

TEST(AudioFormat, HasAnExtraSizeFrom17BytesOn) {
    struct {
        std::uint32_t size;
        std::uint16_t extra_size;
        std::int64_t consumed;
    } const cases[] = {{0, 0, 16}, {15, 0, 16}, {16, 0, 16}, {17, 2, 20}, {18, 2, 20}, {20, 2, 20}};
    for (const auto &c : cases) {
        const Bytes body = audio_format_body({.extra_size = 2, .extra = "AB"});
        ParsedList list(audio_list(claiming("strf", c.size, body)));
        EXPECT_FALSE(list.refused()) << c.size;
        EXPECT_EQ(list->audio.rows[0].format.extra_size, c.extra_size) << c.size;
        EXPECT_EQ(list.consumed(), 64 + 8 + c.consumed) << c.size;
    }
}

TEST(AudioFormat, KeepsUpTo22ExtraBytesAndOtherwiseNone) {
    struct {
        std::uint16_t extra_size;
        std::size_t kept;
    } const cases[] = {{0, 0},      {1, 1},      {2, 2},      {21, 21},    {22, 22},
                       {23, 0},     {30, 0},     {0x0116, 0}, {0x7FFF, 0}, {0x8000, 0},
                       {0x8001, 0}, {0xFFEA, 0}, {0xFFFF, 0}};
    for (const auto &c : cases) {
        const Bytes extra = filler(30);
        const Bytes body = audio_format_body({.extra_size = c.extra_size, .extra = extra});
        ParsedList list(audio_list(unpadded("strf", body)));
        EXPECT_FALSE(list.refused()) << c.extra_size;
        const AviWaveFormat &format = list->audio.rows[0].format;
        EXPECT_EQ(format.extra_size, c.extra_size);
        EXPECT_EQ(bytes_at(format.extra, 22), extra.substr(0, c.kept) + Bytes(22 - c.kept, '\0'))
            << c.extra_size;
        EXPECT_EQ(list.consumed(), 64 + 8 + 18 + static_cast<std::int64_t>(c.kept)) << c.extra_size;
    }
}

// The extra size decides how much is read, whatever the chunk's own size.
TEST(AudioFormat, MayHaveExtraBytesBeyondItsSize) {
    const Bytes body = audio_format_body({.extra_size = 5, .extra = "extra"});
    const ParsedList list(strh({.type = "auds"}) + claiming("strf", 18, body) + strn("English") +
                          room());
    EXPECT_EQ(bytes_at(list->audio.rows[0].format.extra, 5), "extra");
    EXPECT_EQ(name_of(list->audio.rows[0]), Bytes("English", 8));
}

// What is not read of a format stands where the name is looked for.
TEST(AudioFormat, IsLeftInsideWhenItHasMoreThanItSays) {
    const ParsedList hidden(strh({.type = "auds"}) +
                            audio_strf({.extra_size = 0, .extra = "more"}) + strn("English") +
                            room());
    EXPECT_FALSE(hidden.refused());
    EXPECT_EQ(name_of(hidden->audio.rows[0]), "(none)");

    const Bytes inner = strn("inside");
    const ParsedList found(strh({.type = "auds"}) + audio_strf({.extra_size = 0, .extra = inner}) +
                           strn("English") + room());
    EXPECT_FALSE(found.refused());
    EXPECT_EQ(name_of(found->audio.rows[0]), Bytes("inside", 7));
}

TEST(AudioFormat, IsRefusedWhenTheFileEndsInIt) {
    const Bytes whole =
        strh({.type = "auds"}) + audio_strf({.extra_size = 22, .extra = filler(22)});
    for (std::size_t held = 64; held <= whole.size(); ++held) {
        EXPECT_TRUE(ParsedList(whole.substr(0, held)).refused()) << held;
    }
}

TEST(AudioFormat, OfAFileHasItsNameAndIndexBehindIt) {
    const AviReader reader = open_bytes(
        file_with(audio_stream({.format = {.extra_size = 22, .extra = filler(22)},
                                .name = "English",
                                .index = SuperIndex{.entries_in_use = 3, .chunk_id = "00wb"}})));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(name_of(reader->audio.rows[0]), Bytes("English", 8));
    EXPECT_EQ(reader->super_index[0].entries_in_use, 3U);
}

// Stream data belongs to video.
TEST(AudioStream, HasNoStreamData) {
    ParsedList list(audio_head() + strd(1, filler(8)) + strn("English") + room());
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(name_of(list->audio.rows[0]), "(none)");
    EXPECT_EQ(list.consumed(), length(audio_head()));
}

}  // namespace
