#include "tests/support/record_checks.h"

#include <sstream>

namespace {

// Reads the first and the last byte, and a few between, so that a buffer that is too small shows.
unsigned touch(const unsigned char *bytes, std::uint64_t size) {
    unsigned sum = 0;
    for (std::uint64_t i = 0; i < size; i += 1 + size / 16) sum += bytes[i];
    return size == 0 ? 0 : sum + bytes[size - 1];
}

class Checks {
public:
    explicit Checks(const OwnsBytes &owns) : owns_(owns) {}

    void hold(bool condition, const char *rule) {
        if (!condition && broken_.empty()) broken_ = rule;
    }
    void buffer(const unsigned char *bytes, std::uint64_t size, const char *rule) {
        if (bytes == nullptr) return;
        hold(owns_(bytes, size), rule);
        if (broken_.empty()) touched_ = touch(bytes, size);
    }
    [[nodiscard]] std::string broken() const { return broken_; }

private:
    const OwnsBytes &owns_;
    std::string broken_;
    volatile unsigned touched_ = 0;
};

template <typename Row>
void check_name(Checks &checks, const Row &row) {
    checks.hold(row.name_length >= 0, "a name's length is not negative");
    checks.hold(row.name != nullptr || row.name_length == 0, "a name with a length has its bytes");
    const auto length = static_cast<std::uint64_t>(row.name_length);
    checks.buffer(row.name, length + 1, "a name's buffer holds the name and a 0");
    if (row.name != nullptr) checks.hold(row.name[length] == 0, "a name ends in a 0");
}

void check_video(Checks &checks, const VideoTrack &row) {
    check_name(checks, row);
    checks.hold(row.handler[4] == 0 && row.compression[4] == 0, "codes are C strings");
    checks.hold(row.has_stream_data <= 1, "has_stream_data is 0 or 1");
    checks.hold((row.has_stream_data == 1) == (row.stream_data != nullptr),
                "stream data is there exactly when the row says so");
    checks.hold(row.stream_data != nullptr || row.stream_data_size == 0,
                "no stream data has no size");
    checks.buffer(row.stream_data, row.stream_data_size, "stream data is as large as promised");
}

void check_blob(Checks &checks, const AviBlob &blob, std::uint32_t header) {
    checks.hold(blob.present == 0 || blob.present == 1, "present is 0 or 1");
    checks.hold(blob.data != nullptr || blob.pos <= 0 || blob.present == 0,
                "a chunk that was found has its bytes");
    checks.buffer(blob.data, std::uint64_t{blob.size} + header, "a blob is as large as promised");
}

template <typename Table>
void check_count(Checks &checks, const Table &table) {
    checks.hold(table.count >= 0 && table.count <= kAviMaxTracks, "a table has at most 12 rows");
}

std::int32_t rows_of(const AviReaderState &reader, ChunkKind kind) {
    switch (kind) {
    case ChunkKind::audio:
        return reader.audio.count;
    case ChunkKind::compressed_video:
        return reader.video.count;
    case ChunkKind::bitmap_subtitle:
        return reader.bitmap_subtitle.count;
    case ChunkKind::text_subtitle:
        return reader.text_subtitle.count;
    case ChunkKind::chapter:
        return reader.chapter.count;
    default:
        return -1;
    }
}

void check_streams(Checks &checks, const AviReaderState &reader) {
    checks.hold(reader.stream_count >= 0 && reader.stream_count <= kAviMaxStreams,
                "there are at most 19 streams");
    std::int32_t rows = 0;
    for (std::int32_t i = 0; i < reader.stream_count; ++i) {
        const AviStreamRecord &stream = reader.streams[i];
        if (stream.kind == ChunkKind::unknown) continue;
        ++rows;
        checks.hold(static_cast<std::int64_t>(stream.track) < rows_of(reader, stream.kind),
                    "a stream names a row of the table of its kind");
    }
    checks.hold(rows == reader.video.count + reader.audio.count + reader.bitmap_subtitle.count +
                            reader.text_subtitle.count + reader.chapter.count,
                "every row belongs to a stream");
}

void check_stack(Checks &checks, const AviReaderState &reader) {
    const ChunkNode *movi = reader.chunk_top;
    checks.hold(movi != nullptr && movi->parent != nullptr && movi->parent->parent == nullptr,
                "the stack is the movi list in the form");
    if (movi == nullptr || movi->parent == nullptr) return;
    checks.hold(movi->depth == 2 && movi->parent->depth == 1, "nodes count their depth");
    checks.hold(movi->error == kAviOk, "the movi list is without error");
    checks.hold(movi->stream == &reader.stream, "nodes point at the record's stream");
    checks.hold(movi->start + 12 == reader.movi_pos || reader.movi_pos < 0,
                "media starts behind the list's header");
}

void check_queries(Checks &checks, const AviReaderState &reader) {
    std::int32_t streams = -1;
    std::int32_t with_data = -1;
    checks.hold(avvin_get_summary(reader, streams, with_data) == kAviOk, "the summary succeeds");
    checks.hold(streams == reader.stream_count, "the summary counts the streams");
    std::int32_t expected = 0;
    for (const VideoTrack &row : reader.video.used()) {
        expected += row.has_stream_data == 1 ? 1 : 0;
    }
    checks.hold(with_data == expected, "the summary counts the stream data");
    for (std::int32_t i = 0; i < streams; ++i) {
        ChunkKind kind{};
        checks.hold(avvin_get_track_chunk_type(reader, i, kind) == kAviOk, "a kind is told");
        if (kind != ChunkKind::compressed_video) continue;
        const unsigned char *payload = nullptr;
        std::uint32_t size = 0;
        checks.hold(avvin_get_track_strd(reader, i, payload, size) == kAviOk, "a payload is told");
        checks.hold((payload == nullptr) ==
                        (reader.video.rows[reader.streams[i].track].has_stream_data == 0),
                    "the payload told is the row's");
        checks.buffer(payload, size, "the payload told is as large as told");
    }
}

// ---- describing

class Text {
public:
    template <typename Value>
    Text &operator<<(Value value) {
        out_ << static_cast<std::int64_t>(value) << ' ';
        return *this;
    }
    void bytes(const void *data, std::uint64_t size) {
        out_ << (data == nullptr ? "none" : "bytes:");
        if (data != nullptr)
            out_.write(static_cast<const char *>(data), static_cast<std::streamsize>(size));
        out_ << ' ';
    }
    void line(const char *name) { out_ << '\n' << name << ' '; }
    [[nodiscard]] std::string text() const { return out_.str(); }

private:
    std::ostringstream out_;
};

void tell(Text &text, const VideoTrack &row) {
    text.line("video");
    text << row.rate << row.scale << row.width << row.height << row.has_stream_data
         << row.stream_data_word << row.quality << row.stream_data_size << row.stream_data_pos
         << row.name_length;
    text.bytes(row.handler, 4);
    text.bytes(row.compression, 4);
    text.bytes(row.stream_data, row.stream_data_size);
    text.bytes(row.name, static_cast<std::uint64_t>(row.name_length));
}

void tell(Text &text, const AudioTrack &row) {
    text.line("audio");
    text.bytes(&row.format, sizeof row.format);
    text << row.initial_frames << row.scale << row.rate << row.start << row.sample_size
         << row.name_length;
    text.bytes(row.name, static_cast<std::uint64_t>(row.name_length));
}

void tell(Text &text, const TextTrack &row) {
    text.line("text");
    for (const auto value : row.values) text << value;
    text << row.size;
}

void tell(Text &text, const AviBlob &blob, std::uint32_t header) {
    text.line("blob");
    text << blob.present << blob.size << blob.pos;
    text.bytes(blob.data, std::uint64_t{blob.size} + header);
}

template <typename Row>
void tell(Text &text, const AviTable<Row> &table) {
    text.line("table");
    text << table.count;
    for (const Row &row : table.used()) tell(text, row);
}

}  // namespace

