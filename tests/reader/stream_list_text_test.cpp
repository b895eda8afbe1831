#include <gmock/gmock.h>

#include "tests/support/parsed_list.h"

namespace {

using namespace avi_builder;

constexpr std::int64_t kFormat = 64;             // position of the format in a list's content
constexpr std::int64_t kName = kFormat + 8 + 8;  // of what follows it

struct TextKind {
    const char *label;
    Bytes name;
    ChunkKind kind;
    const AviTable<TextTrack> &(*table)(const AviReaderState &);
};

void PrintTo(const TextKind &kind, std::ostream *out) {
    *out << kind.label;
}

class TextTrackOf : public testing::TestWithParam<TextKind> {
protected:
    [[nodiscard]] const TextTrack &row(const ParsedList &list) const {
        return GetParam().table(*list).rows[0];
    }
};

TEST_P(TextTrackOf, HoldsTheThirdAndFourthValueSwapped) {
    const ParsedList list(strh({.type = "txts"}) + text_strf({0x8001, 0x8002, 0x8003, 0x8004}) +
                          strn(GetParam().name + " 1") + room());
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list.row().kind, GetParam().kind);
    EXPECT_EQ(list.row().track, 0U);
    EXPECT_EQ(GetParam().table(*list).count, 1);
    EXPECT_THAT(row(list).values, testing::ElementsAre(0x8001, 0x8002, 0x8004, 0x8003));
    EXPECT_EQ(row(list).size, 0U);
    EXPECT_EQ(row(list).data, nullptr);
}

TEST_P(TextTrackOf, FillsItsOwnTable) {
    const ParsedList list(text_head() + strn(GetParam().name + " 1") + room());
    EXPECT_EQ(list->text_subtitle.count + list->chapter.count, 1);
    EXPECT_EQ(list->audio.count + list->video.count + list->bitmap_subtitle.count, 0);
}

TEST_P(TextTrackOf, LeavesTheStreamBehindTheFourValues) {
    for (const std::size_t more : {0U, 1U, 32U}) {
        const Bytes format = unpadded("strf", u16(1) + u16(2) + u16(3) + u16(4) + filler(more));
        ParsedList list(strh({.type = "txts"}) + format + strn(GetParam().name + " 1") + room());
        EXPECT_EQ(list.row().kind, GetParam().kind) << more;
        EXPECT_EQ(list.consumed(), kFormat + 16) << more;
    }
}

TEST_P(TextTrackOf, NeedsNoMoreThanItsWordForAName) {
    EXPECT_EQ(ParsedList(text_head() + strn(GetParam().name)).row().kind, GetParam().kind);
}

// A name that is one byte short is not completed by what lies behind it.
TEST_P(TextTrackOf, NeedsTheWholeWordInItsName) {
    const Bytes &word = GetParam().name;
    const auto length = static_cast<std::uint32_t>(word.size());
    for (std::uint32_t size = 0; size < length; ++size) {
        ParsedList list(text_head() + claiming("strn", size, word) + room());
        EXPECT_FALSE(list.refused()) << size;
        EXPECT_EQ(list.row().kind, ChunkKind::unknown) << size;
        EXPECT_EQ(list.consumed(), kName + 8 + size) << size;
    }
}

TEST_P(TextTrackOf, ComparesItsWordByteByByte) {
    for (std::size_t i = 0; i < GetParam().name.size(); ++i) {
        Bytes other_case = GetParam().name;
        other_case[i] = static_cast<char>(other_case[i] ^ 0x20);
        const ParsedList list(text_head() + strn(other_case + " 1") + room());
        EXPECT_FALSE(list.refused()) << other_case;
        EXPECT_EQ(list.row().kind, ChunkKind::unknown) << other_case;
    }
}

TEST_P(TextTrackOf, FindsItsWordOnlyAtTheStart) {
    const ParsedList list(text_head() + strn(" " + GetParam().name + " 1") + room());
    EXPECT_EQ(list.row().kind, ChunkKind::unknown);
}

TEST_P(TextTrackOf, TakesTheLow16BitsOfTheNameSize) {
    const Bytes name = GetParam().name + " 1";
    const auto size = static_cast<std::uint32_t>(0x30000 + name.size());
    const ParsedList list(text_head() + claiming("strn", size, name) + room());
    EXPECT_EQ(list.row().kind, GetParam().kind);
}

// The format is not asked for its size: with none of its own, its values are the name's header.
TEST_P(TextTrackOf, TakesItsValuesFromWhateverFollowsTheFormatHeader) {
    const Bytes name = strn(GetParam().name);
    const ParsedList list(strh({.type = "txts"}) + chunk("strf", "") + name + room());
    EXPECT_EQ(list.row().kind, GetParam().kind);
    const auto size = static_cast<std::uint16_t>(GetParam().name.size());
    EXPECT_THAT(row(list).values, testing::ElementsAre('s' | 't' << 8, 'r' | 'n' << 8, 0, size));
}

