// The "indx" chunk at the end of audio and video lists.
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/support/parsed_list.h"
#include "tests/support/test_names.h"

namespace {

using namespace avi_builder;

struct Kind {
    const char *name;
    Bytes head;
};

void PrintTo(const Kind &kind, std::ostream *out) {
    *out << kind.name;
}

class SuperIndexOf : public testing::TestWithParam<Kind> {
protected:
    [[nodiscard]] std::int64_t head() const { return length(GetParam().head); }
};

TEST_P(SuperIndexOf, KeepsPositionAndHeader) {
    ParsedList list(GetParam().head +
                    indx({.longs_per_entry = 0x8001,
                          .index_subtype = 0x82,
                          .index_type = 0x83,
                          .entries_in_use = 0x84000001,
                          .chunk_id = "07ab",
                          .reserved = {0x85000001, 0x85000002, 0x85000003},
                          .entries = filler(32)}) +
                    room());
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list->super_index_pos[7], ParsedList::kHeader + head());
    const SuperIndexInfo &info = list->super_index[7];
    EXPECT_EQ(info.longs_per_entry, 0x8001U);
    EXPECT_EQ(info.index_subtype, 0x82U);
    EXPECT_EQ(info.index_type, 0x83U);
    EXPECT_EQ(info.entries_in_use, 0x84000001U);
    EXPECT_EQ(info.chunk_id.value, avi_fourcc_from_string("07ab").value);
    EXPECT_THAT(info.reserved, testing::ElementsAre(0x85000001, 0x85000002, 0x85000003));
    EXPECT_EQ(list.consumed(), head() + 8 + 24 + 32);
}

TEST_P(SuperIndexOf, IsFoundBehindANameAndWithoutRegardToCase) {
    const Bytes index = indx({.entries_in_use = 6});
    const Bytes shouted = "INDX" + index.substr(4);
    for (const Bytes &rest : {strn("abc") + index, shouted, strn("abcd") + shouted}) {
        const ParsedList list(GetParam().head + rest + room());
        EXPECT_FALSE(list.refused());
        EXPECT_EQ(list->super_index[0].entries_in_use, 6U);
    }
}

TEST_P(SuperIndexOf, HidesANameBehindIt) {
    const ParsedList list(GetParam().head + indx({.entries_in_use = 6}) + strn("abcd") + room());
    EXPECT_EQ(list->super_index[0].entries_in_use, 6U);
    EXPECT_EQ(list->audio.rows[0].name, nullptr);
    EXPECT_EQ(list->video.rows[0].name, nullptr);
}

