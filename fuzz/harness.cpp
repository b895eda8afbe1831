#include "harness.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "tests/support/record_checks.h"

void require(bool condition, const char *rule) {
    if (condition) return;
    std::fprintf(stderr, "This does not hold: %s\n", rule);
    std::abort();
}

bool check_open(ControlledLibc &libc, std::uint32_t open_option) {
    AviReaderState *reader = aviin_open("any", open_option);
    const bool opened = reader != nullptr;
    if (opened) {
        const auto owns = [&](const void *p, std::uint64_t size) { return libc.owns(p, size); };
        const std::string broken = broken_rule(*reader, owns);
        require(broken.empty(), broken.c_str());
        aviin_close(reader);
    }
    require(libc.live_allocations() == 0, "no memory is left");
    require(libc.open_files() == 0, "no file is left open");
    require(!libc.ran_out_of_calls(), "the work is in proportion to the file");
    return opened;
}

std::uint64_t call_limit(std::size_t file_size) {
    return 20 * file_size + 20000;
}

SteeredInput split(const std::uint8_t *data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char *>(data), size);
    if (input.empty()) return {};
    const std::size_t steering = std::min<std::size_t>(data[0], size - 1);
    return {input.substr(1, steering), input.substr(1 + steering)};
}
