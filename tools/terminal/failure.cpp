#include "terminal/failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

void complain(const std::string &text) {
    fmt::print(stderr, "sorn-tool: {}\n", text);
}

void flush_output() {
    if (std::fflush(stdout) == 0) return;
    throw std::system_error(errno, std::generic_category(), "cannot write");
}