TEST_P(SuperIndexOf, IsSteppedOverByItsSizeWithoutAPadByte) {
    for (const std::uint32_t size : {0U, 1U, 24U, 25U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        Bytes index = indx();
        index.replace(4, 4, u32(size));
        ParsedList list(GetParam().head + index + room());
        EXPECT_FALSE(list.refused()) << size;
        EXPECT_NE(list->super_index_pos[0], 0) << size;
        EXPECT_EQ(list.consumed(), head() + 8 + size) << size;
    }
}

TEST_P(SuperIndexOf, IsTakenAsFarAsTheFileHoldsIt) {
    const Bytes whole =
        indx({.entries_in_use = 0x01020304, .chunk_id = "05ab", .reserved = {1, 2, 3}});
    for (std::size_t held = 12; held < whole.size(); ++held) {
        ParsedList list(GetParam().head + whole.substr(0, held));
        EXPECT_FALSE(list.refused()) << held;
        EXPECT_EQ(list.consumed(), head() + 8 + 24) << held;
        // Two characters of the chunk id are the number.
        EXPECT_EQ(list->super_index_pos[5] != 0, held >= 18) << held;
        EXPECT_EQ(list->super_index[5].entries_in_use, held >= 18 ? 0x01020304U : 0U) << held;
        EXPECT_EQ(list->super_index[5].reserved[0], held >= 21 ? 1U : 0U) << held;
        EXPECT_EQ(list->super_index[5].reserved[2], held >= 29 ? 3U : 0U) << held;
    }
}

// A short peek ends one byte early, so the next one starts there.
TEST(SuperIndex, MayBeMetOneByteEarlyInTheLastElevenBytes) {
    const Bytes format = unpadded("strf", audio_format_body({.extra_size = 1, .extra = "i"}));
    const Bytes head = strh({.type = "auds"}) + format;
    ParsedList list(head + "ndx" + u32(24) + filler(4));
    EXPECT_FALSE(list.refused());
    EXPECT_EQ(list.consumed(), length(head) - 1 + 8 + 24);
}

INSTANTIATE_TEST_SUITE_P(AudioAndVideo, SuperIndexOf,
                         testing::Values(Kind{"Audio", audio_head()}, Kind{"Video", video_head()}),
                         [](const auto &instance) { return instance.param.name; });

// ---- the stream number

constexpr int kNone = -1;

struct NumberCase {
    std::string chunk_id;
    int number;
    int with_trailing_numbers;
};

std::string name_of_case(const testing::TestParamInfo<NumberCase> &instance) {
    return as_test_name(instance.param.chunk_id);
}

void PrintTo(const NumberCase &c, std::ostream *out) {
    *out << as_test_name(c.chunk_id);
}

class SuperIndexNumber : public testing::TestWithParam<NumberCase> {};

int number_filed_under(const ParsedList &list) {
    int found = kNone;
    for (int i = 0; i < static_cast<int>(kAviSuperIndexes); ++i) {
        if (list->super_index_pos[i] == 0) continue;
        EXPECT_EQ(found, kNone) << "filed twice";
        EXPECT_EQ(list->super_index[i].entries_in_use, 77U);
        found = i;
    }
    return found;
}

TEST_P(SuperIndexNumber, IsInTheChunkId) {
    const Bytes content =
        audio_head() + indx({.entries_in_use = 77, .chunk_id = GetParam().chunk_id}) + room();
    const ParsedList leading(content, false), trailing(content, true);
    EXPECT_FALSE(leading.refused());
    EXPECT_FALSE(trailing.refused());
    EXPECT_EQ(number_filed_under(leading), GetParam().number);
    EXPECT_EQ(number_filed_under(trailing), GetParam().with_trailing_numbers);
}

INSTANTIATE_TEST_SUITE_P(Leading, SuperIndexNumber,
                         testing::Values(NumberCase{"00wb", 0, 0}, NumberCase{"01wb", 1, 1},
                                         NumberCase{"09wb", 9, 9}, NumberCase{"10wb", 10, 10},
                                         NumberCase{"19wb", 19, 19},
                                         NumberCase{"20wb", kNone, kNone},
                                         NumberCase{"99wb", kNone, kNone}),
                         name_of_case);

INSTANTIATE_TEST_SUITE_P(Trailing, SuperIndexNumber,
                         testing::Values(NumberCase{"ix00", kNone, 0}, NumberCase{"ix02", kNone, 2},
                                         NumberCase{"ix19", kNone, 19},
                                         NumberCase{"ix20", kNone, kNone},
                                         NumberCase{"ix99", kNone, kNone},
                                         NumberCase{"0x12", kNone, 12},
                                         NumberCase{"x012", kNone, 12}),
                         name_of_case);

// Leading digits decide, also when they name no place in the tables.
INSTANTIATE_TEST_SUITE_P(Both, SuperIndexNumber,
                         testing::Values(NumberCase{"0103", 1, 1},
                                         NumberCase{"2003", kNone, kNone}),
                         name_of_case);

INSTANTIATE_TEST_SUITE_P(Neither, SuperIndexNumber,
                         testing::Values(NumberCase{"0/wb", kNone, kNone},
                                         NumberCase{":0wb", kNone, kNone},
                                         NumberCase{"ix0:", kNone, kNone},
                                         NumberCase{"ix/0", kNone, kNone},
                                         NumberCase{"wb0x", kNone, kNone},
                                         NumberCase{std::string(4, '\0'), kNone, kNone}),
                         name_of_case);

// ---- in whole files

TEST(SuperIndexes, OfAFileAreFiledByTheirOwnNumber) {
    const Bytes content = file_with(audio_stream({.index = SuperIndex{.chunk_id = "03wb"}}),
                                    video_stream({.index = SuperIndex{.chunk_id = "01dc"}}));
    const AviReader reader = open_bytes(content);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->super_index_pos[3], static_cast<std::int64_t>(content.find("indx")));
    EXPECT_EQ(reader->super_index_pos[1], static_cast<std::int64_t>(content.rfind("indx")));
    EXPECT_EQ(std::count(std::begin(reader->super_index_pos), std::end(reader->super_index_pos), 0),
              18);
}

