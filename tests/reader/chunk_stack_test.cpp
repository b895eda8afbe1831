#include <gmock/gmock.h>

#include "tests/support/half_open.h"

namespace {

using namespace avi_builder;

struct FreeStack {
    void operator()(ChunkNode *node) const { avi_chunk_free_all(node); }
};
using Stack = std::unique_ptr<ChunkNode, FreeStack>;

// The form or list at the position; null when it cannot be opened.
Stack push(HalfOpen &file) {
    ChunkNode *node = nullptr;
    const AviStatus status = avi_chunk_push(node, file.stream());
    EXPECT_EQ(status == kAviOk, node != nullptr);
    return Stack(node);
}

std::uint32_t id_of(const char *text) {
    return avi_fourcc_from_string(text).value;
}

// ---- push

TEST(ChunkPush, KeepsWhatTheHeaderSays) {
    HalfOpen file("JUNK" + claiming("LIST", 0xFFFFFFFE, "movi....rest"));
    file.move_to(4);
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->parent, nullptr);
    EXPECT_EQ(node->stream, &file.stream());
    EXPECT_EQ(node->start, 4);
    EXPECT_EQ(node->size, 0xFFFFFFFE);  // never negative
    EXPECT_EQ(node->cursor, 16);
    EXPECT_EQ(node->id.value, id_of("LIST"));
    EXPECT_EQ(node->list_type.value, id_of("movi"));
    EXPECT_EQ(node->error, kAviOk);
    EXPECT_EQ(node->depth, 1U);
    EXPECT_EQ(file.position(), 16);
}

TEST(ChunkPush, CountsTheDepthOfItsParent) {
    HalfOpen file(list("AVI ", list("hdrl", list("strl"))));
    ChunkNode *top = nullptr;
    ASSERT_EQ(avi_chunk_push(top, file.stream()), kAviOk);
    const ChunkNode *form = top;
    ASSERT_EQ(avi_chunk_push(top, file.stream()), kAviOk);
    const ChunkNode *headers = top;
    ASSERT_EQ(avi_chunk_push(top, file.stream()), kAviOk);
    const Stack innermost(top);
    EXPECT_EQ(innermost->parent, headers);
    EXPECT_EQ(headers->parent, form);
    EXPECT_EQ(headers->depth, 2U);
    EXPECT_EQ(innermost->depth, 3U);
    EXPECT_EQ(innermost->start, 24);
}

TEST(ChunkPush, TellsWantOfMemoryFromAHeaderThatCannotBeRead) {
    ChunkNode *node = nullptr;
    HalfOpen without_memory(list("strl"));
    without_memory.libc().fail(
        {Call::allocation, without_memory.libc().calls(Call::allocation) + 1});
    EXPECT_EQ(avi_chunk_push(node, without_memory.stream()), kAviNoMemory);
    HalfOpen cut("LIST");
    EXPECT_EQ(avi_chunk_push(node, cut.stream()), kAviFailed);
    HalfOpen damaged(list("strl"));
    damaged.libc().damage(5);
    EXPECT_EQ(avi_chunk_push(node, damaged.stream()), kAviUnreadable);
    EXPECT_EQ(node, nullptr);
}

TEST(ChunkPush, NeedsAHeaderThatReachesIntoItsType) {
    const Bytes header = list("strl");
    for (std::size_t held = 0; held <= header.size(); ++held) {
        HalfOpen file(header.substr(0, held));
        const Stack node = push(file);
        EXPECT_EQ(node != nullptr, held >= 9) << held;
    }
}

TEST(ChunkPush, CompletesATypeThatTheFileCutsShort) {
    HalfOpen file(list("strl").substr(0, 10));
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->list_type.value, 0x7473U);
    EXPECT_EQ(node->cursor, 10);
}

// ---- next

