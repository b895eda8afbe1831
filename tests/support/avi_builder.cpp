#include "tests/support/avi_builder.h"

namespace avi_builder {

namespace {

Bytes little_endian(std::uint32_t value, int width) {
    Bytes bytes;
    for (int i = 0; i < width; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xFF);
    return bytes;
}

template <typename... Values>
Bytes u32s(Values... values) {
    return (Bytes() + ... + u32(values));
}

Bytes maybe_strn(const std::optional<Bytes> &name) {
    return name ? strn(*name) : Bytes();
}

Bytes maybe_indx(const std::optional<SuperIndex> &index) {
    return index ? indx(*index) : Bytes();
}

}  // namespace

Bytes u8(std::uint32_t value) {
    return little_endian(value, 1);
}
Bytes u16(std::uint32_t value) {
    return little_endian(value, 2);
}
Bytes u32(std::uint32_t value) {
    return little_endian(value, 4);
}

Bytes filler(std::size_t count, std::uint32_t seed) {
    Bytes bytes;
    bytes.reserve(count);
    std::uint32_t state = seed * 2654435761U + 1;
    for (std::size_t i = 0; i < count; ++i) {
        state = state * 1664525U + 1013904223U;
        bytes += static_cast<char>(state >> 24);
    }
    return bytes;
}

Bytes repeat(const Bytes &part, std::size_t times) {
    Bytes whole;
    whole.reserve(times * part.size());
    for (std::size_t i = 0; i < times; ++i) whole += part;
    return whole;
}

std::int64_t length(const Bytes &bytes) {
    return static_cast<std::int64_t>(bytes.size());
}

Bytes claiming(std::string_view id, std::uint32_t size, const Bytes &payload) {
    return Bytes(id) + u32(size) + payload;
}

Bytes unpadded(std::string_view id, const Bytes &payload) {
    return claiming(id, static_cast<std::uint32_t>(payload.size()), payload);
}

Bytes chunk(std::string_view id, const Bytes &payload) {
    return unpadded(id, payload) + Bytes(payload.size() % 2, '\0');
}

Bytes avih_body(const MainHeader &h) {
    return u32s(h.microseconds_per_frame, h.max_bytes_per_second, h.padding_granularity, h.flags,
                h.total_frames, h.initial_frames, h.streams, h.suggested_buffer_size, h.width,
                h.height, h.reserved[0], h.reserved[1], h.reserved[2], h.reserved[3]);
}

Bytes avih(const MainHeader &header) {
    return chunk("avih", avih_body(header));
}

Bytes strh_body(const StreamHeader &h) {
    return Bytes(h.type) + Bytes(h.handler) + u32(h.flags) + u16(h.priority) + u16(h.language) +
           u32s(h.initial_frames, h.scale, h.rate, h.start, h.length, h.suggested_buffer_size,
                h.quality, h.sample_size) +
           u16(h.frame[0]) + u16(h.frame[1]) + u16(h.frame[2]) + u16(h.frame[3]);
}

Bytes strh(const StreamHeader &header) {
    return chunk("strh", strh_body(header));
}

Bytes video_format_body(const VideoFormat &f) {
    return u32s(f.structure_size, f.width, f.height) + u16(f.planes) + u16(f.bit_count) +
           Bytes(f.compression) +
           u32s(f.image_size, f.x_pixels_per_metre, f.y_pixels_per_metre, f.colours_used,
                f.colours_important);
}

Bytes video_strf(const VideoFormat &format) {
    return chunk("strf", video_format_body(format));
}

Bytes audio_format_body(const AudioFormat &f) {
    return u16(f.format_tag) + u16(f.channels) + u32(f.samples_per_second) +
           u32(f.average_bytes_per_second) + u16(f.block_align) + u16(f.bits_per_sample) +
           (f.extra_size ? u16(*f.extra_size) : Bytes()) + f.extra;
}

Bytes audio_strf(const AudioFormat &format) {
    return chunk("strf", audio_format_body(format));
}

Bytes text_strf(const std::array<std::uint16_t, 4> &v) {
    return chunk("strf", u16(v[0]) + u16(v[1]) + u16(v[2]) + u16(v[3]));
}

Bytes strd(std::uint32_t word, const Bytes &payload) {
    return unpadded("strd", u32(word) + u32(static_cast<std::uint32_t>(payload.size())) + payload);
}

Bytes strn(const Bytes &name) {
    return unpadded("strn", name);
}

Bytes indx(const SuperIndex &i) {
    return chunk("indx", u16(i.longs_per_entry) + u8(i.index_subtype) + u8(i.index_type) +
                             u32(i.entries_in_use) + Bytes(i.chunk_id) +
                             u32s(i.reserved[0], i.reserved[1], i.reserved[2]) + i.entries);
}

Bytes video_stream(const VideoStream &s) {
    return list("strl", strh(s.header), video_strf(s.format), s.strd.value_or(Bytes()),
                maybe_strn(s.name), maybe_indx(s.index));
}

Bytes audio_stream(const AudioStream &s) {
    return list("strl", strh(s.header), audio_strf(s.format), maybe_strn(s.name),
                maybe_indx(s.index));
}

Bytes bitmap_subtitle_stream(const BitmapSubtitleStream &s) {
    return list("strl", strh(s.header), video_strf(s.format), maybe_strn(s.name));
}

Bytes text_stream(const TextStream &s) {
    return list("strl", strh(s.header), text_strf(s.values), maybe_strn(s.name));
}

Bytes odml(std::uint32_t total_frames) {
    return list("odml", chunk("dmlh", u32(total_frames)));
}

Bytes plain_file() {
    return riff("AVI ", list("hdrl", avih(), video_stream()),
                list("movi", chunk("00dc", filler(24)), chunk("00dc", filler(40, 1))));
}

Bytes rich_file() {
    const AudioFormat mp3 = {.format_tag = 0x55,
                             .channels = 2,
                             .samples_per_second = 44100,
                             .average_bytes_per_second = 16000,
                             .block_align = 1,
                             .bits_per_sample = 0,
                             .extra_size = 12,
                             .extra = filler(12)};
    const Bytes headers = list(
        "hdrl", avih({.total_frames = 4, .streams = 5}),
        video_stream({.header = {.type = "vids", .handler = "QRSV", .length = 4, .quality = 7},
                      .format = {.compression = "QRSV"},
                      .strd = strd(0x10203040, filler(9, 2)),
                      .name = "Main film",
                      .index = SuperIndex{.entries_in_use = 1, .entries = filler(16)}}),
        audio_stream(
            {.header = {.type = "auds", .scale = 1152, .rate = 44100},
             .format = mp3,
             .name = "English",
             .index = SuperIndex{.entries_in_use = 1, .chunk_id = "01wb", .entries = filler(16)}}),
        bitmap_subtitle_stream({.name = "Deutsch"}),
        text_stream({.values = {11, 12, 13, 14}, .name = "Subtitle 1"}),
        text_stream({.values = {21, 22, 23, 24}, .name = "Chapter 1"}),  //
        odml(6));
    const Bytes media =
        list("movi", chunk("00dc", filler(200)), chunk("01wb", filler(63)),
             list("rec ", chunk("00dc", filler(90)), chunk("01wb", filler(64))),
             chunk("02sb", filler(30)), chunk("03st", "A line of text"), chunk("04ch", "One"));
    const Bytes first_form =
        riff("AVI ", headers, data_list(chunk("JUNK", ""), chunk("MTDA", filler(21, 3))),
             menu_list(chunk("MENU", filler(15, 4)), chunk("MRIF", filler(6)), chunk("MRIF", "")),
             chunk("JUNK", filler(11)), media, chunk("idx1", filler(32)));
    const Bytes second_form =
        riff("AVIX", list("movi", chunk("00dc", filler(50)), chunk("01wb", filler(40))));
    return first_form + second_form +
           menu_form(unpadded("MRIF", filler(5)), unpadded("MENU", filler(7, 5)));
}

}  // namespace avi_builder
