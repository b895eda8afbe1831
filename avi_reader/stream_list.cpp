#include "stream_list.h"

#include <cstring>
#include <string_view>

#include "chunk_stack.h"
#include "memory.h"

namespace {

struct VideoFormat {
    std::uint32_t structure_size;
    std::uint32_t width;
    std::uint32_t height;
    std::uint16_t planes;
    std::uint16_t bit_count;
    FourCC compression;
    std::uint32_t image_size;
    std::uint32_t x_pixels_per_metre;
    std::uint32_t y_pixels_per_metre;
    std::uint32_t colours_used;
    std::uint32_t colours_important;
};
static_assert(sizeof(VideoFormat) == 40);

struct StreamName {
    std::int32_t length;
    AviBytes bytes;  // length bytes and a 0; none for a negative length

    [[nodiscard]] bool starts_with(std::string_view text) const {
        return length >= static_cast<std::int32_t>(text.size()) &&
               std::memcmp(bytes.get(), text.data(), text.size()) == 0;
    }
};

struct StreamData {
    std::uint32_t word;
    std::uint32_t size;
    std::int64_t pos;
    AviBytes bytes;
};

// -------------------------------------------------------------------------- chunk readers
// Each starts at a chunk's header.

// Reads the id of the chunk at the position and goes back. The 12 bytes read are more than a
// header: a list that ends before them has nothing worth reading. Going back is by 12 from where
// the reads ended, wherever the end of the file stopped them.
AviStatus avi_peek_chunk_header(FourCC &id, AviStream &stream) {
    const AviLook look = avi_look(stream);
    id = look.id;
    const auto missing = static_cast<std::int64_t>(kListHeaderSize - look.count);
    avi_file_go(stream, avi_file_tell(stream) - missing);
    stream.lacks_bytes |= look.missing == kAviUnreadable;
    return look.count > kChunkHeaderSize ? kAviOk : look.missing;
}

AviStatus avi_read_stream_header(AviStreamHeader &header, AviStream &stream) {
    constexpr std::uint32_t kBody = sizeof(AviStreamHeader);
    FourCC id{};
    std::uint32_t size = 0;
    AviStatus status = avi_read_fields(stream, id, size);
    if (!avi_fourcc_equal(id, kStrh) || size < kBody) status |= kAviFailed;
    status |= avi_read_fields(stream, header.type, header.handler, header.flags, header.priority,
                              header.language, header.initial_frames, header.scale, header.rate,
                              header.start, header.length, header.suggested_buffer_size,
                              header.quality, header.sample_size, header.frame);
    if (size > kBody) status |= avi_skip_bytes(size - kBody, stream);  // no pad byte after it
    return status;
}

// A structure longer than 40 bytes passes when its own size says so, and is left inside.
AviStatus avi_read_video_format(VideoFormat &format, AviStream &stream) {
    FourCC id;
    std::uint32_t size = 0;
    const AviStatus status = avi_read_fields(
        stream, id, size, format.structure_size, format.width, format.height, format.planes,
        format.bit_count, format.compression, format.image_size, format.x_pixels_per_metre,
        format.y_pixels_per_metre, format.colours_used, format.colours_important);
    return status | (format.structure_size == size ? kAviOk : kAviFailed);
}

AviStatus avi_read_audio_format(AviWaveFormat &format, AviStream &stream) {
    FourCC id;
    std::uint32_t size = 0;
    AviStatus status = avi_read_fields(stream, id, size, format.format_tag, format.channels,
                                       format.samples_per_second, format.average_bytes_per_second,
                                       format.block_align, format.bits_per_sample);
    if (size < 17) return status;

    status |= avi_read_u16le(format.extra_size, stream);
    const auto extra = static_cast<std::int16_t>(format.extra_size);
    if (extra >= 1 && extra <= kAviWaveExtraRoom) {
        status |= avi_read_bytes(format.extra, format.extra_size, stream);
    }
    return status;
}

// The third value in the file belongs in the fourth slot, and the fourth in the third. Chapters
// have the same layout.
AviStatus avi_read_subtitle_format(std::uint16_t (&values)[4], AviStream &stream) {
    FourCC id;
    std::uint32_t size;
    return avi_read_fields(stream, id, size, values[0], values[1], values[3], values[2]);
}

// A negative length is read as such, without a buffer: what it means is up to the kind of stream.
AviStatus avi_read_stream_name(StreamName &name, AviStream &stream) {
    FourCC id{};
    AviStatus status = avi_read_fourcc(id, stream);
    if (!avi_fourcc_equal(id, kStrn)) return kAviFailed;

    std::uint32_t size = 0;
    status |= avi_read_u32le(size, stream);
    name.length = static_cast<std::int16_t>(size);
    if (name.length < 0) return status;

    const auto length = static_cast<std::uint32_t>(name.length);
    name.bytes = avi_allocate(length + 1);
    if (name.bytes == nullptr) return kAviFailed;
    return status | avi_read_bytes(name.bytes.get(), length, stream);
}

// The chunk's own size is not compared with the payload's, and an odd payload has no pad byte.
AviStatus avi_read_stream_data(StreamData &data, AviStream &stream) {
    FourCC id{};
    AviStatus status = avi_read_fourcc(id, stream);
    if (!avi_fourcc_equal(id, kStrd)) return kAviFailed;

    std::uint32_t chunk_size = 0;
    status |= avi_read_fields(stream, chunk_size, data.word, data.size);
    if (!avi_can_allocate(data.size)) return kAviFailed;
    // A payload that the file cannot fill is not worth a buffer: any size may be written there.
    if (avi_file_left(stream) < data.size) return avi_skip_bytes(data.size, stream);

    data.bytes = avi_allocate(data.size);
    if (data.bytes == nullptr) return kAviFailed;
    data.pos = avi_file_tell(stream);
    return status | avi_read_bytes(data.bytes.get(), data.size, stream);
}

// The stream that a super index's chunk id names.
std::optional<std::uint32_t> super_index_number(FourCC chunk_id, bool allow_trailing) {
    const auto number = avi_stream_number(chunk_id);
    if (number || !allow_trailing) return number;
    return avi_trailing_stream_number(chunk_id);
}

void avi_read_super_index(AviReaderState &reader, bool allow_trailing_stream_number) {
    AviStream &stream = reader.stream;
    const std::int64_t pos = avi_file_tell(stream);
    FourCC id;
    std::uint32_t size = 0;
    SuperIndexInfo info{};
    avi_read_fields(stream, id, size, info.longs_per_entry, info.index_subtype, info.index_type,
                    info.entries_in_use, info.chunk_id, info.reserved);

    const auto number = super_index_number(info.chunk_id, allow_trailing_stream_number);
    if (number && *number < kAviSuperIndexes) {
        reader.super_index_pos[*number] = pos;
        reader.super_index[*number] = info;
    }
    avi_file_go(stream, pos + kChunkHeaderSize + size);
}

// -------------------------------------------------------------------------- the kinds of stream

// The list being parsed.
struct StreamList {
    AviReaderState &reader;
    AviStream &stream;
    AviStreamRecord &record;
    bool allow_trailing_stream_number;
    FourCC next_id;  // of the chunk that comes next, as last peeked at
};

AviStatus refuse(const StreamList &list, AviReason reason, AviStatus status = kAviFailed) {
    return avi_refuse_for(list.reader, status, reason, list.record.list_pos);
}

AviStatus peek(StreamList &list) {
    const AviStatus status = avi_peek_chunk_header(list.next_id, list.stream);
    return status == kAviOk ? kAviOk : refuse(list, AviReason::stream_list_cut_short, status);
}

// Reads the name into a row if the next chunk is one. A name that the file cuts short is not kept.
template <typename Row>
AviStatus read_optional_name(StreamList &list, Row &row) {
    if (peek(list) != kAviOk) return kAviFailed;
    if (!avi_fourcc_equal(list.next_id, kStrn)) return kAviOk;

    StreamName name{};
    if (avi_read_stream_name(name, list.stream) != kAviOk) return kAviOk;
    if (name.length < 0) return refuse(list, AviReason::bad_stream_name);
    row.name_length = name.length;
    row.name = name.bytes.release();
    return kAviOk;
}

AviStatus read_optional_super_index(StreamList &list) {
    if (peek(list) != kAviOk) return kAviFailed;
    if (avi_fourcc_equal(list.next_id, kIndx)) {
        avi_read_super_index(list.reader, list.allow_trailing_stream_number);
    }
    return kAviOk;
}

// Unlike a name or an index, stream data that cannot be read refuses nothing: the row has none.
AviStatus read_optional_stream_data(StreamList &list, VideoTrack &row) {
    if (peek(list) != kAviOk) return kAviFailed;
    if (!avi_fourcc_equal(list.next_id, kStrd)) return kAviOk;

    StreamData data{};
    if (avi_read_stream_data(data, list.stream) != kAviOk) return kAviOk;
    row.has_stream_data = 1;
    row.stream_data_word = data.word;
    row.stream_data_size = data.size;
    row.stream_data_pos = static_cast<std::uint32_t>(data.pos);
    row.stream_data = data.bytes.release();
    return kAviOk;
}

void describe_video(VideoTrack &row, const AviStreamHeader &header, const VideoFormat &format) {
    row.rate = header.rate;
    row.scale = header.scale;
    row.width = format.width;
    row.height = format.height;
    row.quality = header.quality;
    avi_fourcc_to_chars(header.handler, row.handler);
    avi_fourcc_to_chars(format.compression, row.compression);
}

AviStatus parse_audio(StreamList &list) {
    const auto [row, number] = list.reader.audio.add_row();
    if (row == nullptr) return refuse(list, AviReason::too_many_audio_streams);
    const AviStatus status = avi_read_audio_format(row->format, list.stream);
    if (status != kAviOk) return refuse(list, AviReason::bad_audio_format, status);

    const AviStreamHeader &header = list.record.header;
    row->initial_frames = header.initial_frames;
    row->scale = header.scale;
    row->rate = header.rate;
    row->start = header.start;
    row->sample_size = header.sample_size;
    list.record.kind = ChunkKind::audio;
    list.record.track = number;

    if (read_optional_name(list, *row) != kAviOk) return kAviFailed;
    return read_optional_super_index(list);
}

AviStatus parse_bitmap_subtitle(StreamList &list, const VideoFormat &format) {
    const auto [row, number] = list.reader.bitmap_subtitle.add_row();
    if (row == nullptr) return refuse(list, AviReason::too_many_bitmap_subtitles);
    describe_video(*row, list.record.header, format);
    list.record.kind = ChunkKind::bitmap_subtitle;
    list.record.track = number;
    return read_optional_name(list, *row);
}

AviStatus parse_video(StreamList &list) {
    VideoFormat format{};
    const AviStatus status = avi_read_video_format(format, list.stream);
    if (status != kAviOk) return refuse(list, AviReason::bad_video_format, status);
    if (avi_fourcc_equal(format.compression, kQrsb)) {
        return parse_bitmap_subtitle(list, format);
    }

    const auto [row, number] = list.reader.video.add_row();
    if (row == nullptr) return refuse(list, AviReason::too_many_video_streams);
    if (read_optional_stream_data(list, *row) != kAviOk) return kAviFailed;
    describe_video(*row, list.record.header, format);
    list.record.kind = ChunkKind::compressed_video;
    list.record.track = number;

    if (read_optional_name(list, *row) != kAviOk) return kAviFailed;
    return read_optional_super_index(list);
}

// The kinds of text stream differ in their table alone.
struct TextKind {
    AviTable<TextTrack> &table;
    ChunkKind kind;
    AviReason too_many;
};

AviStatus keep_text(StreamList &list, const TextKind &text, std::int64_t format_pos) {
    avi_file_go(list.stream, format_pos);
    const auto [row, number] = text.table.add_row();
    if (row == nullptr) return refuse(list, text.too_many);
    const AviStatus status = avi_read_subtitle_format(row->values, list.stream);
    if (status != kAviOk) return refuse(list, AviReason::bad_text_format, status);
    list.record.kind = text.kind;
    list.record.track = number;
    return kAviOk;
}

// What a text stream is stands in its name, which follows the format that is then read.
AviStatus parse_text(StreamList &list) {
    AviStream &stream = list.stream;
    const std::int64_t format_pos = avi_file_tell(stream);
    FourCC id{};
    std::uint32_t format_size = 0;
    avi_read_fields(stream, id, format_size);
    const std::int64_t name_pos = avi_file_tell(stream) + format_size;
    avi_file_go(stream, name_pos);

    if (peek(list) != kAviOk) return kAviFailed;
    if (!avi_fourcc_equal(list.next_id, kStrn)) {
        avi_file_go(stream, name_pos);
        return kAviOk;
    }
    StreamName name{};
    if (avi_read_stream_name(name, list.stream) != kAviOk) return kAviOk;
    if (name.starts_with("Subtitle")) {
        const TextKind subtitle = {list.reader.text_subtitle, ChunkKind::text_subtitle,
                                   AviReason::too_many_text_subtitles};
        return keep_text(list, subtitle, format_pos);
    }
    if (name.starts_with("Chapter")) {
        const TextKind chapter = {list.reader.chapter, ChunkKind::chapter,
                                  AviReason::too_many_chapters};
        return keep_text(list, chapter, format_pos);
    }
    return kAviOk;
}

AviStatus parse_by_type(StreamList &list) {
    const AviStatus status = avi_read_stream_header(list.record.header, list.stream);
    if (status != kAviOk) return refuse(list, AviReason::bad_stream_header, status);
    const FourCC type = list.record.header.type;
    if (avi_fourcc_equal(type, kAuds)) return parse_audio(list);
    if (avi_fourcc_equal(type, kTxts)) return parse_text(list);
    if (avi_fourcc_equal(type, kVids)) return parse_video(list);
    return kAviOk;
}

}  // namespace

AviStatus avi_parse_stream_list(AviReaderState &reader, bool allow_trailing_stream_number) {
    const std::int64_t pos = reader.chunk_top->start;
    if (reader.stream_count == kAviMaxStreams) {
        return avi_refuse(reader, AviReason::too_many_streams, pos);
    }
    AviStreamRecord &record = reader.streams[reader.stream_count++];
    record.list_pos = pos;
    StreamList list{reader, reader.stream, record, allow_trailing_stream_number, {}};
    return parse_by_type(list);
}
