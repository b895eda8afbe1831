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
    char first, second;
    ChunkKind kind;
};

constexpr Code kCodes[] = {
    {'d', 'c', ChunkKind::compressed_video},
    {'w', 'b', ChunkKind::audio},
    {'d', 'b', ChunkKind::uncompressed_video},
    {'d', 'd', ChunkKind::dd},
    {'s', 't', ChunkKind::text_subtitle},
    {'s', 'b', ChunkKind::bitmap_subtitle},
    {'c', 'h', ChunkKind::chapter},
    {'i', 'x', ChunkKind::index},
};

ChunkKind kind_by_code(char first, char second) {
    for (const Code &code : kCodes) {
        if (code.first == first && code.second == second) return code.kind;
    }
    return ChunkKind::unknown;
}

// As a C string: what follows a 0 byte is not part of the id.
FourCC without_tail(FourCC id) {
    for (int shift = 0; shift < 32; shift += 8) {
        if ((id.value >> shift & 0xFF) == 0) return {id.value & ((1u << shift) - 1)};
    }
    return id;
}

}  // namespace

ChunkKind avi_chunk_kind(FourCC id, bool try_swapped) {
    const char third = static_cast<char>(id.value >> 16 & 0xFF);
    const char fourth = static_cast<char>(id.value >> 24);
    const ChunkKind kind = kind_by_code(third, fourth);
    // A 'd' that starts no code ends the search, so "00dx" is not tried as "dx00".
    if (kind != ChunkKind::unknown || third == 'd') return kind;
    if (id.value == kJunk) return ChunkKind::junk;
    if ((id.value & 0xFFFFFF) == kRes && fourth >= '1' && fourth <= '3') {
        return ChunkKind::reserved;
    }
    if (!try_swapped) return ChunkKind::unknown;
    const std::uint32_t text = without_tail(id).value;
    return avi_chunk_kind({text << 16 | text >> 16}, false);
}
