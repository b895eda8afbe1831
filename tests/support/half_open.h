// A record whose file is open but not walked, for tests that run one part of the reader at a time
// and look at where it leaves the stream.
//
//     HalfOpen reader(riff("AVI ", data_list(chunk("MTDA", "payload"))));
//     reader.libc().damage(28);
//     reader.enter_first_list();
//     avi_load_data_chunk(*reader);
//     EXPECT_EQ(reader.position(), 24 + 8 + 7);
#ifndef TESTS_SUPPORT_HALF_OPEN_H
#define TESTS_SUPPORT_HALF_OPEN_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>

#include "tests/support/controlled_libc.h"
#include "tests/support/test_files.h"

// Makes failures of an expectation on kinds readable.
inline void PrintTo(ChunkKind kind, std::ostream *out) {
    *out << "kind " << static_cast<std::uint32_t>(kind);
}

class HalfOpen {
public:
    explicit HalfOpen(const avi_builder::Bytes &content, std::int64_t zeros_before = 0)
        : content_(content),
          libc_(content_, zeros_before),
          record_(static_cast<AviReaderState *>(std::calloc(1, sizeof(AviReaderState)))) {
        record_->stream = avi_file_open("in memory");
    }

    // What the reader's requests meet.
    ControlledLibc &libc() { return libc_; }

    AviStream &stream() { return record_->stream; }
    [[nodiscard]] std::int64_t position() { return avi_file_tell(record_->stream); }
    void move_to(std::int64_t position) { avi_file_go(record_->stream, position); }

    // Pushes the form or list at `position`.
    void enter(std::int64_t position) {
        move_to(position);
        ASSERT_EQ(avi_enter_list(*record_), kAviOk);
    }
    // Pushes "RIFF" at the start of the file and the list that is its first chunk.
    void enter_first_list() {
        enter(0);
        enter(12);
    }

    AviReaderState *operator->() { return record_.get(); }
    const AviReaderState *operator->() const { return record_.get(); }
    AviReaderState &operator*() { return *record_; }
    const AviReaderState &operator*() const { return *record_; }

private:
    avi_builder::Bytes content_;
    ControlledLibc libc_;
    AviReader record_;
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

// `count` bytes of a buffer, to compare with what was written.
inline avi_builder::Bytes bytes_at(const void *buffer, std::size_t count) {
    return {static_cast<const char *>(buffer), count};
}

#endif
