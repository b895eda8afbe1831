#include <gmock/gmock.h>

#include <string>

#include "tests/support/half_open.h"
#include "tests/support/test_names.h"

namespace {

using namespace std::string_literals;

FourCC code(const std::string &text) {
    return avi_fourcc_from_string(text.c_str());
}

// ---- conversion

TEST(LittleEndian, PutsTheFirstByteLowest) {
    const unsigned char bytes[] = {0x01, 0x82, 0x03, 0x84, 0x05};
    EXPECT_EQ(avi_get_u16le(bytes), 0x8201);
    EXPECT_EQ(avi_get_u32le(bytes), 0x84038201U);
}

TEST(LittleEndian, TakesBytesAtAnyAlignment) {
    const unsigned char bytes[] = {0x01, 0x82, 0x03, 0x84, 0x05};
    EXPECT_EQ(avi_get_u16le(bytes + 1), 0x0382);
    EXPECT_EQ(avi_get_u32le(bytes + 1), 0x05840382U);
}

TEST(FourCC, KeepsFileOrder) {
    EXPECT_EQ(code("RIFF").value, 0x46464952U);
    EXPECT_EQ(code("\x80\xff\x01\x02").value, 0x0201ff80U);
}

TEST(FourCC, LooksAtFourCharactersOnly) {
    EXPECT_EQ(avi_fourcc_from_string("LISTmovi").value, code("LIST").value);
}

TEST(FourCC, TurnsBackIntoItsCharactersAndAZero) {
    char text[5] = {'x', 'x', 'x', 'x', 'x'};
    avi_fourcc_to_chars(code("00dc"), text);
    EXPECT_EQ(std::string(text, 5), "00dc\0"s);
    avi_fourcc_to_chars({0x8001FF00}, text);
    EXPECT_EQ(std::string(text, 5), "\0\xff\x01\x80\0"s);
}

// ---- comparison

TEST(FourCCEqual, IgnoresAsciiCase) {
    EXPECT_TRUE(avi_fourcc_equal(code("LIST"), code("list")));
    EXPECT_TRUE(avi_fourcc_equal(code("hDrL"), code("HdRl")));
    EXPECT_TRUE(avi_fourcc_equal(code("AZMz"), code("azmZ")));
    EXPECT_FALSE(avi_fourcc_equal(code("@[`{"), code("`{@[")));
}

TEST(FourCCEqual, ComparesEveryCharacter) {
    EXPECT_FALSE(avi_fourcc_equal(code("RIFF"), code("XIFF")));
    EXPECT_FALSE(avi_fourcc_equal(code("RIFF"), code("RXFF")));
    EXPECT_FALSE(avi_fourcc_equal(code("RIFF"), code("RIXF")));
    EXPECT_FALSE(avi_fourcc_equal(code("RIFF"), code("RIFX")));
}

TEST(FourCCEqual, StopsAtAZeroThatBothHave) {
    EXPECT_TRUE(avi_fourcc_equal(code("\0abc"s), code("\0xyz"s)));
    EXPECT_TRUE(avi_fourcc_equal(code("AB\0c"s), code("ab\0d"s)));
    EXPECT_FALSE(avi_fourcc_equal(code("AB\0c"s), code("AC\0c"s)));
}

TEST(FourCCEqual, TellsAZeroFromACharacter) {
    EXPECT_FALSE(avi_fourcc_equal(code("ABC\0"s), code("ABCD")));
    EXPECT_FALSE(avi_fourcc_equal(code("\0BCD"s), code("ABCD")));
}

TEST(FourCCEqual, FoldsLettersOnly) {
    EXPECT_FALSE(avi_fourcc_equal(code("[[[["), code("{{{{")));
    EXPECT_FALSE(avi_fourcc_equal(code("\xc4\xc4\xc4\xc4"), code("\xe4\xe4\xe4\xe4")));
}

// ---- chunk kinds

struct KindCase {
    std::string id;
    std::uint32_t kind;
    std::uint32_t kind_with_retry;
};

void PrintTo(const KindCase &c, std::ostream *out) {
    *out << as_test_name(c.id);
}

std::string name_of_case(const testing::TestParamInfo<KindCase> &instance) {
    return as_test_name(instance.param.id);
}

class ChunkKindOf : public testing::TestWithParam<KindCase> {};

TEST_P(ChunkKindOf, FollowsTheCodeInTheId) {
    const KindCase &expected = GetParam();
    EXPECT_EQ(static_cast<std::uint32_t>(avi_chunk_kind(code(expected.id), false)), expected.kind);
    EXPECT_EQ(static_cast<std::uint32_t>(avi_chunk_kind(code(expected.id), true)),
              expected.kind_with_retry);
}

INSTANTIATE_TEST_SUITE_P(CodeLast, ChunkKindOf,
                         testing::Values(KindCase{"01wb", 1, 1}, KindCase{"00db", 2, 2},
                                         KindCase{"00dc", 3, 3}, KindCase{"00dd", 4, 4},
                                         KindCase{"03st", 5, 5}, KindCase{"02sb", 6, 6},
                                         KindCase{"04ch", 7, 7}, KindCase{"00ix", 8, 8}),
                         name_of_case);

INSTANTIATE_TEST_SUITE_P(CodeFirst, ChunkKindOf,
                         testing::Values(KindCase{"wb01", 0, 1}, KindCase{"db00", 0, 2},
                                         KindCase{"dc00", 0, 3}, KindCase{"dd00", 0, 4},
                                         KindCase{"st03", 0, 5}, KindCase{"sb02", 0, 6},
                                         KindCase{"ch04", 0, 7}, KindCase{"ix00", 0, 8},
                                         KindCase{"NKJU", 0, 10}, KindCase{"S2RE", 0, 11}),
                         name_of_case);

INSTANTIATE_TEST_SUITE_P(WholeId, ChunkKindOf,
                         testing::Values(KindCase{"JUNK", 10, 10}, KindCase{"RES1", 11, 11},
                                         KindCase{"RES2", 11, 11}, KindCase{"RES3", 11, 11},
                                         KindCase{"RES0", 0, 0}, KindCase{"RES4", 0, 0},
                                         KindCase{"junk", 0, 0}, KindCase{"JUNk", 0, 0},
                                         KindCase{"res2", 0, 0}, KindCase{"RXS1", 0, 0},
                                         KindCase{"REX1", 0, 0}, KindCase{"SES1", 0, 0}),
                         name_of_case);

// The first two characters are no part of the test, and case counts.
INSTANTIATE_TEST_SUITE_P(AnyStreamNumber, ChunkKindOf,
                         testing::Values(KindCase{"99dc", 3, 3}, KindCase{"zzwb", 1, 1},
                                         KindCase{"\0\0wb"s, 1, 1}, KindCase{"dcwb", 1, 1},
                                         KindCase{"01WB", 0, 0}, KindCase{"01wB", 0, 0},
                                         KindCase{"00DC", 0, 0}, KindCase{"WB01", 0, 0}),
                         name_of_case);

// A code's first letter with a wrong second one: only after 'd' is the search over at once.
INSTANTIATE_TEST_SUITE_P(
    HalfACode, ChunkKindOf,
    testing::Values(KindCase{"wbdx", 0, 0}, KindCase{"dcdX", 0, 0}, KindCase{"wb\0\0"s, 0, 1},
                    KindCase{"wbwx", 0, 1}, KindCase{"wbsx", 0, 1}, KindCase{"wbcx", 0, 1},
                    KindCase{"wbid", 0, 1}, KindCase{"00dx", 0, 0}, KindCase{"dx00", 0, 0},
                    KindCase{"wx00", 0, 0}, KindCase{"sx00", 0, 0}, KindCase{"cx00", 0, 0},
                    KindCase{"id00", 0, 0}, KindCase{"wbwc", 0, 1}, KindCase{"wbsh", 0, 1},
                    KindCase{"wbch", 7, 7}, KindCase{"wbex", 0, 1}),
    name_of_case);

INSTANTIATE_TEST_SUITE_P(Nothing, ChunkKindOf,
                         testing::Values(KindCase{"\0\0\0\0"s, 0, 0}, KindCase{"LIST", 0, 0},
                                         KindCase{"0000", 0, 0}),
                         name_of_case);

// ---- stream numbers

std::optional<std::uint32_t> leading(const std::string &id) {
    return avi_stream_number(code(id));
}
std::optional<std::uint32_t> trailing(const std::string &id) {
    return avi_trailing_stream_number(code(id));
}

TEST(StreamNumber, IsWrittenInTheFirstTwoCharacters) {
    EXPECT_EQ(leading("00dc"), 0U);
    EXPECT_EQ(leading("07wb"), 7U);
    EXPECT_EQ(leading("10wb"), 10U);
    EXPECT_EQ(leading("99dc"), 99U);
    for (const char other : {'/', ':', ' ', 'a', '\xB0', '\xB9', '\0'}) {
        EXPECT_EQ(leading(other + "0dc"s), std::nullopt) << other;
        EXPECT_EQ(leading("0"s + other + "dc"), std::nullopt) << other;
    }
}

TEST(StreamNumber, MayBeWrittenInTheLastTwo) {
    EXPECT_EQ(trailing("ix00"), 0U);
    EXPECT_EQ(trailing("ix42"), 42U);
    EXPECT_EQ(trailing("00dc"), std::nullopt);
    EXPECT_EQ(trailing("ix4:"), std::nullopt);
    EXPECT_EQ(trailing("ix:4"), std::nullopt);
}

}  // namespace
