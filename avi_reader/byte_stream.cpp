#include "byte_stream.h"

#include <stdio_ext.h>
#include <unistd.h>

#include <cstring>

namespace {

// A gap up to this is cheaper to read over than to seek over.
constexpr std::int64_t kShortGap = 512;

// Where the file now ends, or -1. The descriptor is asked, because the C library's own seek to the
// end reads the last page.
std::int64_t end_of_file(AviStream &stream) {
    stream.file_pos = -1;
    return lseek64(fileno(stream.file), 0, SEEK_END);
}

// Takes the C library's file to the position. Every seek of the C library is a system call, even
// within its buffer, so none is made for a short way forward.
[[gnu::noinline]] bool follow(AviStream &stream) {
    const std::int64_t gap = stream.pos - stream.file_pos;
    if (stream.file_pos >= 0 && gap > 0 && gap <= kShortGap) {
        char skipped[kShortGap];
        const auto count = static_cast<std::size_t>(gap);
        if (fread_unlocked(skipped, 1, count, stream.file) == count) return true;
    }
    return fseeko64(stream.file, stream.pos, SEEK_SET) == 0;
}

constexpr std::size_t kRoom = sizeof AviStream::seen;

// Takes what is remembered of the `count` bytes at the position.
std::size_t recall(AviStream &stream, unsigned char *bytes, std::size_t count) {
    const std::int64_t known = stream.seen_end - stream.pos;
    if (known <= 0 || known > stream.seen_count) return 0;
    const std::size_t taken = std::min(count, static_cast<std::size_t>(known));
    std::memcpy(bytes, stream.seen + kRoom - known, taken);
    avi_file_go(stream, stream.pos + static_cast<std::int64_t>(taken));
    return taken;
}

// Remembers the last of `count` bytes that end at the position, behind what is remembered up to
// them.
void remember(AviStream &stream, const unsigned char *bytes, std::size_t count) {
    if (count < kRoom) {
        const bool joined = stream.seen_end == stream.pos - static_cast<std::int64_t>(count);
        const std::size_t all = (joined ? stream.seen_count : 0) + count;
        std::memmove(stream.seen, stream.seen + count, kRoom - count);
        std::memcpy(stream.seen + kRoom - count, bytes, count);
        stream.seen_count = static_cast<std::uint16_t>(std::min(all, kRoom));
    } else {
        std::memcpy(stream.seen, bytes + count - kRoom, kRoom);
        stream.seen_count = kRoom;
    }
    stream.seen_end = stream.pos;
}

std::size_t read_file(AviStream &stream, unsigned char *bytes, std::size_t count) {
    if (stream.pos != stream.file_pos && !follow(stream)) {
        stream.file_pos = -1;
        return 0;
    }
    const std::size_t got = fread_unlocked(bytes, 1, count, stream.file);
    stream.pos += static_cast<std::int64_t>(got);
    stream.file_pos = stream.pos;
    // The C library would take the end for final; a file may grow.
    if (got < count) clearerr_unlocked(stream.file);
    return got;
}

AviStatus why_nothing_is_there(AviStream &stream) {
    if (stream.pos >= stream.size) return kAviFailed;
    stream.unreadable_pos = stream.pos;
    return kAviUnreadable;
}

// What parsing reads: nothing twice that was just looked at, and nothing past the measured size.
std::size_t read_measured(AviStream &stream, unsigned char *bytes, std::size_t count) {
    const auto left = static_cast<std::uint64_t>(avi_file_left(stream));
    const std::size_t wanted = left < count ? static_cast<std::size_t>(left) : count;
    const std::size_t recalled = recall(stream, bytes, wanted);
    if (recalled == wanted) return wanted;
    return recalled + read_file(stream, bytes + recalled, wanted - recalled);
}

}  // namespace

AviStream avi_file_open(const char *path) {
    AviStream stream{};
    stream.file = fopen64(path, "rb");
    if (stream.file == nullptr) return stream;
    // One caller at a time uses a stream, so its lock would only cost.
    __fsetlocking(stream.file, FSETLOCKING_BYCALLER);
    stream.size = end_of_file(stream);
    return stream;
}

