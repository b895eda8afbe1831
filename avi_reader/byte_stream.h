// The stream: an open file, its one position, and the readers of integers.
#ifndef AVI_READER_BYTE_STREAM_H
#define AVI_READER_BYTE_STREAM_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "fourcc.h"
#include "refusal.h"

// An open file.
//
// `pos` is the position: seeks set it, reads advance it, and the C library's file follows when
// something is read. Walks seek more often than they read.
//
// The stream remembers the bytes of the last look at a chunk header, or the last bytes delivered,
// so that the reader of a chunk that was looked at, and a look back at what was just read, need
// nothing from the file.
struct AviStream {
    std::FILE *file;
    std::int64_t size;      // as measured at open: parsing goes no further, whatever the file
                            // declares; -1 for a file without positions, such as a pipe
    std::int64_t pos;       // from the start of the file
    std::int64_t file_pos;  // where `file` stands; -1 when it has to be sent to be known

    std::int64_t unreadable_pos;  // where the last read stopped that failed short of the end

    // The bytes remembered are the last `seen_count` of `seen`; `seen_end` is the position behind.
    alignas(std::uint32_t) unsigned char seen[kListHeaderSize];
    std::uint16_t seen_count;
    bool lacks_bytes;  // some that were wanted could not be read
    std::int64_t seen_end;
};

// Opens `path` for reading at position 0. The stream's file is null when it cannot be opened.
[[nodiscard]] AviStream avi_file_open(const char *path);

// Closes the file. It is gone also when this fails.
AviStatus avi_file_close(AviStream &stream);

// The position.
[[nodiscard]] inline std::int64_t avi_file_tell(const AviStream &stream) {
    return stream.pos;
}

// Sets the position, which is not negative. Past the end is allowed: there is nothing to read.
inline void avi_file_go(AviStream &stream, std::int64_t pos) {
    stream.pos = pos;
}

// Moves the position; `whence` is SEEK_SET, SEEK_CUR or SEEK_END, the end being where the file now
// ends. Fails, and leaves the position alone, for any other, for a position before the start of the
// file, and when its end cannot be told.
AviStatus avi_file_seek(AviStream &stream, std::int64_t offset, int whence);

// Reads up to `count` bytes, also behind the measured size, and returns how many were read.
std::size_t avi_file_read(AviStream &stream, void *destination, std::size_t count);

struct AviChunkHeader {
    FourCC id;
    std::uint32_t size;
};

// The 8 bytes before the position, which is at least 8, as a chunk header; those that cannot be
// read count as 0. The position is where reading them leaves it, which is where it was unless the
// file ends before. What was just read is not read again.
[[nodiscard]] AviChunkHeader avi_look_back(AviStream &stream);

// Bytes between the position and the measured end of the file, 0 past it.
[[nodiscard]] inline std::int64_t avi_file_left(const AviStream &stream) {
    return std::max<std::int64_t>(stream.size - stream.pos, 0);
}

// From here on nothing is read past the measured size.

// Reads `count` bytes, or those that there are, which fails.
AviStatus avi_read_bytes(unsigned char *destination, std::uint32_t count, AviStream &stream);

// Leaves the stream as avi_read_bytes would, without touching the bytes.
AviStatus avi_skip_bytes(std::uint32_t count, AviStream &stream);

// Each reads one integer, or fails and leaves the destination alone: when the file has no byte for
// it, or one that cannot be read. A value that the end of the file cuts short is completed with
// zero bytes.
AviStatus avi_read_u8(std::uint8_t &value, AviStream &stream);
AviStatus avi_read_u16le(std::uint16_t &value, AviStream &stream);
AviStatus avi_read_u32le(std::uint32_t &value, AviStream &stream);
AviStatus avi_read_fourcc(FourCC &value, AviStream &stream);

// What there is of a chunk's header and of the 4 bytes behind it, which are a list's type.
struct AviLook {
    FourCC id;
    std::uint32_t size;
    std::size_t count;  // bytes there are, up to 12; those missing count as 0
    AviStatus missing;  // what reading the missing ones gives; kAviOk when there are 12
};

// Looks at the chunk at the position, which stays.
[[nodiscard]] AviLook avi_look(AviStream &stream);

// Reads `count` bytes and zeroes those that there are not. Returns how many there are. A byte that
// cannot be read takes the others of its word with it, so that no value is made of what is left.
[[nodiscard]] std::size_t avi_read_layout(unsigned char *bytes, std::size_t count,
                                          AviStream &stream);

// The status of a read that found no byte at the position, which is noted when the file goes on.
AviStatus avi_read_failure(AviStream &stream);

// The bytes of a layout on their way into its fields.
struct AviLayout {
    const unsigned char *bytes;
    std::size_t there;  // those read; what follows them is 0
    std::size_t next;   // offset of the next field
    std::size_t last;   // offset of the last one taken
};

[[gnu::always_inline]] constexpr void avi_decode(std::uint8_t &value, const unsigned char *bytes) {
    value = *bytes;
}
[[gnu::always_inline]] constexpr void avi_decode(std::uint16_t &value, const unsigned char *bytes) {
    value = avi_get_u16le(bytes);
}
[[gnu::always_inline]] constexpr void avi_decode(std::uint32_t &value, const unsigned char *bytes) {
    value = avi_get_u32le(bytes);
}
[[gnu::always_inline]] constexpr void avi_decode(FourCC &value, const unsigned char *bytes) {
    value = {avi_get_u32le(bytes)};
}

template <typename Field>
[[gnu::always_inline]] constexpr void avi_take(Field &field, AviLayout &layout) {
    if (layout.next < layout.there) avi_decode(field, layout.bytes + layout.next);
    layout.last = layout.next;
    layout.next += sizeof(Field);
}
template <typename Element, std::size_t Count>
[[gnu::always_inline]] constexpr void avi_take(Element (&field)[Count], AviLayout &layout) {
    for (Element &element : field) avi_take(element, layout);
}

// Reads a layout at once, each field by the width of its type, as the readers of one integer would.
// Fails when a field does; that one and those behind it keep their values, as does what shares a
// word with a byte that cannot be read.
template <typename... Fields>
AviStatus avi_read_fields(AviStream &stream, Fields &...fields) {
    alignas(std::uint32_t) unsigned char bytes[(sizeof(Fields) + ...)];
    AviLayout layout{bytes, avi_read_layout(bytes, sizeof bytes, stream), 0, 0};
    (avi_take(fields, layout), ...);
    return layout.last < layout.there ? kAviOk : avi_read_failure(stream);
}

#endif
