// The reading of one "strl" list.

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "proof/second_chunks.h"
#include "proof/second_stream.h"

namespace second {
namespace {

bool is_digit(std::uint8_t c) {
    return c >= '0' && c <= '9';
}

// The stream number that a super index belongs to, from the first two characters of its chunk id
// or, where that is allowed, from the last two.
std::optional<int> stream_number(std::uint32_t chunk_id, bool allow_trailing_stream_number) {
    const auto c = fourcc_to_chars(chunk_id);
    if (is_digit(c[0]) && is_digit(c[1])) return 10 * (c[0] - '0') + (c[1] - '0');
    if (!allow_trailing_stream_number) return std::nullopt;
    if (is_digit(c[2]) && is_digit(c[3])) return 10 * (c[2] - '0') + (c[3] - '0');
    return std::nullopt;
}

// "indx": where it lies and its fixed fields are kept under its stream's number, if the table has
// that number. Values that the file does not hold are 0. The stream goes behind the chunk, without
// a pad byte.
int read_super_index(Record &record, Stream &stream, bool allow_trailing_stream_number) {
    const std::int64_t pos = stream.tell();
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    SuperIndexInfo info;
    read_fourcc(stream, id);
    read_u32(stream, size);
    read_u16(stream, info.longs_per_entry);
    read_u8(stream, info.index_subtype);
    read_u8(stream, info.index_type);
    read_u32(stream, info.entries_in_use);
    read_fourcc(stream, info.chunk_id);
    for (std::uint32_t &value : info.reserved) read_u32(stream, value);
    const auto number = stream_number(info.chunk_id, allow_trailing_stream_number);
    if (number && *number < kMaxSuperIndexes) {
        const auto row = static_cast<std::size_t>(*number);
        record.super_index_pos[row] = pos;
        record.super_index[row] = info;
    }
    return stream.seek(pos + static_cast<std::int64_t>(size) + 8, kFromStart);
}

// The parse of one list. Every step that fails gives the reason, every other Reason::none.
struct ListParse {
    Stream &stream;
    Record &record;
    bool allow_trailing_stream_number;
    StreamRow *row = nullptr;

    Reason run();
    Reason audio();
    Reason video();
    Reason bitmap_subtitle(const VideoFormat &format);
    Reason text();
    Reason text_track(Table<TextTrack> &table, std::int64_t format_pos, std::int32_t kind,
                      Reason too_many);
    Reason stream_data(VideoTrack &track);
    template <class Track>
    Reason name(Track &track);
    Reason super_index();

