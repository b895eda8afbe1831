#include "allocation_watch.h"

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define ALLOCATOR(name) __interceptor_##name
#else
#define ALLOCATOR(name) __libc_##name
#endif
// These run before the sanitizers are ready.
#define ALLOCATION_FUNCTION __attribute__((no_sanitize("address", "undefined")))

extern "C" {
void *ALLOCATOR(malloc)(std::size_t size);
void *ALLOCATOR(calloc)(std::size_t count, std::size_t size);
void *ALLOCATOR(realloc)(void *memory, std::size_t size);
void ALLOCATOR(free)(void *memory);
}

namespace {

constinit bool watching = false;
constinit long failing_allocation = 0;
constinit long allocation_count = 0;
constinit long live_count = 0;

ALLOCATION_FUNCTION bool fails() {
    return watching && ++allocation_count == failing_allocation;
}

ALLOCATION_FUNCTION void *counted(void *memory) {
    if (watching && memory != nullptr) ++live_count;
    return memory;
}

}  // namespace

extern "C" {

ALLOCATION_FUNCTION void *malloc(std::size_t size) {
    return fails() ? nullptr : counted(ALLOCATOR(malloc)(size));
}

ALLOCATION_FUNCTION void *calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : counted(ALLOCATOR(calloc)(count, size));
}

ALLOCATION_FUNCTION void *realloc(void *memory, std::size_t size) {
    if (fails()) return nullptr;
    void *moved = ALLOCATOR(realloc)(memory, size);
    return memory == nullptr ? counted(moved) : moved;
}

ALLOCATION_FUNCTION void free(void *memory) {
    if (watching && memory != nullptr) --live_count;
    ALLOCATOR(free)(memory);
}

}  // extern "C"

AllocationWatch::AllocationWatch(long failing) {
    failing_allocation = failing;
    allocation_count = 0;
    live_count = 0;
    watching = true;
}

AllocationWatch::~AllocationWatch() {
    watching = false;
}

long AllocationWatch::allocations() {
    return allocation_count;
}

long AllocationWatch::live() {
    return live_count;
}

bool AllocationWatch::has_failed() {
    return failing_allocation != 0 && allocation_count >= failing_allocation;
}

AllocationPause::AllocationPause() : watched_(watching) {
    watching = false;
}

AllocationPause::~AllocationPause() {
    watching = watched_;
}
