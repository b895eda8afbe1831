// The stream: wrappers over the C library's large-file calls, and the readers of integers.
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>

#include "avi_reader.h"

namespace {

// A way forward that is sooner read than sought.
constexpr std::int64_t kShortWay = 512;

// Further than any walk leads: only the C library knows whether it can go there.
constexpr std::int64_t kFarAway = std::int64_t{1} << 40;

// Goes where the last seek asked to. Every seek of the C library is a system call, even within its
// buffer, so none is made to where the stream stands, nor for a short way forward. A stream that
// has met the end of the file seeks, to forget it.
[[gnu::noinline]] bool go_to_target(AviStream &stream) {
    stream.pending = false;
    const std::int64_t way = stream.target - ftello64(stream.file);
    if (way >= 0 && way <= kShortWay && feof_unlocked(stream.file) == 0) {
        char skipped[kShortWay];
        const auto count = static_cast<std::size_t>(way);
        if (std::fread(skipped, 1, count, stream.file) == count) return true;
    }
    return fseeko64(stream.file, stream.target, SEEK_SET) == 0;
}

// Makes ready to read. False at a position noted past the end, where there is nothing to go for.
inline bool settle(AviStream &stream) {
    if (!stream.pending) return true;
    return stream.target < stream.size && go_to_target(stream);
}

}  // namespace

AviStream avi_file_open(const char *path) {
    AviStream stream{};
    stream.file = fopen64(path, "rb");
    if (stream.file == nullptr) return stream;
    // One caller at a time uses a stream, so its lock would only cost.
    __fsetlocking(stream.file, FSETLOCKING_BYCALLER);
    // The descriptor is asked: the C library's own seek to the end reads the file's last page.
    stream.size = lseek64(fileno(stream.file), 0, SEEK_END);
    fseeko64(stream.file, 0, SEEK_SET);
    return stream;
}

std::size_t avi_file_read(AviStream &stream, void *destination, std::size_t count) {
    return settle(stream) ? std::fread(destination, 1, count, stream.file) : 0;
}

AviStatus avi_file_seek(AviStream &stream, std::int64_t offset, int whence) {
    if (whence != SEEK_SET && whence != SEEK_CUR && whence != SEEK_END) return kAviFailed;
    if (whence != SEEK_END) {
        const std::int64_t base = whence == SEEK_CUR ? avi_file_tell(stream) : 0;
        if (stream.size >= 0 && base >= 0 && base < kFarAway && offset >= -base &&
            offset < kFarAway) {
            stream.target = base + offset;
            stream.pending = true;
            return kAviOk;
        }
    }
    avi_file_settle(stream);
    return fseeko64(stream.file, offset, whence) == 0 ? kAviOk : kAviFailed;
}

std::int64_t avi_file_tell(AviStream &stream) {
    return stream.pending ? stream.target : ftello64(stream.file);
}

void avi_file_settle(AviStream &stream) {
    if (stream.pending) go_to_target(stream);
}

AviStatus avi_file_close(AviStream &stream) {
    std::FILE *file = stream.file;
    stream.file = nullptr;
    return std::fclose(file) == 0 ? kAviOk : kAviFailed;
}

std::int64_t avi_file_left(AviStream &stream) {
    return std::max<std::int64_t>(stream.size - avi_file_tell(stream), 0);
}

namespace {

// A byte at a time out of the C library's buffer: a call for so few costs more than they do.
template <typename Integer>
AviStatus read_little_endian(Integer &value, AviStream &stream) {
    if (!settle(stream)) return kAviFailed;
    std::uint32_t assembled = 0;
    for (unsigned int i = 0; i < sizeof(Integer); ++i) {
        const int byte = getc_unlocked(stream.file);
        if (byte == EOF && i == 0) return kAviFailed;
        if (byte == EOF) break;
        assembled |= static_cast<std::uint32_t>(byte) << (8 * i);
    }
    value = static_cast<Integer>(assembled);
    return kAviOk;
}

}  // namespace

AviStatus avi_read_u8(std::uint8_t &value, AviStream &stream) {
    return read_little_endian(value, stream);
}

AviStatus avi_read_u16le(std::uint16_t &value, AviStream &stream) {
    return read_little_endian(value, stream);
}

AviStatus avi_read_u32le(std::uint32_t &value, AviStream &stream) {
    return read_little_endian(value, stream);
}

AviStatus avi_read_fourcc(FourCC &value, AviStream &stream) {
    return avi_read_u32le(value.value, stream);
}

AviStatus avi_read_bytes(unsigned char *destination, std::uint32_t count, AviStream &stream) {
    if (!settle(stream)) return count == 0 ? kAviOk : kAviFailed;
    for (std::uint32_t i = 0; i < count; ++i) {
        const int byte = getc_unlocked(stream.file);
        if (byte == EOF) return kAviFailed;
        destination[i] = static_cast<unsigned char>(byte);
    }
    return kAviOk;
}

AviStatus avi_skip_bytes(std::uint32_t count, AviStream &stream) {
    const std::int64_t left = avi_file_left(stream);
    const AviStatus status = avi_file_seek(stream, std::min<std::int64_t>(count, left), SEEK_CUR);
    return status | (count > left ? kAviFailed : kAviOk);
}

AviStatus avi_read_chunk_header(FourCC &id, std::uint32_t &size, AviStream &stream) {
    const std::int64_t pos = avi_file_tell(stream);
    if (pos == stream.seen_pos && pos != 0) {
        id = stream.seen_id;
        size = stream.seen_size;
        return avi_file_seek(stream, pos + 8, SEEK_SET);
    }
    const AviStatus status = avi_read_fields(stream, id, size);
    // Only a whole header: one that the file cuts short leaves the stream elsewhere.
    if (status == kAviOk && pos + 8 <= stream.size) {
        stream.seen_pos = pos;
        stream.seen_id = id;
        stream.seen_size = size;
    }
    return status;
}

AviBytes avi_allocate(std::uint64_t size) {
    if (!avi_can_allocate(size)) return nullptr;
    const auto room = static_cast<std::size_t>(std::max<std::uint64_t>(size, 1));
    return AviBytes(static_cast<unsigned char *>(std::calloc(room, 1)));
}
