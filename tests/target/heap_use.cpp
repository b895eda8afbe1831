// Measures the heap that one open file takes, its stream and the stream's buffer included: at most
// 12 KiB on a 32-bit target for a file without extension payloads.
#include <malloc.h>

#include <algorithm>
#include <cstdio>

#include "service/drm-service-sorn.h"
#include "tests/support/test_files.h"

namespace {

constexpr std::size_t kLimit = sizeof(void *) == 4 ? 12 * 1024 : 16 * 1024;

std::size_t in_use = 0;
std::size_t peak = 0;

// A block costs what it can hold and the word before it.
std::size_t cost(void *block) {
    return block == nullptr ? 0 : malloc_usable_size(block) + sizeof(std::size_t);
}

void *counted(void *block) {
    in_use += cost(block);
    peak = std::max(peak, in_use);
    return block;
}

}  // namespace

// The C library's own blocks come through these too.
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void __libc_free(void *block);

void *malloc(std::size_t size) {
    return counted(__libc_malloc(size));
}

void *calloc(std::size_t count, std::size_t size) {
    return counted(__libc_calloc(count, size));
}

void *realloc(void *block, std::size_t size) {
    in_use -= cost(block);
    return counted(__libc_realloc(block, size));
}

void free(void *block) {
    in_use -= cost(block);
    __libc_free(block);
}

void _debug_message(int, const char *, unsigned int, unsigned int, const char *, ...) {}
}

int main() {
    const TempFile file(avi_builder::plain_file());
    SvcFileHandle *handle = nullptr;
    unsigned char bytes[12];
    std::uint32_t count = 0;

    const std::size_t before = in_use;
    peak = in_use;
    if (drm_svc_sorn_open_file(file.path(), &handle) != DRM_SVC_SORN_OK) return 2;
    drm_svc_sorn_read_file(handle, bytes, sizeof bytes, &count);
    const std::size_t open = in_use - before;
    const std::size_t highest = peak - before;
    drm_svc_sorn_close_file(handle);
    const std::size_t left = in_use - before;

    std::printf("heap of one open file: %zu bytes, at most %zu while it opens (limit %zu)\n", open,
                highest, kLimit);
    std::printf("of these, the record: %zu bytes\n", sizeof(AviReaderState));
    std::printf("left after close: %zu bytes\n", left);
    // Less than the record means that the C library's calls were not counted.
    const bool counted_all = open > sizeof(AviReaderState) + BUFSIZ / 4;
    return counted_all && highest <= kLimit && left == 0 ? 0 : 1;
}
