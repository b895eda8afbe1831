#include "proof/memory_file.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
void *__real_calloc(std::size_t count, std::size_t size);
void __real_free(void *pointer);
int __real_fclose(std::FILE *file);
int __real_fileno(std::FILE *file);

void *__wrap_calloc(std::size_t count, std::size_t size);
void __wrap_free(void *pointer);
std::FILE *__wrap_fopen64(const char *path, const char *mode);
int __wrap_fclose(std::FILE *file);
int __wrap___uflow(std::FILE *file);
int __wrap_fileno(std::FILE *file);
int __wrap___fsetlocking(std::FILE *file, int type);
off64_t __wrap_lseek64(int descriptor, off64_t offset, int whence);
int __wrap_fseeko64(std::FILE *file, off64_t offset, int whence);
void __wrap_clearerr_unlocked(std::FILE *file);
std::size_t __wrap_fread_unlocked(void *to, std::size_t size, std::size_t count, std::FILE *file);
std::size_t __wrap___fread_unlocked_chk(void *to, std::size_t room, std::size_t size,
                                        std::size_t count, std::FILE *file);
}

namespace {

struct {
    const std::uint8_t *bytes = nullptr;
    std::size_t size = 0;
    std::size_t pos = 0;
    std::uint64_t calls = 0;
} file;

Balance now;

// All zero, so that the C library's inline functions find its buffer empty and ask for more.
std::FILE the_stream{};

// A buffer of this size or more lies in a place of its own, kept from one file to the next, with
// its last byte right before a page that cannot be touched. What a file declares then costs nothing
// but the pages that are written to. There are three kinds of chunk that are kept whole.
constexpr std::size_t kLarge = 1 << 20;
constexpr std::size_t kPlaceSize = (std::size_t{1} << 31) + 4096;
constexpr std::size_t kPageSize = 4096;

struct Place {
    char *start = nullptr;
    char *end = nullptr;
    std::size_t in_use = 0;
};

Place make_place() {
    void *mapping = mmap(nullptr, kPlaceSize + kPageSize, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapping == MAP_FAILED) std::abort();
    madvise(mapping, kPlaceSize, MADV_NOHUGEPAGE);
    char *start = static_cast<char *>(mapping);
    mprotect(start + kPlaceSize, kPageSize, PROT_NONE);
    return {start, start + kPlaceSize};
}

std::array<Place, 3> &places() {
    static std::array<Place, 3> made{make_place(), make_place(), make_place()};
    return made;
}

void *take_large(std::size_t size) {
    for (Place &place : places()) {
        if (place.in_use != 0) continue;
        place.in_use = size;
        return place.end - size;
    }
    return nullptr;
}

bool give_back_large(void *pointer) {
    const char *at = static_cast<char *>(pointer);
    for (Place &place : places()) {
        if (at < place.start || at >= place.end) continue;
        madvise(place.start, kPlaceSize, MADV_DONTNEED);
        place.in_use = 0;
        return true;
    }
    return false;
}

std::size_t read(void *to, std::size_t count) {
    ++file.calls;
    const std::size_t left = file.size - std::min(file.pos, file.size);
    const std::size_t taken = std::min(left, count);
    if (taken != 0) std::memcpy(to, file.bytes + file.pos, taken);
    file.pos += taken;
    return taken;
}

}  // namespace

void give_file(std::span<const std::uint8_t> bytes) {
    file = {bytes.data(), bytes.size(), 0, 0};
}

Balance balance() {
    return now;
}

std::uint64_t calls_made() {
    return file.calls;
}

// ---- what the linker puts in the place of the C library's functions

void *__wrap_calloc(std::size_t count, std::size_t size) {
    void *pointer = count * size < kLarge ? __real_calloc(count, size) : take_large(count * size);
    now.buffers += pointer != nullptr;
    return pointer;
}

void __wrap_free(void *pointer) {
    if (pointer == nullptr) return;
    --now.buffers;
    if (!give_back_large(pointer)) __real_free(pointer);
}

std::FILE *__wrap_fopen64(const char *, const char *) {
    file.pos = 0;
    ++now.files;
    return &the_stream;
}

int __wrap_fclose(std::FILE *stream) {
    if (stream != &the_stream) return __real_fclose(stream);
    --now.files;
    return 0;
}

int __wrap_fileno(std::FILE *stream) {
    return stream == &the_stream ? -1 : __real_fileno(stream);
}

int __wrap___fsetlocking(std::FILE *, int) {
    return 0;
}

// Only ever asked where the file ends.
off64_t __wrap_lseek64(int, off64_t, int whence) {
    ++file.calls;
    return whence == SEEK_END ? static_cast<off64_t>(file.size) : -1;
}

int __wrap_fseeko64(std::FILE *, off64_t offset, int whence) {
    ++file.calls;
    if (whence != SEEK_SET || offset < 0) return -1;
    file.pos = static_cast<std::size_t>(offset);
    return 0;
}

void __wrap_clearerr_unlocked(std::FILE *) {}

int __wrap___uflow(std::FILE *) {
    unsigned char byte;
    return read(&byte, 1) == 1 ? byte : EOF;
}

std::size_t __wrap_fread_unlocked(void *to, std::size_t size, std::size_t count, std::FILE *) {
    return read(to, size * count);
}

std::size_t __wrap___fread_unlocked_chk(void *to, std::size_t, std::size_t size, std::size_t count,
                                        std::FILE *) {
    return read(to, size * count);
}