TEST(SuperIndexes, OfOtherNumbersLeaveTheRecordAlone) {
    for (const char *id : {"20wb", "99wb", "wbwb"}) {
        const SuperIndex fields = {.longs_per_entry = 0xFFFF,
                                   .entries_in_use = 0xFFFFFFFF,
                                   .chunk_id = id,
                                   .reserved = {1, 2, 3}};
        const ParsedList list(audio_head() + indx(fields) + room());
        const Bytes tables = bytes_at(&list->super_index_pos, sizeof list->super_index_pos) +
                             bytes_at(&list->super_index, sizeof list->super_index);
        EXPECT_EQ(tables, Bytes(tables.size(), '\0')) << id;
        EXPECT_EQ(list->open_option, 0U) << id;
        EXPECT_EQ(list->index_pos, 0) << id;
        EXPECT_EQ(list->data_list_pos, 0) << id;
    }
}

TEST(SuperIndexes, OfOneNumberReplaceEachOther) {
    const AviReader reader =
        open_bytes(file_with(audio_stream({.index = SuperIndex{.entries_in_use = 1}}),
                             audio_stream({.index = SuperIndex{.entries_in_use = 2}})));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->super_index[0].entries_in_use, 2U);
}

TEST(SuperIndexes, TakeTrailingNumbersWhenTheFileIsOpenedSo) {
    const Bytes content = file_with(audio_stream({.index = SuperIndex{.chunk_id = "ix02"}}));
    const AviReader strict = open_bytes(content, 0), lenient = open_bytes(content, 1);
    ASSERT_NE(strict, nullptr);
    ASSERT_NE(lenient, nullptr);
    EXPECT_EQ(strict->super_index_pos[2], 0);
    EXPECT_NE(lenient->super_index_pos[2], 0);
}

// A walk ends by where the last chunk's reader left the stream: behind the header list, that list
// is over and its other streams are never met; behind the form, there is no "movi" list either.
TEST(SuperIndexes, ThatReachBeyondTheirListEndTheWalksAroundIt) {
    const Bytes second = audio_stream();
    const auto open_with = [&](std::uint32_t size) {
        Bytes index = indx();
        index.replace(4, 4, u32(size));
        return open_bytes(file_with(list("strl", audio_head(), index), second));
    };
    const auto to_movi = static_cast<std::uint32_t>(24 + second.size());
    const AviReader inside = open_with(24), before = open_with(to_movi - 9);
    const AviReader behind = open_with(to_movi - 8), in_movi = open_with(to_movi + 16);
    ASSERT_NE(inside, nullptr);
    ASSERT_NE(before, nullptr);
    ASSERT_NE(behind, nullptr);
    ASSERT_NE(in_movi, nullptr);
    EXPECT_EQ(inside->stream_count, 2);
    EXPECT_EQ(before->stream_count, 2);
    EXPECT_EQ(behind->stream_count, 1);
    EXPECT_EQ(in_movi->stream_count, 1);
    EXPECT_EQ(open_with(100000), nullptr);
}

}  // namespace
