// Where the index of a file is looked for.
#include <gmock/gmock.h>

#include "avi_reader/index.h"
#include "tests/support/film_with.h"
#include "tests/support/half_open.h"

namespace {

using namespace avi_builder;

TEST(Index, IsFoundBehindTheMedia) {
    const Bytes before = "AVI " + kHeaders + kMedia;
    for (const char *id : {"idx1", "1idx", "IDX1", "1IdX"}) {
        const AviReader reader = open_bytes(unpadded("RIFF", before + chunk(id, filler(16))));
        ASSERT_NE(reader, nullptr);
        EXPECT_EQ(reader->index_pos, 8 + length(before)) << id;
    }
}

TEST(Index, IsFoundInFrontOfTheMedia) {
    const AviReader reader = open_bytes(film_with(chunk("idx1", filler(16))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->index_pos, 12 + length(kHeaders));
}

TEST(Index, IsTheFirstOfSeveral) {
    const AviReader reader = open_bytes(
        riff("AVI ", kHeaders, kMedia, chunk("1idx", filler(16)), chunk("idx1", filler(16))));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->index_pos, 12 + length(kHeaders + kMedia));
}

TEST(Index, IsTheOneInFrontOfTheMediaWhenThereIsOneOnEitherSide) {
    const Bytes index = chunk("idx1", filler(16));
    const AviReader reader = open_bytes(riff("AVI ", kHeaders, index, kMedia, index));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->index_pos, 12 + length(kHeaders));
}

TEST(Index, IsFoundBehindMediaInWhoseHeaderTheFormEnds) {
    const Bytes before = "AVI " + kHeaders;
    for (const std::int64_t size : {length(before) + 9, length(before) + 12, length(before) + 20}) {
        const AviReader reader =
            open_bytes(claiming("RIFF", static_cast<std::uint32_t>(size), before + kMedia) +
                       chunk("idx1", filler(16)));
        ASSERT_NE(reader, nullptr) << size;
        EXPECT_EQ(reader->index_pos, 8 + length(before + kMedia)) << size;
    }
}

TEST(Index, IsNotFoundInsideAListOrALaterForm) {
    const Bytes index = chunk("idx1", filler(16));
    const AviReader inside =
        open_bytes(riff("AVI ", kHeaders, list("movi", chunk("00dc", filler(8)), index)));
    ASSERT_NE(inside, nullptr);
    EXPECT_EQ(inside->index_pos, 0);
    const AviReader later = open_bytes(kPlain + riff("AVIX", kMedia, index));
    ASSERT_NE(later, nullptr);
    EXPECT_EQ(later->index_pos, 0);
    EXPECT_EQ(open_bytes(kPlain)->index_pos, 0);
    EXPECT_EQ(open_bytes(riff("AVI ", kHeaders, kMedia, chunk("idx2", index)))->index_pos, 0);
}

TEST(Index, IsFoundInTheFormsLastEightBytes) {
    const AviReader reader = open_bytes(riff("AVI ", kHeaders, kMedia, chunk("idx1", "")));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->index_pos, 12 + length(kHeaders + kMedia));
}

TEST(Index, IsTakenFromDirectlyBehindTheForm) {
    const AviReader reader = open_bytes(kPlain + unpadded("idx1", filler(16)));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->index_pos, length(kPlain));
    const AviReader one_further =
        open_bytes(kPlain + unpadded("JUNK", "") + unpadded("idx1", filler(16)));
    ASSERT_NE(one_further, nullptr);
    EXPECT_EQ(one_further->index_pos, 0);
}

TEST(Index, IsNotLookedForBehindAFormThatEndsEarly) {
    // The form's end, 8 bytes early, meets the header of the last chunk that was visited.
    const Bytes content = "AVI " + kHeaders + kMedia;
    for (const std::int64_t size :
         {length(content) - length(kMedia) + 8, length(content) - length(kMedia) + 9}) {
        HalfOpen reader(claiming("RIFF", static_cast<std::uint32_t>(size), content) +
                        chunk("idx1", ""));
        reader.enter(0);
        avi_find_index(*reader, *reader->chunk_top);
        const bool at_end = size == length(content) - length(kMedia) + 8;
        EXPECT_EQ(reader->index_pos, at_end ? 0 : 8 + length(content));
    }
}

TEST(Index, NeedsAByteOfItsSize) {
    const Bytes form = claiming("RIFF", 5000, "AVI " + kHeaders + kMedia);
    EXPECT_EQ(open_bytes(form + "idx1")->index_pos, 0);
    EXPECT_EQ(open_bytes(form + "idx1\x10")->index_pos, length(form));
}

TEST(Index, SearchLeavesTheStreamAtTheIndex) {
    HalfOpen reader(riff("AVI ", chunk("JUNK", filler(3)), chunk("idx1", filler(4)), kMedia));
    reader.enter(0);
    avi_find_index(*reader, *reader->chunk_top);
    EXPECT_EQ(reader.position(), 12 + 12);
    EXPECT_EQ(reader->index_pos, 12 + 12);
}

TEST(Index, IsNotLookedForInAFormThatMetAnError) {
    HalfOpen reader(riff("AVI ", chunk("idx1", filler(4)), kMedia));
    reader.enter(0);
    reader->chunk_top->error = kAviFailed;
    avi_find_index(*reader, *reader->chunk_top);
    EXPECT_EQ(reader->index_pos, 0);
    EXPECT_EQ(reader.position(), 12);
}

}  // namespace
