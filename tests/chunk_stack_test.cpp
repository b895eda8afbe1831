#include <gmock/gmock.h>
#include <malloc.h>

#include "stream_fixtures.h"

namespace {

using namespace avi_builder;

struct FreeStack {
    void operator()(ChunkNode *node) const { avi_chunk_free_all(node); }
};
using Stack = std::unique_ptr<ChunkNode, FreeStack>;

std::uint32_t id_of(const char *text) {
    return avi_fourcc_from_string(text).value;
}

// ---- push

TEST(ChunkPush, KeepsWhatTheHeaderSays) {
    TestStream stream("JUNK" + claiming("LIST", 0xFFFFFFFE, "movi....rest"));
    stream.move_to(4);
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->parent, nullptr);
    EXPECT_EQ(node->stream, &*stream);
    EXPECT_EQ(node->start, 4);
    EXPECT_EQ(node->size, 0xFFFFFFFE);  // never negative
    EXPECT_EQ(node->cursor, 16);
    EXPECT_EQ(node->id.value, id_of("LIST"));
    EXPECT_EQ(node->list_type.value, id_of("movi"));
    EXPECT_EQ(node->error, kAviOk);
    EXPECT_EQ(node->depth, 1U);
    EXPECT_EQ(stream.position(), 16);
}

TEST(ChunkPush, CountsTheDepthOfItsParent) {
    TestStream stream(list("AVI ", list("hdrl", list("strl"))));
    ChunkNode *form = avi_chunk_push(nullptr, *stream);
    ChunkNode *headers = avi_chunk_push(form, *stream);
    const Stack innermost(avi_chunk_push(headers, *stream));
    ASSERT_NE(innermost, nullptr);
    EXPECT_EQ(innermost->parent, headers);
    EXPECT_EQ(headers->parent, form);
    EXPECT_EQ(headers->depth, 2U);
    EXPECT_EQ(innermost->depth, 3U);
    EXPECT_EQ(innermost->start, 24);
}

TEST(ChunkPush, NeedsAHeaderThatReachesIntoItsType) {
    const Bytes header = list("strl");
    for (std::size_t held = 0; held <= header.size(); ++held) {
        TestStream stream(header.substr(0, held));
        const Stack node(avi_chunk_push(nullptr, *stream));
        EXPECT_EQ(node != nullptr, held >= 9) << held;
    }
}

TEST(ChunkPush, CompletesATypeThatTheFileCutsShort) {
    TestStream stream(list("strl").substr(0, 10));
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->list_type.value, 0x7473U);
    EXPECT_EQ(node->cursor, 10);
}

// ---- next

TEST(ChunkNext, StopsAtEachHeaderAndStepsOverThePadByte) {
    const Bytes even = chunk("aaaa", "1234"), odd = chunk("bbbb", "123"), empty = chunk("cccc", "");
    TestStream stream(list("test", even, odd, empty));
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);

    EXPECT_EQ(avi_chunk_next(*node).value, id_of("aaaa"));
    EXPECT_EQ(stream.position(), 12);
    EXPECT_EQ(node->cursor, 24);
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("bbbb"));
    EXPECT_EQ(stream.position(), 24);
    EXPECT_EQ(node->cursor, 36);  // 8 + 3 + 1
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("cccc"));
    EXPECT_EQ(stream.position(), 36);
    EXPECT_EQ(node->cursor, 44);
    EXPECT_EQ(node->error, kAviOk);
}

TEST(ChunkNext, GoesOnFromTheCursorWhereverTheStreamIs) {
    TestStream stream(list("test", chunk("aaaa", "1234"), chunk("bbbb", "")));
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);
    stream.move_to(1);
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("aaaa"));
    stream.move_to(100);
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("bbbb"));
}

TEST(ChunkNext, StepsBySizesOf32Bits) {
    struct {
        std::uint32_t size;
        std::int64_t step;
    } const cases[] = {{0x7FFFFFFF, 8 + 0x80000000LL},
                       {0x80000000, 8 + 0x80000000LL},
                       {0xFFFFFFFD, 8 + 0xFFFFFFFELL},
                       {0xFFFFFFFE, 8 + 0xFFFFFFFELL},
                       {0xFFFFFFFF, 8}};  // its even form wraps to 0
    for (const auto &c : cases) {
        TestStream stream(list("test", claiming("aaaa", c.size, "")));
        const Stack node(avi_chunk_push(nullptr, *stream));
        ASSERT_NE(node, nullptr);
        avi_chunk_next(*node);
        EXPECT_EQ(node->cursor, 12 + c.step) << c.size;
        EXPECT_EQ(node->error, kAviOk) << c.size;
    }
}

TEST(ChunkNext, IsZeroAndAnErrorAtTheEndOfTheFile) {
    TestStream stream(list("test"));
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(avi_chunk_next(*node).value, 0U);
    EXPECT_EQ(node->error, kAviFailed);
    EXPECT_EQ(stream.position(), 12);
    EXPECT_EQ(node->cursor, 20);
}

TEST(ChunkNext, IsAnErrorWithoutASize) {
    TestStream stream(list("test") + "aaaa");
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("aaaa"));
    EXPECT_EQ(node->error, kAviFailed);
    EXPECT_EQ(node->cursor, 20);
}

TEST(ChunkNext, CompletesASizeThatTheFileCutsShort) {
    TestStream stream(list("test") + "aaaa\x05");
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("aaaa"));
    EXPECT_EQ(node->error, kAviOk);
    EXPECT_EQ(node->cursor, 12 + 8 + 6);
}

