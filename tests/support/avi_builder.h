// Writes AVI files for tests, in the shape of the file itself:
//
//     Bytes file = riff("AVI ",
//                       list("hdrl", avih(), video_stream(), audio_stream({.name = "English"})),
//                       list("movi", chunk("00dc", "a frame"), chunk("01wb", "sound")),
//                       chunk("idx1", ""));
//
// A chunk's size and pad byte are right unless a test asks for others: `claiming` declares any
// size, `unpadded` leaves the pad byte out. Everything is bytes, so parts join with `+` and a
// broken file is made by cutting or patching a good one.
#ifndef TESTS_SUPPORT_AVI_BUILDER_H
#define TESTS_SUPPORT_AVI_BUILDER_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace avi_builder {

using Bytes = std::string;

Bytes u8(std::uint32_t value);
Bytes u16(std::uint32_t value);
Bytes u32(std::uint32_t value);

// `count` bytes that differ from their neighbours, for payloads that are compared.
Bytes filler(std::size_t count, std::uint32_t seed = 0);

Bytes repeat(const Bytes &part, std::size_t times);

// Signed, as positions are.
std::int64_t length(const Bytes &bytes);

// ---- chunks, lists and forms

Bytes claiming(std::string_view id, std::uint32_t size, const Bytes &payload);
Bytes unpadded(std::string_view id, const Bytes &payload);
Bytes chunk(std::string_view id, const Bytes &payload);

template <typename... Parts>
Bytes list(std::string_view type, const Parts &...parts) {
    return chunk("LIST", (Bytes(type) + ... + parts));
}

template <typename... Parts>
Bytes riff(std::string_view type, const Parts &...parts) {
    return unpadded("RIFF", (Bytes(type) + ... + parts));
}

// ---- the header list

struct MainHeader {
    std::uint32_t microseconds_per_frame = 40000;
    std::uint32_t max_bytes_per_second = 0;
    std::uint32_t padding_granularity = 0;
    std::uint32_t flags = 0x10;
    std::uint32_t total_frames = 0;
    std::uint32_t initial_frames = 0;
    std::uint32_t streams = 1;
    std::uint32_t suggested_buffer_size = 0;
    std::uint32_t width = 320;
    std::uint32_t height = 240;
    std::array<std::uint32_t, 4> reserved{};
};
Bytes avih_body(const MainHeader &header = {});
Bytes avih(const MainHeader &header = {});

struct StreamHeader {
    std::string_view type = "vids";
    std::string_view handler = std::string_view("\0\0\0\0", 4);
    std::uint32_t flags = 0;
    std::uint16_t priority = 0;
    std::uint16_t language = 0;
    std::uint32_t initial_frames = 0;
    std::uint32_t scale = 1;
    std::uint32_t rate = 25;
    std::uint32_t start = 0;
    std::uint32_t length = 0;
    std::uint32_t suggested_buffer_size = 0;
    std::uint32_t quality = 0;
    std::uint32_t sample_size = 0;
    std::array<std::uint16_t, 4> frame{};
};
Bytes strh_body(const StreamHeader &header = {});
Bytes strh(const StreamHeader &header = {});

struct VideoFormat {
    std::uint32_t structure_size = 40;
    std::uint32_t width = 320;
    std::uint32_t height = 240;
    std::uint16_t planes = 1;
    std::uint16_t bit_count = 24;
    std::string_view compression = "FMP4";
    std::uint32_t image_size = 0;
    std::uint32_t x_pixels_per_metre = 0;
    std::uint32_t y_pixels_per_metre = 0;
    std::uint32_t colours_used = 0;
    std::uint32_t colours_important = 0;
};
Bytes video_format_body(const VideoFormat &format = {});
Bytes video_strf(const VideoFormat &format = {});

struct AudioFormat {
    std::uint16_t format_tag = 1;
    std::uint16_t channels = 2;
    std::uint32_t samples_per_second = 48000;
    std::uint32_t average_bytes_per_second = 192000;
    std::uint16_t block_align = 4;
    std::uint16_t bits_per_sample = 16;
    std::optional<std::uint16_t> extra_size = {};  // without one, the format ends before it
    Bytes extra = {};
};
Bytes audio_format_body(const AudioFormat &format = {});
Bytes audio_strf(const AudioFormat &format = {});

// The format of text-subtitle and chapter streams: four values in file order.
Bytes text_strf(const std::array<std::uint16_t, 4> &values = {1, 2, 3, 4});

Bytes strd(std::uint32_t word, const Bytes &payload);
Bytes strn(const Bytes &name);

struct SuperIndex {
    std::uint16_t longs_per_entry = 4;
    std::uint8_t index_subtype = 0;
    std::uint8_t index_type = 0;
    std::uint32_t entries_in_use = 0;
    std::string_view chunk_id = "00dc";
    std::array<std::uint32_t, 3> reserved{};
    Bytes entries = {};
};
Bytes indx(const SuperIndex &index = {});

// ---- whole "strl" lists. An empty optional leaves the chunk out.

struct VideoStream {
    StreamHeader header = {.type = "vids", .handler = "FMP4"};
    VideoFormat format = {};
    std::optional<Bytes> strd = {};  // made with strd()
    std::optional<Bytes> name = {};
    std::optional<SuperIndex> index = {};
};
Bytes video_stream(const VideoStream &stream = {});

struct AudioStream {
    StreamHeader header = {.type = "auds", .scale = 4, .rate = 192000, .sample_size = 4};
    AudioFormat format = {};
    std::optional<Bytes> name = {};
    std::optional<SuperIndex> index = {};
};
Bytes audio_stream(const AudioStream &stream = {});

struct BitmapSubtitleStream {
    StreamHeader header = {.type = "vids", .handler = "QRSB"};
    VideoFormat format = {.compression = "QRSB"};
    std::optional<Bytes> name = {};
};
Bytes bitmap_subtitle_stream(const BitmapSubtitleStream &stream = {});

struct TextStream {
    StreamHeader header = {.type = "txts"};
    std::array<std::uint16_t, 4> values = {1, 2, 3, 4};
    std::optional<Bytes> name = "Subtitle 1";  // "Chapter..." makes a chapter stream
};
Bytes text_stream(const TextStream &stream = {});

Bytes odml(std::uint32_t total_frames);

// ---- extension lists and forms

template <typename... Parts>
Bytes data_list(const Parts &...parts) {
    return list("QRDT", parts...);
}
template <typename... Parts>
Bytes menu_list(const Parts &...parts) {
    return list("QMNU", parts...);
}
// A top-level menu form: its chunks lie unpadded behind "RIFF", a type and one list header.
template <typename... Parts>
Bytes menu_form(const Parts &...parts) {
    return riff("MENU", unpadded("LIST", (Bytes("QMNU") + ... + parts)));
}

// ---- whole files

// The stream lists given, and a frame.
template <typename... Lists>
Bytes file_with(const Lists &...lists) {
    return riff("AVI ", list("hdrl", avih(), lists...), list("movi", chunk("00dc", filler(24))));
}

// One video stream, two media chunks, no index.
Bytes plain_file();

// Everything that the reader knows: every kind of stream with name, stream data and super index,
// data and menu lists, an "odml" list, an index, a later form and a top-level menu form.
Bytes rich_file();

}  // namespace avi_builder

#endif
