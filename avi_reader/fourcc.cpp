#include "fourcc.h"

namespace {

constexpr std::uint32_t kJunk = avi_fourcc_from_string("JUNK").value;
constexpr std::uint32_t kRes = avi_fourcc_from_string("RES").value;  // its 0 is the string's end

constexpr std::uint32_t lower_case(std::uint32_t c) {
    return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
}

}  // namespace

bool avi_fourcc_alike(FourCC a, FourCC b) {
    if (a.value == b.value) return true;
    for (int shift = 0; shift < 32; shift += 8) {
        const std::uint32_t left = lower_case(a.value >> shift & 0xFF);
        if (left != lower_case(b.value >> shift & 0xFF)) return false;
        if (left == 0) break;
    }
    return true;
}

namespace {

struct Code {
    std::uint16_t letters;
    ChunkKind kind;
};

consteval std::uint16_t letters(const char *code) {
    return static_cast<std::uint16_t>(code[0] | code[1] << 8);
}

constexpr Code kCodes[] = {
    {letters("dc"), ChunkKind::compressed_video},
    {letters("wb"), ChunkKind::audio},
    {letters("db"), ChunkKind::uncompressed_video},
    {letters("dd"), ChunkKind::dd},
    {letters("st"), ChunkKind::text_subtitle},
    {letters("sb"), ChunkKind::bitmap_subtitle},
    {letters("ch"), ChunkKind::chapter},
    {letters("ix"), ChunkKind::index},
};

}  // namespace

ChunkKind avi_chunk_kind(FourCC id, bool try_swapped) {
    for (const Code &code : kCodes) {
        if (code.letters == id.value >> 16) return code.kind;
    }
    // A 'd' that starts no code ends the search, so "00dx" is not tried as "dx00".
    if ((id.value >> 16 & 0xFF) == 'd') return ChunkKind::unknown;
    if (id.value == kJunk) return ChunkKind::junk;
    const std::uint32_t digit = (id.value >> 24) - '1';
    if ((id.value & 0xFFFFFF) == kRes && digit < 3) return ChunkKind::reserved;
    if (!try_swapped) return ChunkKind::unknown;
    // What follows a 0 byte is no part of an id; no code has one, so it need not be cut off.
    return avi_chunk_kind({id.value << 16 | id.value >> 16}, false);
}
