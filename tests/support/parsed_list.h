// A "strl" list parsed on its own, and the chunks that such lists begin with.
#ifndef TESTS_SUPPORT_PARSED_LIST_H
#define TESTS_SUPPORT_PARSED_LIST_H

#include "avi_reader/stream_list.h"
#include "tests/support/half_open.h"

// A record into which one "strl" list was parsed, and nothing else. The list is the whole file, so
// that whatever is left out at its end is the end of the file too.
class ParsedList : public HalfOpen {
public:
    static constexpr std::int64_t kHeader = 12;

    explicit ParsedList(const avi_builder::Bytes &content,
                        bool allow_trailing_stream_number = false)
        : ParsedList(content, {}, allow_trailing_stream_number) {}

    // One whose bytes at these places of the content cannot be read.
    ParsedList(const avi_builder::Bytes &content, std::initializer_list<std::int64_t> damaged,
               bool allow_trailing_stream_number = false)
        : HalfOpen(avi_builder::unpadded("LIST", "strl" + content)) {
        for (const std::int64_t byte : damaged) libc().damage(kHeader + byte);
        enter(0);
        status_ = avi_parse_stream_list(**this, allow_trailing_stream_number);
    }

    // How many bytes of the content lie before the position that the parse left.
    [[nodiscard]] std::int64_t consumed() { return position() - kHeader; }

    [[nodiscard]] bool refused() const { return status_ != kAviOk; }
    [[nodiscard]] AviReason reason() const { return (*this)->refusal.reason; }
    [[nodiscard]] const AviStreamRecord &row() const { return (*this)->streams[0]; }

private:
    AviStatus status_;
};

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
