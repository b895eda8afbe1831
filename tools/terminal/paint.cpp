#include "terminal/paint.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace {

bool terminal_wants_it() {
    const char *no_color = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) == 1 && (no_color == nullptr || *no_color == '\0');
}

}  // namespace

Paint::Paint(Colour colour)
    : on_(colour == Colour::automatic ? terminal_wants_it() : colour == Colour::always) {}

std::string Paint::operator()(Tone tone, const std::string &text) const {
    constexpr std::array<const char *, 5> kCodes{"", "2", "1", "32", "31"};
    if (!on_ || tone == Tone::plain || text.empty()) return text;
    return fmt::format("\033[{}m{}\033[0m", kCodes[static_cast<std::size_t>(tone)], text);
}