    void is_row_of(std::int32_t kind, std::int32_t count) {
        row->kind = kind;
        row->track = static_cast<std::uint32_t>(count - 1);
    }
};

template <class Row>
Row &last_row(Table<Row> &table) {
    return table.rows.at(static_cast<std::size_t>(table.count - 1));
}

void copy_video_fields(VideoTrack &track, const StreamHeader &header, const VideoFormat &format) {
    track.rate = header.rate;
    track.scale = header.scale;
    track.quality = header.quality;
    track.width = format.width;
    track.height = format.height;
    track.handler = fourcc_to_chars(header.handler);
    track.compression = fourcc_to_chars(format.compression);
}

Reason ListParse::run() {
    record.stream_count += 1;
    if (record.stream_count > kMaxStreams) return Reason::too_many_streams;
    row = &record.streams.at(static_cast<std::size_t>(record.stream_count - 1));
    row->kind = 0;
    if (read_stream_header(row->header, stream)) return Reason::bad_stream_header;
    if (fourcc_equal(row->header.type, fourcc("auds"))) return audio();
    if (fourcc_equal(row->header.type, fourcc("txts"))) return text();
    if (fourcc_equal(row->header.type, fourcc("vids"))) return video();
    return Reason::none;  // of another type: the row stays, with kind 0
}

Reason ListParse::audio() {
    record.audio.count += 1;
    if (record.audio.count > kMaxTracks) return Reason::too_many_audio_streams;
    WaveFormat format;
    if (read_audio_format(format, stream)) return Reason::bad_audio_format;
    AudioTrack &track = last_row(record.audio);
    track.format = format;
    track.initial_frames = row->header.initial_frames;
    track.scale = row->header.scale;
    track.rate = row->header.rate;
    track.start = row->header.start;
    track.sample_size = row->header.sample_size;
    is_row_of(1, record.audio.count);
    if (const Reason failed = name(track); failed != Reason::none) return failed;
    return super_index();
}

Reason ListParse::video() {
    VideoFormat format;
    if (read_video_format(format, stream)) return Reason::bad_video_format;
    if (fourcc_equal(format.compression, fourcc("QRSB"))) return bitmap_subtitle(format);
    record.video.count += 1;
    if (record.video.count > kMaxTracks) return Reason::too_many_video_streams;
    VideoTrack &track = last_row(record.video);
    if (const Reason failed = stream_data(track); failed != Reason::none) return failed;
    is_row_of(3, record.video.count);
    copy_video_fields(track, row->header, format);
    if (const Reason failed = name(track); failed != Reason::none) return failed;
    return super_index();
}

// The video stream of a bitmap subtitle: no stream data, and no second peek for an index.
Reason ListParse::bitmap_subtitle(const VideoFormat &format) {
    record.bitmap_subtitle.count += 1;
    if (record.bitmap_subtitle.count > kMaxTracks) return Reason::too_many_bitmap_subtitles;
    VideoTrack &track = last_row(record.bitmap_subtitle);
    if (const Reason failed = name(track); failed != Reason::none) return failed;
    is_row_of(6, record.bitmap_subtitle.count);
    copy_video_fields(track, row->header, format);
    return Reason::none;
}

// Its name, which stands behind the format, says what a text stream is; the name is not kept.
Reason ListParse::text() {
    const std::int64_t format_pos = stream.tell();
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    read_fourcc(stream, id);
    read_u32(stream, size);
    stream.seek(size, kFromCurrent);
    const std::int64_t behind_format = stream.tell();
    Header next;
    if (peek_chunk_header(stream, next)) return Reason::stream_list_cut_short;
    if (!fourcc_equal(next.id, fourcc("strn"))) {
        stream.seek(behind_format, kFromStart);
        return Reason::none;
    }
    Name title;
    if (read_stream_name(title, stream)) return Reason::none;
    // To the byte and to the case, within the name's length.
    const auto begins_with = [&title](std::string_view word) {
        return title.bytes.size() >= word.size() &&
               std::equal(word.begin(), word.end(), title.bytes.begin(),
                          [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
    };
    if (begins_with("Subtitle"))
        return text_track(record.text_subtitle, format_pos, 5, Reason::too_many_text_subtitles);
    if (begins_with("Chapter"))
        return text_track(record.chapter, format_pos, 7, Reason::too_many_chapters);
    return Reason::none;
}

Reason ListParse::text_track(Table<TextTrack> &table, std::int64_t format_pos, std::int32_t kind,
                             Reason too_many) {
    stream.seek(format_pos, kFromStart);
    table.count += 1;
    if (table.count > kMaxTracks) return too_many;
    std::array<std::uint16_t, 4> values{};
    if (read_text_format(values, stream)) return Reason::bad_text_format;
    TextTrack &track = last_row(table);
    track.values = values;
    track.size = 0;
    track.data.clear();
    is_row_of(kind, table.count);
    return Reason::none;
}

// Stream data that cannot be read is no error: the row has none.
Reason ListParse::stream_data(VideoTrack &track) {
    Header next;
    if (peek_chunk_header(stream, next)) return Reason::stream_list_cut_short;
    if (!fourcc_equal(next.id, fourcc("strd"))) return Reason::none;
    StreamData data;
    if (read_stream_data(data, stream)) return Reason::none;
    track.has_stream_data = 1;
    track.stream_data_word = data.word;
    track.stream_data_size = data.length;
    track.stream_data_pos = static_cast<std::uint32_t>(data.pos);
    track.stream_data = std::move(data.bytes);
    return Reason::none;
}

// A name that cannot be read is not kept and is no error; one of negative length is.
template <class Track>
Reason ListParse::name(Track &track) {
    Header next;
    if (peek_chunk_header(stream, next)) return Reason::stream_list_cut_short;
    if (!fourcc_equal(next.id, fourcc("strn"))) return Reason::none;
    Name title;
    if (read_stream_name(title, stream)) return Reason::none;
    if (title.length < 0) return Reason::bad_stream_name;
    track.name_length = title.length;
    track.name = std::move(title.bytes);
    return Reason::none;
}

// The tail that audio and video streams share. The peek is made whether or not a name was there.
Reason ListParse::super_index() {
    Header next;
    if (peek_chunk_header(stream, next)) return Reason::stream_list_cut_short;
    if (fourcc_equal(next.id, fourcc("indx")))
        read_super_index(record, stream, allow_trailing_stream_number);
    return Reason::none;
}

}  // namespace

bool parse_stream_list(Reader &reader, bool allow_trailing_stream_number) {
    Node &list = *reader.chunk_top;
    ListParse parse{reader.stream, reader.record, allow_trailing_stream_number};
    const Reason reason = parse.run();
    if (parse.row) parse.row->list_pos = list.start;
    if (reason == Reason::none) return true;
    list.error = 1;
    return reader.refuse(reason, list.start);
}

}  // namespace second