std::string broken_rule(const AviReaderState &reader, const OwnsBytes &owns) {
    Checks checks(owns);
    checks.hold(reader.stream.file != nullptr, "the file is open");
    check_count(checks, reader.video);
    check_count(checks, reader.audio);
    check_count(checks, reader.bitmap_subtitle);
    check_count(checks, reader.text_subtitle);
    check_count(checks, reader.chapter);
    check_stack(checks, reader);
    if (!checks.broken().empty()) return checks.broken();

    check_streams(checks, reader);
    for (const VideoTrack &row : reader.video.used()) check_video(checks, row);
    for (const AudioTrack &row : reader.audio.used()) check_name(checks, row);
    for (const VideoTrack &row : reader.bitmap_subtitle.used()) {
        check_video(checks, row);
        checks.hold(row.has_stream_data == 0, "bitmap subtitles have no stream data");
    }
    check_blob(checks, reader.menu_blob, 8);
    check_blob(checks, reader.form_menu_blob, 8);
    check_blob(checks, reader.data_blob, 0);
    check_queries(checks, reader);
    return checks.broken();
}

std::string describe(const AviReaderState &reader) {
    Text text;
    text << reader.form_count << reader.total_frames_ext << reader.index_pos << reader.movi_pos
         << reader.data_list_pos << reader.menu_list_pos << reader.form_menu_pos
         << reader.data_list_present << reader.menu_list_present << reader.stream_count;
    text.bytes(&reader.main_header, sizeof reader.main_header);
    text.bytes(reader.streams, sizeof reader.streams);
    text.bytes(reader.super_index_pos, sizeof reader.super_index_pos);
    text.bytes(reader.super_index, sizeof reader.super_index);
    tell(text, reader.video);
    tell(text, reader.audio);
    tell(text, reader.bitmap_subtitle);
    tell(text, reader.text_subtitle);
    tell(text, reader.chapter);
    tell(text, reader.menu_blob, 8);
    tell(text, reader.form_menu_blob, 8);
    tell(text, reader.data_blob, 0);
    return text.text();
}
