#include "chunks/stream_words.h"

#include <fmt/format.h>

#include "terminal/text.h"

namespace {

std::string frame_rate_text(std::uint32_t rate, std::uint32_t scale) {
    if (rate == 0 || scale == 0) return "no frame rate";
    return short_number(static_cast<double>(rate) / scale) + " fps";
}

std::string video_text(const VideoTrack &row) {
    return fmt::format("{} {}x{}, {}", text_of({row.compression, 4}), row.width, row.height,
                       frame_rate_text(row.rate, row.scale));
}

std::string audio_codec(std::uint16_t tag) {
    switch (tag) {
    case 0x0001:
        return "PCM";
    case 0x0002:
        return "ADPCM";
    case 0x0003:
        return "float PCM";
    case 0x0006:
        return "A-law";
    case 0x0007:
        return "mu-law";
    case 0x0050:
        return "MP2";
    case 0x0055:
        return "MP3";
    case 0x00ff:
        return "AAC";
    case 0x2000:
        return "AC-3";
    case 0x2001:
        return "DTS";
    case 0xfffe:
        return "extensible";
    default:
        return fmt::format("format 0x{:04x}", tag);
    }
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
    return text_of(name.substr(0, name.find_last_not_of('\0') + 1));
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
        return video_text(reader.video.rows[stream.track]);
    case ChunkKind::text_subtitle:
        return values_text(reader.text_subtitle.rows[stream.track]);
    case ChunkKind::bitmap_subtitle:
        return video_text(reader.bitmap_subtitle.rows[stream.track]);
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
