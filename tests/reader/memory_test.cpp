#include "avi_reader/memory.h"

#include <gmock/gmock.h>

#include "tests/support/half_open.h"

namespace {

using namespace avi_builder;

TEST(Allocate, StopsAtTheLargestBufferOfTheTarget) {
    EXPECT_TRUE(avi_can_allocate(0));
    EXPECT_TRUE(avi_can_allocate(0x7FFFFFFF));
    EXPECT_FALSE(avi_can_allocate(0x80000000));
    EXPECT_FALSE(avi_can_allocate(0x100000007));  // 8 bytes more than 32 bits can count
    EXPECT_EQ(avi_allocate(0x80000000), nullptr);
    EXPECT_EQ(avi_allocate(0x100000007), nullptr);
}

TEST(Allocate, GivesZeros) {
    const AviBytes bytes = avi_allocate(4096);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(bytes_at(bytes.get(), 4096), Bytes(4096, '\0'));
}

TEST(Allocate, GivesABufferForNoBytes) {
    EXPECT_NE(avi_allocate(0), nullptr);
}

}  // namespace
