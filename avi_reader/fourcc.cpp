#include "fourcc.h"

#include <cstring>

namespace {

constexpr std::uint32_t lower_case(std::uint32_t c) {
    return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
}

}  // namespace

bool avi_fourcc_equal(FourCC a, FourCC b) {
    for (int shift = 0; shift < 32; shift += 8) {
        const std::uint32_t left = lower_case(a.value >> shift & 0xFF);
        if (left != lower_case(b.value >> shift & 0xFF)) return false;
        if (left == 0) break;
    }
    return true;
}

namespace {

// By the two-letter code in the last two characters. Gives up `decided` only where a code may still
// turn up elsewhere: a 'd' that starts no code ends the search, so "00dx" is not tried as "dx00".
struct Suffix {
    ChunkKind kind;
    bool decided;
};

Suffix classify_suffix(char first, char second) {
    switch (first) {
    case 'w':
        if (second == 'b') return {ChunkKind::audio, true};
        break;
    case 'd':
        if (second == 'c') return {ChunkKind::compressed_video, true};
        if (second == 'b') return {ChunkKind::uncompressed_video, true};
        if (second == 'd') return {ChunkKind::dd, true};
        return {ChunkKind::unknown, true};
    case 's':
        if (second == 't') return {ChunkKind::text_subtitle, true};
        if (second == 'b') return {ChunkKind::bitmap_subtitle, true};
        break;
    case 'c':
        if (second == 'h') return {ChunkKind::chapter, true};
        break;
    case 'i':
        if (second == 'x') return {ChunkKind::index, true};
        break;
    default:
        break;
    }
    return {ChunkKind::unknown, false};
}

}  // namespace

ChunkKind avi_chunk_kind(FourCC id, bool try_swapped) {
    char chars[5];
    avi_fourcc_to_chars(id, chars);

    const Suffix suffix = classify_suffix(chars[2], chars[3]);
    if (suffix.decided) return suffix.kind;
    if (std::memcmp(chars, "JUNK", 4) == 0) return ChunkKind::junk;
    if (std::memcmp(chars, "RES", 3) == 0 && chars[3] >= '1' && chars[3] <= '3') {
        return ChunkKind::reserved;
    }
    if (!try_swapped) return ChunkKind::unknown;

    // As a C string: what follows a 0 byte is not part of the id.
    char copy[5];
    std::strncpy(copy, chars, sizeof copy);
    const char swapped[4] = {copy[2], copy[3], copy[0], copy[1]};
    return avi_chunk_kind(avi_fourcc_from_string(swapped), false);
}
