// How the chunks whose contents are known are laid out: each field by the name that the format's
// documents give it, in the order of the file.
#ifndef TOOLS_CHUNKS_LAYOUTS_H
#define TOOLS_CHUNKS_LAYOUTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

enum class Shown : std::uint8_t {
    number,
    signed_number,
    flags,  // the terms are its bits
    fourcc,
    text,
    bytes,
};

// What a value is called.
struct Term {
    std::uint32_t value;
    std::string_view word;
};

struct Field {
    std::string_view name;
    std::uint32_t width;  // bytes: 1, 2, 4 or 8; 0 for text and bytes, which take what there is
    Shown shown = Shown::number;
    std::span<const Term> terms = {};
};

using Layout = std::span<const Field>;

// Bytes of all its fields.
[[nodiscard]] constexpr std::size_t size_of(Layout layout) {
    std::size_t size = 0;
    for (const Field &field : layout) size += field.width;
    return size;
}

// Where the field of that name begins. Of a name that the layout has not, nothing compiles.
[[nodiscard]] consteval std::size_t offset_of(Layout layout, std::string_view name) {
    std::size_t offset = 0;
    std::size_t i = 0;
    while (layout[i].name != name) offset += layout[i++].width;
    return offset;
}

namespace layout {

// ---- what values are called

inline constexpr auto kMainFlags = std::to_array<Term>({{0x10, "AVIF_HASINDEX"},
                                                        {0x20, "AVIF_MUSTUSEINDEX"},
                                                        {0x100, "AVIF_ISINTERLEAVED"},
                                                        {0x800, "AVIF_TRUSTCKTYPE"},
                                                        {0x10000, "AVIF_WASCAPTUREFILE"},
                                                        {0x20000, "AVIF_COPYRIGHTED"}});
inline constexpr auto kStreamFlags =
    std::to_array<Term>({{0x1, "AVISF_DISABLED"}, {0x10000, "AVISF_VIDEO_PALCHANGES"}});
inline constexpr auto kIndexFlags = std::to_array<Term>({{0x1, "AVIIF_LIST"},
                                                         {0x10, "AVIIF_KEYFRAME"},
                                                         {0x20, "AVIIF_FIRSTPART"},
                                                         {0x40, "AVIIF_LASTPART"},
                                                         {0x100, "AVIIF_NO_TIME"}});
inline constexpr std::uint8_t kIndexOfIndexes = 0;
inline constexpr std::uint8_t kIndexOfChunks = 1;
inline constexpr auto kIndexTypes = std::to_array<Term>({{kIndexOfIndexes, "AVI_INDEX_OF_INDEXES"},
                                                         {kIndexOfChunks, "AVI_INDEX_OF_CHUNKS"},
                                                         {0x80, "AVI_INDEX_IS_DATA"}});
inline constexpr std::uint8_t kTwoFields = 1;
inline constexpr auto kIndexSubtypes = std::to_array<Term>({{kTwoFields, "AVI_INDEX_2FIELD"}});
inline constexpr std::uint32_t kNotKeyFrame = 0x80000000;  // in the sizes of standard indexes
inline constexpr auto kDefaultQuality = std::to_array<Term>({{0xFFFFFFFF, "the codec's own"}});
inline constexpr auto kCompressions =
    std::to_array<Term>({{0, "BI_RGB"}, {1, "BI_RLE8"}, {2, "BI_RLE4"}, {3, "BI_BITFIELDS"}});
inline constexpr auto kFormatTags = std::to_array<Term>({
    {0x0001, "PCM"},          {0x0002, "MS ADPCM"},
    {0x0003, "float PCM"},    {0x0006, "A-law"},
    {0x0007, "mu-law"},       {0x0011, "IMA ADPCM"},
    {0x0031, "GSM 6.10"},     {0x0040, "G.721 ADPCM"},
    {0x0045, "G.726 ADPCM"},  {0x0050, "MP2"},
    {0x0055, "MP3"},          {0x0061, "DK4 ADPCM"},
    {0x0062, "DK3 ADPCM"},    {0x0092, "AC-3 over S/PDIF"},
    {0x00ff, "AAC"},          {0x0160, "WMA 1"},
    {0x0161, "WMA 2"},        {0x0162, "WMA Pro"},
    {0x0163, "WMA Lossless"}, {0x0401, "IMC"},
    {0x1600, "AAC (ADTS)"},   {0x1602, "AAC (LATM)"},
    {0x2000, "AC-3"},         {0x2001, "DTS"},
    {0x566f, "Vorbis"},       {0x674f, "Vorbis"},
    {0x6751, "Vorbis"},       {0x706d, "AAC"},
    {0xf1ac, "FLAC"},         {0xfffe, "extensible"},
});

// ---- of every chunk, and of every form and list

inline constexpr auto kChunkHeader = std::to_array<Field>({{"id", 4, Shown::fourcc}, {"size", 4}});
inline constexpr auto kListHeader =
    std::to_array<Field>({{"id", 4, Shown::fourcc}, {"size", 4}, {"type", 4, Shown::fourcc}});

// ---- "avih", "strh", "strf", "dmlh", "vprp"

inline constexpr auto kMainHeader = std::to_array<Field>({
    {"dwMicroSecPerFrame", 4},
    {"dwMaxBytesPerSec", 4},
    {"dwPaddingGranularity", 4},
    {"dwFlags", 4, Shown::flags, kMainFlags},
    {"dwTotalFrames", 4},
    {"dwInitialFrames", 4},
    {"dwStreams", 4},
    {"dwSuggestedBufferSize", 4},
    {"dwWidth", 4},
    {"dwHeight", 4},
    {"dwReserved[0]", 4},
    {"dwReserved[1]", 4},
    {"dwReserved[2]", 4},
    {"dwReserved[3]", 4},
});
static_assert(size_of(kMainHeader) == 56);

inline constexpr auto kStreamHeader = std::to_array<Field>({
    {"fccType", 4, Shown::fourcc},
    {"fccHandler", 4, Shown::fourcc},
    {"dwFlags", 4, Shown::flags, kStreamFlags},
    {"wPriority", 2},
    {"wLanguage", 2},
    {"dwInitialFrames", 4},
    {"dwScale", 4},
    {"dwRate", 4},
    {"dwStart", 4},
    {"dwLength", 4},
    {"dwSuggestedBufferSize", 4},
    {"dwQuality", 4, Shown::number, kDefaultQuality},
    {"dwSampleSize", 4},
    {"rcFrame.left", 2, Shown::signed_number},
    {"rcFrame.top", 2, Shown::signed_number},
    {"rcFrame.right", 2, Shown::signed_number},
    {"rcFrame.bottom", 2, Shown::signed_number},
});
static_assert(size_of(kStreamHeader) == 56);

inline constexpr auto kVideoFormat = std::to_array<Field>({
    {"biSize", 4},
    {"biWidth", 4, Shown::signed_number},
    {"biHeight", 4, Shown::signed_number},
    {"biPlanes", 2},
    {"biBitCount", 2},
    {"biCompression", 4, Shown::fourcc, kCompressions},
    {"biSizeImage", 4},
    {"biXPelsPerMeter", 4, Shown::signed_number},
    {"biYPelsPerMeter", 4, Shown::signed_number},
    {"biClrUsed", 4},
    {"biClrImportant", 4},
});
static_assert(size_of(kVideoFormat) == 40);

// An entry of the palette behind it.
inline constexpr auto kColour =
    std::to_array<Field>({{"rgbBlue", 1}, {"rgbGreen", 1}, {"rgbRed", 1}, {"rgbReserved", 1}});

inline constexpr auto kSoundFormat = std::to_array<Field>({
    {"wFormatTag", 2, Shown::number, kFormatTags},
    {"nChannels", 2},
    {"nSamplesPerSec", 4},
    {"nAvgBytesPerSec", 4},
    {"nBlockAlign", 2},
    {"wBitsPerSample", 2},
});
static_assert(size_of(kSoundFormat) == 16);
// Where the format goes on, the length of its own extension.
inline constexpr auto kSoundExtension = std::to_array<Field>({{"cbSize", 2}});

// Of subtitles and chapters: the reader puts the third value into its fourth slot.
inline constexpr auto kTextFormat =
    std::to_array<Field>({{"slot 1", 2}, {"slot 2", 2}, {"slot 4", 2}, {"slot 3", 2}});

inline constexpr auto kExtendedHeader = std::to_array<Field>({{"dwTotalFrames", 4}});

inline constexpr auto kVideoProperties = std::to_array<Field>({
    {"VideoFormatToken", 4},
    {"VideoStandard", 4},
    {"dwVerticalRefreshRate", 4},
    {"dwHTotalInT", 4},
    {"dwVTotalInLines", 4},
    {"dwFrameAspectRatio.y", 2},
    {"dwFrameAspectRatio.x", 2},
    {"dwFrameWidthInPixels", 4},
    {"dwFrameHeightInLines", 4},
    {"nbFieldPerFrame", 4},
});
inline constexpr auto kFieldProperties = std::to_array<Field>({
    {"CompressedBMHeight", 4},
    {"CompressedBMWidth", 4},
    {"ValidBMHeight", 4},
    {"ValidBMWidth", 4},
    {"ValidBMXOffset", 4},
    {"ValidBMYOffset", 4},
    {"VideoXOffsetInT", 4},
    {"VideoYValidStartLine", 4},
});

// What the reader takes of "strd" before the payload, which is opaque.
inline constexpr auto kStreamData = std::to_array<Field>({{"word", 4}, {"length", 4}});

// ---- indexes

inline constexpr auto kIndexEntry = std::to_array<Field>({
    {"dwChunkId", 4, Shown::fourcc},
    {"dwFlags", 4, Shown::flags, kIndexFlags},
    {"dwOffset", 4},
    {"dwSize", 4},
});

inline constexpr auto kSuperIndex = std::to_array<Field>({
    {"wLongsPerEntry", 2},
    {"bIndexSubType", 1, Shown::number, kIndexSubtypes},
    {"bIndexType", 1, Shown::number, kIndexTypes},
    {"nEntriesInUse", 4},
    {"dwChunkId", 4, Shown::fourcc},
    {"dwReserved[0]", 4},
    {"dwReserved[1]", 4},
    {"dwReserved[2]", 4},
});
inline constexpr auto kSuperEntry =
    std::to_array<Field>({{"qwOffset", 8}, {"dwSize", 4}, {"dwDuration", 4}});

inline constexpr auto kStandardIndex = std::to_array<Field>({
    {"wLongsPerEntry", 2},
    {"bIndexSubType", 1, Shown::number, kIndexSubtypes},
    {"bIndexType", 1, Shown::number, kIndexTypes},
    {"nEntriesInUse", 4},
    {"dwChunkId", 4, Shown::fourcc},
    {"qwBaseOffset", 8},
    {"dwReserved", 4},
});
inline constexpr auto kStandardEntry = std::to_array<Field>({{"dwOffset", 4}, {"dwSize", 4}});
inline constexpr auto kFieldEntry =
    std::to_array<Field>({{"dwOffset", 4}, {"dwSize", 4}, {"dwOffsetField2", 4}});
static_assert(size_of(kSuperIndex) == 24 && size_of(kStandardIndex) == 24);

// ---- what is one string or one run of bytes

inline constexpr auto kText = std::to_array<Field>({{"text", 0, Shown::text}});
inline constexpr auto kExtra = std::to_array<Field>({{"extra", 0, Shown::bytes}});

}  // namespace layout

#endif
