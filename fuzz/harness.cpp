#include "harness.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

void require(bool condition, const char *rule) {
    if (condition) return;
    std::fprintf(stderr, "This does not hold: %s\n", rule);
    std::abort();
}

SteeredInput split(const std::uint8_t *data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char *>(data), size);
    if (input.empty()) return {};
    const std::size_t steering = std::min<std::size_t>(data[0], size - 1);
    return {input.substr(1, steering), input.substr(1 + steering)};
}
