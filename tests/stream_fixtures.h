// Parts of the reader at work on bytes: a stream over them, and a "strl" list parsed on its own.
#ifndef TESTS_STREAM_FIXTURES_H
#define TESTS_STREAM_FIXTURES_H

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <stdexcept>
#include <string>

#include "test_files.h"

// Makes failures of an expectation on kinds readable.
inline void PrintTo(ChunkKind kind, std::ostream *out) {
    *out << "kind " << static_cast<std::uint32_t>(kind);
}

// An id as a part of a test's name.
inline std::string id_as_name(const std::string &id) {
    constexpr char kHex[] = "0123456789abcdef";
    std::string name;
    for (const char c : id) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) != 0) {
            name += c;
        } else {
            name += {'_', kHex[byte / 16], kHex[byte % 16]};
        }
    }
    return name;
}

// An open stream over a file with that content, measured as the reader does it.
class TestStream {
public:
    explicit TestStream(const avi_builder::Bytes &content)
        : file_(content), stream_(avi_file_open(file_.path())) {
        if (stream_.file == nullptr) throw std::runtime_error("cannot open a temporary file");
        stream_.size = static_cast<std::int64_t>(content.size());
    }
    ~TestStream() { avi_file_close(stream_); }
    TestStream(const TestStream &) = delete;
    TestStream &operator=(const TestStream &) = delete;

    AviStream &operator*() { return stream_; }

    void move_to(std::int64_t position) {
        if (avi_file_seek(stream_, position, SEEK_SET) != kAviOk) {
            throw std::runtime_error("cannot move a stream");
        }
    }
    std::int64_t position() { return avi_file_tell(stream_); }

private:
    TempFile file_;
    AviStream stream_;
};

// A record into which one "strl" list was parsed, and nothing else. The list is the whole file, so
// that whatever is left out at its end is the end of the file too.
class ParsedList {
public:
    static constexpr std::int64_t kHeader = 12;

    explicit ParsedList(const avi_builder::Bytes &content,
                        bool allow_trailing_stream_number = false)
        : file_("LIST" + avi_builder::u32(static_cast<std::uint32_t>(content.size() + 4)) + "strl" +
                content),
          record_(static_cast<AviReaderState *>(std::calloc(1, sizeof(AviReaderState)))) {
        record_->stream = avi_file_open(file_.path());
        record_->stream.size = kHeader + static_cast<std::int64_t>(content.size());
        if (!avi_enter_list(*record_)) throw std::runtime_error("cannot enter a list");
        avi_parse_stream_list(*record_, allow_trailing_stream_number);
    }

    [[nodiscard]] bool refused() const { return record_->chunk_top->error != kAviOk; }

    // How many bytes of the content lie before the position that the parse left.
    [[nodiscard]] std::int64_t consumed() { return avi_file_tell(record_->stream) - kHeader; }

    [[nodiscard]] const AviStreamRecord &stream() const { return record_->streams[0]; }
    const AviReaderState *operator->() const { return record_.get(); }

private:
    TempFile file_;
    Record record_;
};

// A whole file with those "strl" lists.
template <typename... Lists>
avi_builder::Bytes file_with(const Lists &...lists) {
    using namespace avi_builder;
    return riff("AVI ", list("hdrl", avih(), lists...), list("movi", chunk("00dc", filler(24))));
}

inline avi_builder::Bytes repeat(const avi_builder::Bytes &bytes, int times) {
    avi_builder::Bytes all;
    for (int i = 0; i < times; ++i) all += bytes;
    return all;
}

inline std::int64_t length_of(const avi_builder::Bytes &bytes) {
    return static_cast<std::int64_t>(bytes.size());
}

// `count` bytes of a buffer, to compare with what was written.
inline avi_builder::Bytes bytes_at(const void *buffer, std::size_t count) {
    return {static_cast<const char *>(buffer), count};
}

// A row's name, its closing 0 included.
template <typename Row>
avi_builder::Bytes name_of(const Row &row) {
    return row.name == nullptr ? "(none)"
                               : bytes_at(row.name, static_cast<std::size_t>(row.name_length) + 1);
}

// The chunks that every stream of a kind begins with. What follows them in its list is up to the
// test.
inline avi_builder::Bytes audio_head() {
    return avi_builder::strh({.type = "auds"}) + avi_builder::audio_strf();
}
inline avi_builder::Bytes video_head() {
    return avi_builder::strh({.type = "vids"}) + avi_builder::video_strf();
}
inline avi_builder::Bytes bitmap_subtitle_head() {
    return avi_builder::strh({.type = "vids"}) + avi_builder::video_strf({.compression = "QRSB"});
}
inline avi_builder::Bytes text_head() {
    return avi_builder::strh({.type = "txts"}) + avi_builder::text_strf();
}

// What follows a stream's chunks in a file that does not end there.
inline const avi_builder::Bytes &room() {
    static const avi_builder::Bytes bytes = avi_builder::chunk("JUNK", avi_builder::filler(32));
    return bytes;
}

#endif
