#include "terminal/failure.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

void complain(const std::string &text) noexcept {
    std::fprintf(stderr, "sorn-tool: %s\n", text.c_str());
}

void flush_output() {
    if (std::fflush(stdout) == 0) return;
    throw std::system_error(errno, std::generic_category(), "cannot write");
}