AviStatus avi_file_close(AviStream &stream) {
    std::FILE *file = stream.file;
    stream.file = nullptr;
    return std::fclose(file) == 0 ? kAviOk : kAviFailed;
}

AviStatus avi_file_seek(AviStream &stream, std::int64_t offset, int whence) {
    std::int64_t base = 0;
    if (whence == SEEK_CUR) {
        base = stream.pos;
    } else if (whence == SEEK_END) {
        base = end_of_file(stream);
        if (base < 0) return kAviFailed;
    } else if (whence != SEEK_SET) {
        return kAviFailed;
    }
    std::int64_t pos;
    if (__builtin_add_overflow(base, offset, &pos) || pos < 0) return kAviFailed;
    avi_file_go(stream, pos);
    return kAviOk;
}

std::size_t avi_file_read(AviStream &stream, void *destination, std::size_t count) {
    auto *bytes = static_cast<unsigned char *>(destination);
    const std::size_t got = read_file(stream, bytes, count);
    remember(stream, bytes, got);
    return got;
}

AviChunkHeader avi_look_back(AviStream &stream) {
    alignas(std::uint32_t) unsigned char read[kChunkHeaderSize]{};
    const unsigned char *bytes = stream.seen + kRoom - kChunkHeaderSize;
    if (stream.seen_end != stream.pos || stream.seen_count < kChunkHeaderSize) {
        avi_file_go(stream, stream.pos - kChunkHeaderSize);
        read_file(stream, read, sizeof read);
        bytes = read;
    }
    return {{avi_get_u32le(bytes)}, avi_get_u32le(bytes + 4)};
}

AviStatus avi_read_failure(AviStream &stream) {
    const AviStatus status = why_nothing_is_there(stream);
    if (status == kAviUnreadable) stream.lacks_bytes = true;
    return status;
}

AviStatus avi_read_bytes(unsigned char *destination, std::uint32_t count, AviStream &stream) {
    return read_measured(stream, destination, count) == count ? kAviOk : avi_read_failure(stream);
}

AviStatus avi_skip_bytes(std::uint32_t count, AviStream &stream) {
    const std::int64_t skipped = std::min<std::int64_t>(count, avi_file_left(stream));
    avi_file_go(stream, stream.pos + skipped);
    return skipped == count ? kAviOk : kAviFailed;
}

// No field of a layout lies in two of these.
constexpr std::size_t kWord = sizeof(std::uint32_t);

std::size_t avi_read_layout(unsigned char *bytes, std::size_t count, AviStream &stream) {
    const std::size_t got = read_measured(stream, bytes, count);
    if (got == count) return got;
    const bool lost = avi_read_failure(stream) == kAviUnreadable;
    const std::size_t there = lost ? got & ~(kWord - 1) : got;
    std::memset(bytes + there, 0, count - there);
    return there;
}

AviStatus avi_read_u8(std::uint8_t &value, AviStream &stream) {
    return avi_read_fields(stream, value);
}

AviStatus avi_read_u16le(std::uint16_t &value, AviStream &stream) {
    return avi_read_fields(stream, value);
}

AviStatus avi_read_u32le(std::uint32_t &value, AviStream &stream) {
    return avi_read_fields(stream, value);
}

AviStatus avi_read_fourcc(FourCC &value, AviStream &stream) {
    return avi_read_u32le(value.value, stream);
}

AviLook avi_look(AviStream &stream) {
    alignas(std::uint32_t) unsigned char bytes[kListHeaderSize]{};
    const std::int64_t pos = stream.pos;
    const std::size_t count = read_measured(stream, bytes, sizeof bytes);
    const bool whole = count == sizeof bytes;
    // More is looked at than may be wanted, so nothing is lacking yet.
    const AviStatus missing = whole ? kAviOk : why_nothing_is_there(stream);
    if (whole) remember(stream, bytes, sizeof bytes);
    avi_file_go(stream, pos);
    return {{avi_get_u32le(bytes)}, avi_get_u32le(bytes + 4), count, missing};
}
