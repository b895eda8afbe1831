#include "chunks/stream_words.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

#include "chunks/chunk_fields.h"
#include "terminal/text.h"

namespace {

std::string frame_rate_text(std::uint32_t rate, std::uint32_t scale) {
    if (rate == 0 || scale == 0) return "no frame rate";
    return short_number(static_cast<double>(rate) / scale) + " fps";
}

// The record has no depth: it is read where the format lies, behind the stream's header.
std::uint16_t depth_of(const AviReaderState &reader, const AviStreamRecord &stream) {
    constexpr std::int64_t kDepth =
        kChunkHeaderSize + offset_of(layout::kVideoFormat, "biBitCount");
    const std::int64_t header = stream.list_pos + kListHeaderSize;
    const int file = fileno(reader.stream.file);
    unsigned char bytes[4]{};
    if (pread(file, bytes, 4, header + 4) != 4) return 0;
    const std::int64_t format = header + kChunkHeaderSize + avi_get_u32le(bytes);
    return pread(file, bytes, 2, format + kDepth) == 2 ? avi_get_u16le(bytes) : std::uint16_t{0};
}

// What stands for a compression and is none.
bool is_uncompressed(const VideoTrack &row) {
    const std::string_view code(row.compression, 4);
    return code == std::string_view("\0\0\0\0", 4) || code == "DIB " || code == "RGB ";
}

// Uncompressed pictures lie bottom-up, or top-down when their height is negative.
std::string picture_text(const AviReaderState &reader, const AviStreamRecord &stream,
                         const VideoTrack &row) {
    const auto height = static_cast<std::int32_t>(row.height);
    const std::uint32_t lines = height < 0 ? 0 - row.height : row.height;
    if (!is_uncompressed(row)) {
        return fmt::format("{} {}x{}", text_of({row.compression, 4}), row.width, lines);
    }
    return fmt::format("uncompressed {}-bit {}x{} {}", depth_of(reader, stream), row.width, lines,
                       height < 0 ? "top-down" : "bottom-up");
}

std::string video_text(const AviReaderState &reader, const AviStreamRecord &stream,
                       const VideoTrack &row) {
    return fmt::format("{}, {}", picture_text(reader, stream, row),
                       frame_rate_text(row.rate, row.scale));
}

std::string audio_codec(std::uint16_t tag) {
    const std::string_view word = term_of(layout::kFormatTags, tag);
    return word.empty() ? fmt::format("format 0x{:04x}", tag) : std::string(word);
}

std::string audio_text(const AviWaveFormat &format) {
    std::string text = fmt::format("{} {} Hz, {}", audio_codec(format.format_tag),
                                   format.samples_per_second, count_of(format.channels, "channel"));
    if (format.bits_per_sample != 0) text += fmt::format(", {} bits", format.bits_per_sample);
    if (format.average_bytes_per_second != 0) {
        text += fmt::format(", {} kbit/s", short_number(format.average_bytes_per_second / 125.0));
    }
    return text;
}

std::string values_text(const TextTrack &row) {
    return fmt::format("values {}", fmt::join(row.values, ", "));
}

// Names usually end in a 0 byte that they count.
template <typename Row>
std::string shown_name(const Row &row) {
    const std::string_view name = name_of(row);
    return readable(name.substr(0, name.find_last_not_of('\0') + 1));
}

}  // namespace

std::string kind_text(const AviStreamRecord &stream) {
    switch (stream.kind) {
    case ChunkKind::audio:
        return "audio";
    case ChunkKind::compressed_video:
        return "video";
    case ChunkKind::text_subtitle:
        return "subtitle";
    case ChunkKind::bitmap_subtitle:
        return "bitmap subtitle";
    case ChunkKind::chapter:
        return "chapter";
    default:
        return fmt::format("other ({})", text_of(stream.header.type));
    }
}

std::string format_text(const AviReaderState &reader, const AviStreamRecord &stream) {
    switch (stream.kind) {
    case ChunkKind::audio:
        return audio_text(reader.audio.rows[stream.track].format);
    case ChunkKind::compressed_video:
        return video_text(reader, stream, reader.video.rows[stream.track]);
    case ChunkKind::text_subtitle:
        return values_text(reader.text_subtitle.rows[stream.track]);
    case ChunkKind::bitmap_subtitle:
        return video_text(reader, stream, reader.bitmap_subtitle.rows[stream.track]);
    case ChunkKind::chapter:
        return values_text(reader.chapter.rows[stream.track]);
    default:
        return "-";
    }
}

std::string name_text(const AviReaderState &reader, const AviStreamRecord &stream) {
    switch (stream.kind) {
    case ChunkKind::audio:
        return shown_name(reader.audio.rows[stream.track]);
    case ChunkKind::compressed_video:
        return shown_name(reader.video.rows[stream.track]);
    case ChunkKind::bitmap_subtitle:
        return shown_name(reader.bitmap_subtitle.rows[stream.track]);
    default:
        return {};
    }
}

double seconds_of(const AviStreamHeader &header) {
    if (header.rate == 0) return 0;
    return static_cast<double>(header.length) * header.scale / header.rate;
}