TEST_P(TextTrackOf, MayHaveAFormatOfAnyId) {
    const ParsedList list(strh({.type = "txts"}) + chunk("abcd", u16(9) + filler(6)) +
                          unpadded("STRN", GetParam().name) + room());
    EXPECT_EQ(list.row().kind, GetParam().kind);
    EXPECT_EQ(row(list).values[0], 9);
}

TEST_P(TextTrackOf, IsNumberedInFileOrder) {
    const AviReader reader = open_bytes(
        file_with(text_stream({.values = {1, 2, 3, 4}, .name = GetParam().name}),
                  text_stream({.values = {5, 6, 7, 8}, .name = GetParam().name + " 2"})));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->streams[1].track, 1U);
    EXPECT_THAT(GetParam().table(*reader).rows[1].values, testing::ElementsAre(5, 6, 8, 7));
}

INSTANTIATE_TEST_SUITE_P(
    BothKinds, TextTrackOf,
    testing::Values(TextKind{"Subtitle", "Subtitle", ChunkKind::text_subtitle,
                             [](const AviReaderState &r) -> const AviTable<TextTrack> & {
                                 return r.text_subtitle;
                             }},
                    TextKind{"Chapter", "Chapter", ChunkKind::chapter,
                             [](const AviReaderState &r) -> const AviTable<TextTrack> & {
                                 return r.chapter;
                             }}),
    [](const auto &instance) { return instance.param.label; });

TEST(TextStream, OfAnyOtherNameIsCountedAndNotKept) {
    ParsedList list(text_head() + strn("Commentary") + room());
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list->stream_count, 1);
    EXPECT_EQ(list.row().kind, ChunkKind::unknown);
    EXPECT_EQ(list->text_subtitle.count + list->chapter.count, 0);
    EXPECT_EQ(list.consumed(), kName + 8 + 10);
}

TEST(TextStream, WithoutANameIsCountedAndNotKept) {
    ParsedList list(text_head() + room());
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list->stream_count, 1);
    EXPECT_EQ(list.row().kind, ChunkKind::unknown);
    EXPECT_EQ(list.consumed(), kName);
}

TEST(TextStream, WithANameOfNegativeLengthIsCountedAndNotKept) {
    for (const std::uint32_t size : {32768U, 40000U, 65535U, 0xFFFFFFFFU}) {
        ParsedList list(text_head() + claiming("strn", size, "Subtitle 1") + room());
        EXPECT_FALSE(list.refused()) << size;
        EXPECT_EQ(list.row().kind, ChunkKind::unknown) << size;
        EXPECT_EQ(list.consumed(), kName + 8) << size;
    }
}

TEST(TextStream, MayHaveTheLongestName) {
    const Bytes longest = "Subtitle" + filler(32767 - 8);
    EXPECT_EQ(ParsedList(text_head() + strn(longest)).row().kind, ChunkKind::text_subtitle);
}

TEST(TextStream, WithANameThatTheFileCutsShortIsCountedAndNotKept) {
    ParsedList list(text_head() + claiming("strn", 11, "Subtitle 1"));
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list.row().kind, ChunkKind::unknown);
    EXPECT_EQ(list->text_subtitle.count, 0);
    EXPECT_EQ(list.consumed(), kName + 8 + 10);
}

// The peek's step back of 12 ends before the name's header, which then is not met.
TEST(TextStream, MissesANameInTheLastElevenBytesOfTheFile) {
    ParsedList list(text_head() + strn("abc"));
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list.row().kind, ChunkKind::unknown);
    EXPECT_EQ(list.consumed(), kName - 1 + 4);
}

TEST(TextStream, SkipsAnOddFormatWithoutAPadByte) {
    const Bytes odd = u16(1) + u16(2) + u16(3) + u16(4) + "!";
    const Bytes header = strh({.type = "txts"});
    EXPECT_EQ(ParsedList(header + unpadded("strf", odd) + strn("Subtitle") + room()).row().kind,
              ChunkKind::text_subtitle);
    EXPECT_EQ(ParsedList(header + chunk("strf", odd) + strn("Subtitle") + room()).row().kind,
              ChunkKind::unknown);
}

TEST(TextStream, IsRefusedWhenItsFormatReachesTheEndOfTheFile) {
    const Bytes body = text_strf().substr(8) + room();
    const auto all = static_cast<std::uint32_t>(body.size());
    EXPECT_FALSE(ParsedList(strh({.type = "txts"}) + claiming("strf", all - 12, body)).refused());
    for (const std::uint32_t size :
         {all - 8, all, all + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_TRUE(ParsedList(strh({.type = "txts"}) + claiming("strf", size, body)).refused())
            << size;
    }
}

TEST(TextStream, LooksForNoIndex) {
    ParsedList list(text_head() + strn("Subtitle 1") + indx({.chunk_id = "03st"}) + room());
    EXPECT_EQ(list.row().kind, ChunkKind::text_subtitle);
    EXPECT_EQ(list->super_index_pos[3], 0);
}

}  // namespace
