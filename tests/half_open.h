// A record whose file is open and measured but not walked, for tests that run one walk at a time
// and look at where it leaves the stream.
#ifndef TESTS_HALF_OPEN_H
#define TESTS_HALF_OPEN_H

#include <gtest/gtest.h>

#include <cstdlib>

#include "test_files.h"

class HalfOpen {
public:
    explicit HalfOpen(const avi_builder::Bytes &content)
        : file_(content),
          record_(static_cast<AviReaderState *>(std::calloc(1, sizeof(AviReaderState)))) {
        record_->stream = avi_file_open(file_.path());
        record_->stream.size = static_cast<std::int64_t>(content.size());
    }

    // Pushes the form or list at `position`.
    void enter(std::int64_t position) {
        avi_file_seek(record_->stream, position, SEEK_SET);
        ASSERT_TRUE(avi_enter_list(*record_));
    }

    // Pushes "RIFF" at the start of the file and the list that is its first chunk.
    void enter_first_list() {
        enter(0);
        enter(12);
    }

    [[nodiscard]] std::int64_t position() { return avi_file_tell(record_->stream); }

    AviReaderState *operator->() { return record_.get(); }
    AviReaderState &operator*() { return *record_; }

private:
    TempFile file_;
    Record record_;
};

// The bytes that a blob's buffer holds: the payload of a data chunk, or a menu chunk whole.
inline avi_builder::Bytes blob_bytes(const AviBlob &blob, std::size_t count) {
    if (blob.data == nullptr) return "(no buffer)";
    return {reinterpret_cast<const char *>(blob.data), count};
}
inline avi_builder::Bytes data_bytes(const AviBlob &blob) {
    return blob_bytes(blob, blob.size);
}
inline avi_builder::Bytes menu_bytes(const AviBlob &blob) {
    return blob_bytes(blob, std::size_t{blob.size} + 8);
}

inline void expect_empty(const AviBlob &blob) {
    EXPECT_EQ(blob.present, 0);
    EXPECT_EQ(blob.size, 0U);
    EXPECT_EQ(blob.data, nullptr);
}

#endif
