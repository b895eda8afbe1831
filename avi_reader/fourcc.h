// FourCCs: their form, their comparison, the ones that this format knows, and what a chunk's id
// tells of it.
#ifndef AVI_READER_FOURCC_H
#define AVI_READER_FOURCC_H

#include <cstdint>
#include <optional>

// Inlined everywhere: of aligned bytes each is one load.
[[nodiscard, gnu::always_inline]] constexpr std::uint16_t avi_get_u16le(
    const unsigned char *bytes) {
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

[[nodiscard, gnu::always_inline]] constexpr std::uint32_t avi_get_u32le(
    const unsigned char *bytes) {
    return bytes[0] | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

// Four characters, the first in the least significant byte: file order is kept. The type has no ==
// on purpose, so that every test goes through avi_fourcc_equal.
struct FourCC {
    std::uint32_t value;
};

// The FourCC of the 4 characters at `text`.
[[nodiscard]] constexpr FourCC avi_fourcc_from_string(const char *text) {
    unsigned char bytes[4]{};
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<unsigned char>(text[i]);
    return {avi_get_u32le(bytes)};
}
static_assert(avi_fourcc_from_string("RIFF").value == 0x46464952);

// The same 4 characters in file order, then a 0.
constexpr void avi_fourcc_to_chars(FourCC fourcc, char (&text)[5]) {
    for (int i = 0; i < 4; ++i) text[i] = static_cast<char>(fourcc.value >> (8 * i) & 0xFF);
    text[4] = '\0';
}

// Whether two FourCCs name the same thing: ASCII case is ignored, and what follows a 0 byte that
// both have at the same place does not count.
[[nodiscard]] bool avi_fourcc_alike(FourCC a, FourCC b);
[[nodiscard]] inline bool avi_fourcc_equal(FourCC a, FourCC b) {
    constexpr std::uint32_t kFirstButCase = 0xDF;
    return ((a.value ^ b.value) & kFirstButCase) == 0 && avi_fourcc_alike(a, b);
}

// Forms, lists and their types.
inline constexpr FourCC kRiff = avi_fourcc_from_string("RIFF");
inline constexpr FourCC kMrif = avi_fourcc_from_string("MRIF");
inline constexpr FourCC kAvi = avi_fourcc_from_string("AVI ");
inline constexpr FourCC kList = avi_fourcc_from_string("LIST");
inline constexpr FourCC kMovi = avi_fourcc_from_string("movi");
// The index, by either of its ids.
inline constexpr FourCC kIdx1 = avi_fourcc_from_string("idx1");
inline constexpr FourCC k1idx = avi_fourcc_from_string("1idx");
// The header list, and what is in it.
inline constexpr FourCC kHdrl = avi_fourcc_from_string("hdrl");
inline constexpr FourCC kAvih = avi_fourcc_from_string("avih");
inline constexpr FourCC kOdml = avi_fourcc_from_string("odml");
inline constexpr FourCC kStrl = avi_fourcc_from_string("strl");
inline constexpr FourCC kStrh = avi_fourcc_from_string("strh");
inline constexpr FourCC kStrf = avi_fourcc_from_string("strf");
inline constexpr FourCC kStrd = avi_fourcc_from_string("strd");
inline constexpr FourCC kStrn = avi_fourcc_from_string("strn");
inline constexpr FourCC kIndx = avi_fourcc_from_string("indx");
// Types of stream, and the compression that marks a video stream as a bitmap subtitle.
inline constexpr FourCC kAuds = avi_fourcc_from_string("auds");
inline constexpr FourCC kTxts = avi_fourcc_from_string("txts");
inline constexpr FourCC kVids = avi_fourcc_from_string("vids");
inline constexpr FourCC kQrsb = avi_fourcc_from_string("QRSB");
// The Sorn extensions: the data list and its chunk, the menu list or form and its chunk.
inline constexpr FourCC kQrdt = avi_fourcc_from_string("QRDT");
inline constexpr FourCC kMtda = avi_fourcc_from_string("MTDA");
inline constexpr FourCC kQmnu = avi_fourcc_from_string("QMNU");
inline constexpr FourCC kMenu = avi_fourcc_from_string("MENU");

// Id and size, and with them the type of a form or list.
inline constexpr std::uint32_t kChunkHeaderSize = 8;
inline constexpr std::uint32_t kListHeaderSize = 12;

// What a chunk of the "movi" list carries, by the two-letter code in its id. A stream's `kind` uses
// the same numbers. 9 is not used.
enum class ChunkKind : std::uint32_t {
    unknown = 0,
    audio = 1,               // ##wb
    uncompressed_video = 2,  // ##db
    compressed_video = 3,    // ##dc
    dd = 4,                  // ##dd
    text_subtitle = 5,       // ##st
    bitmap_subtitle = 6,     // ##sb
    chapter = 7,             // ##ch
    index = 8,               // ##ix
    junk = 10,               // JUNK
    reserved = 11,           // RES1, RES2, RES3
};

// Classifies a chunk id. The two characters of the stream number are not looked at. With
// `try_swapped`, an id written with its code first ("wb01") is classified as its other form.
[[nodiscard]] ChunkKind avi_chunk_kind(FourCC id, bool try_swapped);

// The stream number, 0 to 99, that an id's first two characters write in decimal digits.
[[nodiscard, gnu::always_inline]] constexpr std::optional<std::uint32_t> avi_stream_number(
    FourCC id) {
    const std::uint32_t tens = (id.value & 0xFF) - '0';
    const std::uint32_t units = (id.value >> 8 & 0xFF) - '0';
    if (tens > 9 || units > 9) return std::nullopt;
    return tens * 10 + units;
}

// The one that its last two characters write.
[[nodiscard]] constexpr std::optional<std::uint32_t> avi_trailing_stream_number(FourCC id) {
    return avi_stream_number({id.value >> 16});
}

#endif