TEST(ChunkNext, StopsAtEachHeaderAndStepsOverThePadByte) {
    const Bytes even = chunk("aaaa", "1234"), odd = chunk("bbbb", "123"), empty = chunk("cccc", "");
    HalfOpen file(list("test", even, odd, empty));
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);

    EXPECT_EQ(avi_chunk_next(*node).value, id_of("aaaa"));
    EXPECT_EQ(file.position(), 12);
    EXPECT_EQ(node->cursor, 24);
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("bbbb"));
    EXPECT_EQ(file.position(), 24);
    EXPECT_EQ(node->cursor, 36);  // 8 + 3 + 1
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("cccc"));
    EXPECT_EQ(file.position(), 36);
    EXPECT_EQ(node->cursor, 44);
    EXPECT_EQ(node->error, kAviOk);
}

TEST(ChunkNext, GoesOnFromTheCursorWhereverTheStreamIs) {
    HalfOpen file(list("test", chunk("aaaa", "1234"), chunk("bbbb", "")));
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    file.move_to(1);
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("aaaa"));
    file.move_to(100);
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
        HalfOpen file(list("test", claiming("aaaa", c.size, "")));
        const Stack node = push(file);
        ASSERT_NE(node, nullptr);
        avi_chunk_next(*node);
        EXPECT_EQ(node->cursor, 12 + c.step) << c.size;
        EXPECT_EQ(node->error, kAviOk) << c.size;
    }
}

TEST(ChunkNext, IsZeroAndAnErrorAtTheEndOfTheFile) {
    HalfOpen file(list("test"));
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(avi_chunk_next(*node).value, 0U);
    EXPECT_EQ(node->error, kAviFailed);
    EXPECT_EQ(file.position(), 12);
    EXPECT_EQ(node->cursor, 20);
}

TEST(ChunkNext, IsAnErrorWithoutASize) {
    HalfOpen file(list("test") + "aaaa");
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("aaaa"));
    EXPECT_EQ(node->error, kAviFailed);
    EXPECT_EQ(node->cursor, 20);
}

TEST(ChunkNext, CompletesASizeThatTheFileCutsShort) {
    HalfOpen file(list("test") + "aaaa\x05");
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("aaaa"));
    EXPECT_EQ(node->error, kAviOk);
    EXPECT_EQ(node->cursor, 12 + 8 + 6);
}

TEST(ChunkNext, KeepsAnEarlierError) {
    HalfOpen file(list("test", chunk("aaaa", "")));
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    node->error = kAviFailed;
    EXPECT_EQ(avi_chunk_next(*node).value, id_of("aaaa"));
    EXPECT_EQ(node->error, kAviFailed);
}

// ---- the end of a list

TEST(ChunkAtEnd, ComesEightBytesBeforeTheTrueEnd) {
    HalfOpen file("####" + list("test", chunk("aaaa", "12345678")));
    file.move_to(4);
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    ASSERT_EQ(node->size, 20);
    for (const std::int64_t position : {0, 16, 23}) {
        file.move_to(position);
        EXPECT_FALSE(avi_chunk_at_end(*node)) << position;
    }
    for (const std::int64_t position : {24, 25, 1000}) {
        file.move_to(position);
        EXPECT_TRUE(avi_chunk_at_end(*node)) << position;
    }
}

TEST(ChunkAtEnd, LooksAtTheStreamAndNotAtTheCursor) {
    HalfOpen file(list("test", chunk("aaaa", "12345678")));
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    avi_chunk_next(*node);
    EXPECT_GT(node->cursor, node->start + node->size);
    EXPECT_FALSE(avi_chunk_at_end(*node));
}

TEST(ChunkAtEnd, IsTrueAtOnceInAListOfAtMostAnEmptyChunk) {
    for (const std::uint32_t size : {0U, 4U, 12U}) {
        HalfOpen file(claiming("LIST", size, "movi00dc....1234"));
        const Stack node = push(file);
        ASSERT_NE(node, nullptr);
        EXPECT_TRUE(avi_chunk_at_end(*node)) << size;
    }
    HalfOpen file(claiming("LIST", 13, "movi00dc....1234"));
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    EXPECT_FALSE(avi_chunk_at_end(*node));
}

