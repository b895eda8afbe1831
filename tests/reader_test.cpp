#include <gmock/gmock.h>

#include "test_files.h"

namespace {

using namespace avi_builder;

TEST(Open, KeepsWhatTheRichFileHolds) {
    const Record reader = open_bytes(rich_file());
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->stream_count, 5);
    EXPECT_EQ(reader->total_frames_ext, 6U);
    EXPECT_EQ(reader->form_count, 6U);
    EXPECT_EQ(reader->data_blob.size, 21U);
    EXPECT_EQ(Bytes(reinterpret_cast<const char *>(reader->data_blob.data), 21), filler(21, 3));
}

}  // namespace
