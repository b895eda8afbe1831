#include "terminal/failure.h"

#include <fmt/format.h>

#include <cstdio>

void complain(const std::string &text) {
    fmt::print(stderr, "sorn-tool: {}\n", text);
}
