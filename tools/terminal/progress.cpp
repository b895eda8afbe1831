#include "terminal/progress.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "terminal/text.h"

namespace {

// A file that plays at once shows no bar at all.
constexpr std::chrono::milliseconds kBetween{100};
constexpr std::int64_t kWidestBar = 60;

std::int64_t terminal_width() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::string clock_text(double seconds) {
    const auto whole = static_cast<std::uint64_t>(std::llround(seconds));
    return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace

Progress::Progress(std::int64_t total, bool wanted)
    : total_(std::max<std::int64_t>(total, 1)),
      on_(wanted && isatty(STDERR_FILENO) == 1),
      start_(std::chrono::steady_clock::now()),
      next_(start_ + kBetween) {}

Progress::~Progress() {
    if (drawn_) std::fputs("\r\033[K", stderr);
}

void Progress::show(std::int64_t done) {
    if (!on_) return;
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return;
    next_ = now + kBetween;
    drawn_ = true;
    draw(done);
}

void Progress::draw(std::int64_t done) const {
    const double part = static_cast<double>(done) / static_cast<double>(total_);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start_;
    const double rate = static_cast<double>(done) / std::max(took.count(), 1e-6);
    const double left = static_cast<double>(total_ - done) / std::max(rate, 1.0);
    const std::string figures = fmt::format(
        " {:3.0f}%  {} of {}  {}/s  {} left", part * 100,
        size_text(static_cast<std::uint64_t>(done)), size_text(static_cast<std::uint64_t>(total_)),
        size_text(static_cast<std::uint64_t>(rate)), clock_text(left));
    const std::int64_t room = terminal_width() - 3 - static_cast<std::int64_t>(figures.size());
    const auto width = static_cast<std::size_t>(std::clamp<std::int64_t>(room, 0, kWidestBar));
    const auto filled = static_cast<std::size_t>(part * static_cast<double>(width));
    const std::string bar = std::string(filled, '#') + std::string(width - filled, '-');
    std::fputs(fmt::format("\r[{}]{}\033[K", bar, figures).c_str(), stderr);
}
