// The stream that the second reader reads from, the primitives on it, and the walk over chunks.
#ifndef PROOF_SECOND_STREAM_H
#define PROOF_SECOND_STREAM_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "proof/second_reader.h"

namespace second {

// No buffer can be larger than this, whatever the host could grant.
inline constexpr std::uint64_t kLargestBuffer = 2147483647;

// The first character is the least significant byte, as in the file.
constexpr std::uint32_t fourcc(const char (&text)[5]) {
    std::uint32_t value = 0;
    for (unsigned i = 0; i < 4; ++i)
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(text[i])) << (8 * i);
    return value;
}

// The four characters, least significant byte first, then a 0.
std::array<std::uint8_t, 5> fourcc_to_chars(std::uint32_t value);

enum Whence { kFromStart = 0, kFromCurrent = 1, kFromEnd = 2 };

struct Stream {
    std::span<const std::uint8_t> bytes;
    std::int64_t pos = 0;

    std::int64_t size() const { return static_cast<std::int64_t>(bytes.size()); }
    std::int64_t tell() const { return pos; }

    // Fails, and leaves the position alone, for an unknown origin and for a position before the
    // start. Beyond the end is allowed.
    int seek(std::int64_t offset, int whence) {
        std::int64_t origin = 0;
        if (whence == kFromCurrent)
            origin = pos;
        else if (whence == kFromEnd)
            origin = size();
        else if (whence != kFromStart)
            return 1;
        if (origin + offset < 0) return 1;
        pos = origin + offset;
        return 0;
    }

    // Delivers at most n bytes, fewer (or none) where the file ends, and stands behind them.
    std::span<const std::uint8_t> read(std::uint64_t n) {
        if (pos >= size()) return {};
        const auto here = static_cast<std::size_t>(pos);
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(n, bytes.size() - here));
        pos += static_cast<std::int64_t>(count);
        return bytes.subspan(here, count);
    }
};

// The readers of values give 0, or 1 when the stream delivers nothing at all; the destination is
// then left as it was. A short read counts as success, its missing high bytes are 0.
int read_u8(Stream &stream, std::uint8_t &value);
int read_u16(Stream &stream, std::uint16_t &value);
int read_u32(Stream &stream, std::uint32_t &value);
int read_fourcc(Stream &stream, std::uint32_t &value);

// Reads n bytes that nobody needs; 1 when the file does not hold them all.
int read_past(Stream &stream, std::uint64_t n);

// One open under way.
struct Reader {
    Stream stream;
    Record &record;
    Refusal refusal{};
    Node *chunk_top = nullptr;    // the innermost open chunk
    std::array<Node, 3> nodes{};  // a form, a list in it, a list in that one: no walk goes deeper

    bool refuse(Reason reason, std::int64_t position, std::uint32_t found = 0) {
        refusal = {reason, position, found};
        return false;
    }
};

// Opens the form or list whose header the stream stands at, inside the innermost one. False, and
// then no chunk is open at all, when a read failed.
bool chunk_push(Reader &reader);

// Leaves the innermost chunk.
void chunk_pop(Reader &reader);

// The id of the sub-chunk at the node's cursor, 0 when it could not be read. The stream is left at
// that sub-chunk's header, the cursor moves past it.
std::uint32_t chunk_next(Stream &stream, Node &node);

// Whether the stream stands at or behind the node's start + size, that is 8 bytes before its true
// end. It looks at the stream, not at the cursor.
bool chunk_at_end(const Stream &stream, const Node &node);

// Reads the "strl" list that is open innermost, behind its 12-byte header, into a row of the stream
// table and one of the table of its kind. Where it fails, it says so in the node's error too.
bool parse_stream_list(Reader &reader, bool allow_trailing_stream_number);

}  // namespace second

#endif
