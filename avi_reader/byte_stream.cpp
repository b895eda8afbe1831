// The stream: wrappers over the C library's large-file calls, and the readers of integers.
#include <stdio_ext.h>

#include <algorithm>

#include "avi_reader.h"

AviStream avi_file_open(const char *path) {
    AviStream stream{fopen64(path, "rb"), 0};
    // One caller at a time uses a stream, so its lock would only cost.
    if (stream.file != nullptr) __fsetlocking(stream.file, FSETLOCKING_BYCALLER);
    return stream;
}

std::size_t avi_file_read(AviStream &stream, void *destination, std::size_t count) {
    return std::fread(destination, 1, count, stream.file);
}

AviStatus avi_file_seek(AviStream &stream, std::int64_t offset, int whence) {
    if (whence != SEEK_SET && whence != SEEK_CUR && whence != SEEK_END) return kAviFailed;
    return fseeko64(stream.file, offset, whence) == 0 ? kAviOk : kAviFailed;
}

std::int64_t avi_file_tell(AviStream &stream) {
    return ftello64(stream.file);
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

// A byte at a time out of the C library's buffer, where a call for so few costs more than they do.
inline std::size_t read_up_to(unsigned char *bytes, std::size_t count, AviStream &stream) {
    for (std::size_t i = 0; i < count; ++i) {
        const int byte = getc_unlocked(stream.file);
        if (byte == EOF) return i;
        bytes[i] = static_cast<unsigned char>(byte);
    }
    return count;
}

}  // namespace

AviStatus avi_read_u8(std::uint8_t &value, AviStream &stream) {
    return read_up_to(&value, 1, stream) == 1 ? kAviOk : kAviFailed;
}

AviStatus avi_read_u16le(std::uint16_t &value, AviStream &stream) {
    unsigned char bytes[2]{};
    if (read_up_to(bytes, sizeof bytes, stream) == 0) return kAviFailed;
    value = avi_get_u16le(bytes);
    return kAviOk;
}

AviStatus avi_read_u32le(std::uint32_t &value, AviStream &stream) {
    unsigned char bytes[4]{};
    if (read_up_to(bytes, sizeof bytes, stream) == 0) return kAviFailed;
    value = avi_get_u32le(bytes);
    return kAviOk;
}

AviStatus avi_read_fourcc(FourCC &value, AviStream &stream) {
    return avi_read_u32le(value.value, stream);
}

AviStatus avi_read_bytes(unsigned char *destination, std::uint32_t count, AviStream &stream) {
    return read_up_to(destination, count, stream) == count ? kAviOk : kAviFailed;
}

AviStatus avi_skip_bytes(std::uint32_t count, AviStream &stream) {
    const std::int64_t left = avi_file_left(stream);
    const AviStatus status = avi_file_seek(stream, std::min<std::int64_t>(count, left), SEEK_CUR);
    return status | (count > left ? kAviFailed : kAviOk);
}

AviBytes avi_allocate(std::uint64_t size) {
    if (!avi_can_allocate(size)) return nullptr;
    const auto room = static_cast<std::size_t>(std::max<std::uint64_t>(size, 1));
    return AviBytes(static_cast<unsigned char *>(std::calloc(room, 1)));
}
