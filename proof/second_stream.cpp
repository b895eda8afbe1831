#include "proof/second_stream.h"

namespace second {

std::array<std::uint8_t, 5> fourcc_to_chars(std::uint32_t value) {
    std::array<std::uint8_t, 5> chars{};
    for (unsigned i = 0; i < 4; ++i) chars[i] = static_cast<std::uint8_t>(value >> (8 * i));
    return chars;
}

static std::uint32_t fourcc_from_chars(const std::array<std::uint8_t, 5> &chars) {
    std::uint32_t value = 0;
    for (unsigned i = 0; i < 4; ++i) value |= static_cast<std::uint32_t>(chars[i]) << (8 * i);
    return value;
}

static std::uint8_t lower(std::uint8_t c) {
    return c >= 'A' && c <= 'Z' ? static_cast<std::uint8_t>(c - 'A' + 'a') : c;
}

// As two C strings of at most four characters are compared without regard to case: what follows a
// 0 byte that both have at the same place counts for nothing.
bool fourcc_equal(std::uint32_t one, std::uint32_t other) {
    const auto a = fourcc_to_chars(one);
    const auto b = fourcc_to_chars(other);
    for (unsigned i = 0; i < 4; ++i) {
        if (lower(a[i]) != lower(b[i])) return false;
        if (a[i] == 0) return true;
    }
    return true;
}

int chunk_kind(std::uint32_t id, bool allow_swapped) {
    const auto c = fourcc_to_chars(id);
    // The two-letter code in the last two places. A 'd' with another letter behind it is unknown at
    // once; any other code still has the whole id looked at.
    switch (c[2]) {
    case 'w':
        if (c[3] == 'b') return 1;
        break;
    case 'd':
        if (c[3] == 'c') return 3;
        if (c[3] == 'b') return 2;
        if (c[3] == 'd') return 4;
        return 0;
    case 's':
        if (c[3] == 't') return 5;
        if (c[3] == 'b') return 6;
        break;
    case 'c':
        if (c[3] == 'h') return 7;
        break;
    case 'i':
        if (c[3] == 'x') return 8;
        break;
    default:
        break;
    }
    // The whole id, with regard to case.
    if (c[0] == 'J' && c[1] == 'U' && c[2] == 'N' && c[3] == 'K') return 10;
    if (c[0] == 'R' && c[1] == 'E' && c[2] == 'S' && (c[3] == '1' || c[3] == '2' || c[3] == '3'))
        return 11;
    if (!allow_swapped) return 0;
    // Once more with its halves swapped; the copy that is swapped ends at a first 0 byte.
    std::array<std::uint8_t, 5> copy{};
    for (unsigned i = 0; i < 4 && c[i] != 0; ++i) copy[i] = c[i];
    return chunk_kind(fourcc_from_chars({copy[2], copy[3], copy[0], copy[1], 0}), false);
}

int read_u8(Stream &stream, std::uint8_t &value) {
    const auto got = stream.read(1);
    if (got.empty()) return 1;
    value = got[0];
    return 0;
}

int read_u16(Stream &stream, std::uint16_t &value) {
    const auto got = stream.read(2);
    if (got.empty()) return 1;
    unsigned scratch = 0;
    for (std::size_t i = 0; i < got.size(); ++i)
        scratch |= static_cast<unsigned>(got[i]) << (8 * i);
    value = static_cast<std::uint16_t>(scratch);
    return 0;
}

int read_u32(Stream &stream, std::uint32_t &value) {
    const auto got = stream.read(4);
    if (got.empty()) return 1;
    std::uint32_t scratch = 0;
    for (std::size_t i = 0; i < got.size(); ++i)
        scratch |= static_cast<std::uint32_t>(got[i]) << (8 * i);
    value = scratch;
    return 0;
}

int read_fourcc(Stream &stream, std::uint32_t &value) {
    return read_u32(stream, value);
}

int read_past(Stream &stream, std::uint64_t n) {
    return stream.read(n).size() < n ? 1 : 0;
}

bool chunk_push(Reader &reader) {
    Node *parent = reader.chunk_top;
    Node node;
    node.start = reader.stream.tell();
    std::uint32_t size = 0;
    node.error |= read_fourcc(reader.stream, node.id);
    node.error |= read_u32(reader.stream, size);
    node.error |= read_fourcc(reader.stream, node.list_type);
    node.size = size;
    node.cursor = reader.stream.tell();
    node.parent = parent;
    node.depth = parent ? parent->depth + 1 : 1;
    if (node.error) {
        reader.chunk_top = nullptr;
        return false;
    }
    Node &slot = reader.nodes.at(node.depth - 1);
    slot = node;
    reader.chunk_top = &slot;
    return true;
}

void chunk_pop(Reader &reader) {
    reader.chunk_top = reader.chunk_top->parent;
}

std::uint32_t chunk_next(Stream &stream, Node &node) {
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    node.error |= stream.seek(node.cursor, kFromStart);
    node.error |= read_fourcc(stream, id);
    node.error |= read_u32(stream, size);
    // Back to the header, so that the caller can read it again itself.
    node.error |= stream.seek(node.cursor, kFromStart);
    // An odd size has a pad byte behind it; the largest one wraps to 0.
    if (size % 2 != 0) size += 1;
    node.cursor = stream.tell() + 8 + static_cast<std::int64_t>(size);
    return id;
}

bool chunk_at_end(const Stream &stream, const Node &node) {
    return stream.tell() - static_cast<std::int64_t>(node.size) - node.start >= 0;
}

}  // namespace second