TEST(ChunkAtEnd, TakesTheLargestSizesAsSuch) {
    HalfOpen file(claiming("LIST", 0xFFFFFFFF, "movi"));
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    file.move_to(0xFFFFFFFELL);
    EXPECT_FALSE(avi_chunk_at_end(*node));
    file.move_to(0xFFFFFFFFLL);
    EXPECT_TRUE(avi_chunk_at_end(*node));
}

// ---- a walk

TEST(Walk, VisitsEachSubChunkUntilTheListEnds) {
    HalfOpen file(list("test", chunk("aaaa", "1"), chunk("bbbb", "22"), chunk("cccc", "")));
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    std::vector<std::uint32_t> visited;
    FourCC id{};
    while (avi_walk(*node, id)) visited.push_back(id.value);
    EXPECT_THAT(visited, testing::ElementsAre(id_of("aaaa"), id_of("bbbb"), id_of("cccc")));
    EXPECT_EQ(node->error, kAviOk);
}

TEST(Walk, EndsBehindAHeaderThatCannotBeRead) {
    HalfOpen file(claiming("LIST", 1000, "test" + chunk("aaaa", "12") + "bbbb"));
    const Stack node = push(file);
    ASSERT_NE(node, nullptr);
    std::vector<std::uint32_t> visited;
    FourCC id{};
    while (avi_walk(*node, id)) visited.push_back(id.value);
    EXPECT_THAT(visited, testing::ElementsAre(id_of("aaaa"), id_of("bbbb")))
        << "the last one's id is known";
    EXPECT_EQ(node->error, kAviFailed);
}

// ---- release

TEST(ChunkPop, ReturnsTheParent) {
    HalfOpen file(list("AVI ", list("hdrl", list("strl"))));
    ChunkNode *top = nullptr;
    ASSERT_EQ(avi_chunk_push(top, file.stream()), kAviOk);
    ChunkNode *form = top;
    ASSERT_EQ(avi_chunk_push(top, file.stream()), kAviOk);
    EXPECT_EQ(avi_chunk_pop(top), form);
    EXPECT_EQ(avi_chunk_pop(form), nullptr);
    EXPECT_EQ(file.position(), 24);
}

TEST(ChunkFreeAll, OfNoneDoesNothing) {
    avi_chunk_free_all(nullptr);
}

TEST(ChunkFreeAll, FreesEveryNode) {
    HalfOpen file(list("AVI ", list("hdrl", list("strl"))));
    const std::size_t before = file.libc().live_allocations();
    ChunkNode *node = nullptr;
    for (int i = 0; i < 3; ++i) ASSERT_EQ(avi_chunk_push(node, file.stream()), kAviOk);
    EXPECT_EQ(file.libc().live_allocations(), before + 3);
    avi_chunk_free_all(node);
    EXPECT_EQ(file.libc().live_allocations(), before);
    EXPECT_EQ(file.position(), 36);
}

// ---- the record's stack

TEST(EnterList, MakesTheListInnermostAndLeaveListUndoesIt) {
    HalfOpen reader(list("AVI ", list("hdrl")));
    ASSERT_EQ(avi_enter_list(*reader), kAviOk);
    ChunkNode *form = reader->chunk_top;
    ASSERT_EQ(avi_enter_list(*reader), kAviOk);
    EXPECT_EQ(reader->chunk_top->parent, form);
    EXPECT_EQ(reader->chunk_top->stream, &reader.stream());
    avi_leave_list(*reader);
    EXPECT_EQ(reader->chunk_top, form);
    avi_leave_list(*reader);
    EXPECT_EQ(reader->chunk_top, nullptr);
}

TEST(EnterList, RefusesTheFileAndKeepsTheStackWhenTheListCannotBeRead) {
    HalfOpen reader(list("AVI ", Bytes("LIST")));
    ASSERT_EQ(avi_enter_list(*reader), kAviOk);
    ChunkNode *form = reader->chunk_top;
    EXPECT_EQ(avi_enter_list(*reader), kAviFailed);
    EXPECT_EQ(reader->chunk_top, form);
    EXPECT_EQ(reader->refusal.reason, AviReason::list_header_cut_short);
    EXPECT_EQ(reader->refusal.pos, 16);
}

}  // namespace