TEST(ChunkNext, KeepsAnEarlierError) {
    TestStream stream(list("test", chunk("aaaa", "")));
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);
    node->error = kAviFailed;
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("aaaa"));
    EXPECT_EQ(node->error, kAviFailed);
}

// ---- the end of a list

TEST(ChunkAtEnd, ComesEightBytesBeforeTheTrueEnd) {
    TestStream stream("####" + list("test", chunk("aaaa", "12345678")));
    stream.move_to(4);
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);
    ASSERT_EQ(node->size, 20);
    for (const std::int64_t position : {0, 16, 23}) {
        stream.move_to(position);
        EXPECT_FALSE(avi_chunk_at_end(*node)) << position;
    }
    for (const std::int64_t position : {24, 25, 1000}) {
        stream.move_to(position);
        EXPECT_TRUE(avi_chunk_at_end(*node)) << position;
    }
}

TEST(ChunkAtEnd, LooksAtTheStreamAndNotAtTheCursor) {
    TestStream stream(list("test", chunk("aaaa", "12345678")));
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);
    avi_chunk_next(*node);
    EXPECT_GT(node->cursor, node->start + node->size);
    EXPECT_FALSE(avi_chunk_at_end(*node));
}

TEST(ChunkAtEnd, IsTrueAtOnceInAListOfAtMostAnEmptyChunk) {
    for (const std::uint32_t size : {0U, 4U, 12U}) {
        TestStream stream(claiming("LIST", size, "movi00dc....1234"));
        const Stack node(avi_chunk_push(nullptr, *stream));
        ASSERT_NE(node, nullptr);
        EXPECT_TRUE(avi_chunk_at_end(*node)) << size;
    }
    TestStream stream(claiming("LIST", 13, "movi00dc....1234"));
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);
    EXPECT_FALSE(avi_chunk_at_end(*node));
}

TEST(ChunkAtEnd, TakesTheLargestSizesAsSuch) {
    TestStream stream(claiming("LIST", 0xFFFFFFFF, "movi"));
    const Stack node(avi_chunk_push(nullptr, *stream));
    ASSERT_NE(node, nullptr);
    stream.move_to(0xFFFFFFFELL);
    EXPECT_FALSE(avi_chunk_at_end(*node));
    stream.move_to(0xFFFFFFFFLL);
    EXPECT_TRUE(avi_chunk_at_end(*node));
}

// What is left of a walk past the end of the file, step by step, against the shortcut.
TEST(ChunkFinish, EndsWhereEmptyStepsWould) {
    for (std::uint32_t size = 4; size < 60; ++size) {
        TestStream stream(claiming("LIST", size, "test"));
        const Stack stepped(avi_chunk_push(nullptr, *stream));
        ASSERT_NE(stepped, nullptr);
        std::int64_t expected = stepped->cursor;
        while (expected - stepped->size - stepped->start < 0) expected += 8;

        avi_chunk_finish(*stepped);
        EXPECT_EQ(stream.position(), expected) << size;
        EXPECT_TRUE(avi_chunk_at_end(*stepped)) << size;
    }
}

// ---- release

TEST(ChunkPop, ReturnsTheParent) {
    TestStream stream(list("AVI ", list("hdrl", list("strl"))));
    ChunkNode *form = avi_chunk_push(nullptr, *stream);
    ChunkNode *headers = avi_chunk_push(form, *stream);
    EXPECT_EQ(avi_chunk_pop(headers), form);
    EXPECT_EQ(avi_chunk_pop(form), nullptr);
    EXPECT_EQ(stream.position(), 24);
}

TEST(ChunkFreeAll, OfNoneDoesNothing) {
    avi_chunk_free_all(nullptr);
}

// A leak check sees one stack that is not freed; so does the heap's size after many.
TEST(ChunkFreeAll, FreesEveryNode) {
    TestStream stream(list("AVI ", list("hdrl", list("strl"))));
    constexpr std::size_t kStacks = 2000;
    const std::size_t before = mallinfo2().uordblks;
    for (std::size_t i = 0; i < kStacks; ++i) {
        stream.move_to(0);
        ChunkNode *node = avi_chunk_push(nullptr, *stream);
        node = avi_chunk_push(node, *stream);
        node = avi_chunk_push(node, *stream);
        ASSERT_NE(node, nullptr);
        avi_chunk_free_all(node);
    }
    EXPECT_LT(mallinfo2().uordblks, before + kStacks * sizeof(ChunkNode) / 4);
    EXPECT_EQ(stream.position(), 36);
}

// ---- the record's stack

TEST(EnterList, MakesTheListInnermostAndLeaveListUndoesIt) {
    TestStream stream(list("AVI ", list("hdrl")));
    AviReaderState reader{};
    reader.stream = *stream;
    ASSERT_TRUE(avi_enter_list(reader));
    ChunkNode *form = reader.chunk_top;
    ASSERT_TRUE(avi_enter_list(reader));
    EXPECT_EQ(reader.chunk_top->parent, form);
    EXPECT_EQ(reader.chunk_top->stream, &reader.stream);
    avi_leave_list(reader);
    EXPECT_EQ(reader.chunk_top, form);
    avi_leave_list(reader);
    EXPECT_EQ(reader.chunk_top, nullptr);
}

TEST(EnterList, LeavesNoStackWhenTheListCannotBeRead) {
    TestStream stream(list("AVI ", Bytes("LIST")));
    AviReaderState reader{};
    reader.stream = *stream;
    ASSERT_TRUE(avi_enter_list(reader));
    EXPECT_FALSE(avi_enter_list(reader));
    EXPECT_EQ(reader.chunk_top, nullptr);
}

}  // namespace
