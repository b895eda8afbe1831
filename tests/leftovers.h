// What an open may leave behind: open files and memory.
#ifndef TESTS_LEFTOVERS_H
#define TESTS_LEFTOVERS_H

#include <malloc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <iterator>

// The sanitizers replace the allocator, and their own leak check takes the place of this one.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kHeapIsCounted = false;
#else
inline constexpr bool kHeapIsCounted = true;
#endif

inline std::ptrdiff_t open_files() {
    using Descriptors = std::filesystem::directory_iterator;
    return std::distance(Descriptors("/proc/self/fd"), Descriptors());
}

inline std::size_t heap_in_use() {
    if (!kHeapIsCounted) return 0;
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Memory that `action` keeps each time. What it frees may stay counted while the allocator caches
// it, which settles after a few runs; what it keeps grows with every one. The median tells them
// apart.
template <typename Action>
std::ptrdiff_t heap_kept_by(const Action &action) {
    std::array<std::ptrdiff_t, 9> growth{};
    for (std::ptrdiff_t &grown : growth) {
        const std::size_t before = heap_in_use();
        action();
        grown = static_cast<std::ptrdiff_t>(heap_in_use()) - static_cast<std::ptrdiff_t>(before);
    }
    std::sort(growth.begin(), growth.end());
    return growth[growth.size() / 2];
}

#endif
