// Buffers whose size a file declares.
#ifndef AVI_READER_MEMORY_H
#define AVI_READER_MEMORY_H

#include <cstdint>
#include <cstdlib>
#include <memory>

// No buffer is larger, on any build: what a 32-bit host cannot have, a 64-bit one does not take, so
// that a file gives the same record everywhere.
inline constexpr std::uint64_t kAviLargestBuffer = 2147483647;

// Whether a buffer of that many bytes may be asked for at all.
[[nodiscard]] constexpr bool avi_can_allocate(std::uint64_t size) {
    return size <= kAviLargestBuffer;
}

struct AviFree {
    void operator()(void *memory) const { std::free(memory); }
};
using AviBytes = std::unique_ptr<unsigned char[], AviFree>;

// A zeroed buffer of `size` bytes (never null for 0), or null when it cannot be had. Every buffer
// whose size a file declares comes from here.
[[nodiscard]] AviBytes avi_allocate(std::uint64_t size);

#endif
