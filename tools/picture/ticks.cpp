#include "picture/ticks.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "terminal/text.h"

namespace {

constexpr int kMostAlong = 10;  // as many as have room along a wide picture
constexpr int kMostUp = 4;      // and beside a chart

// The smallest of 1, 2, 5, 10, ... that leaves no more steps than that.
double round_step(double whole, int most) {
    const double least = whole / most;
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least * (1 - 1e-9)) return factor * power;
    }
    return 10 * power;
}

// On clocks other numbers are round.
double time_step(double seconds, int most) {
    constexpr auto kSteps =
        std::to_array<double>({1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600});
    if (seconds / most < 1) return round_step(seconds, most);
    for (const double step : kSteps) {
        if (seconds / step <= most) return step;
    }
    return 3600 * std::max(round_step(seconds / 3600, most), 1.0);
}

// Words are asked for each multiple of the step between both ends, which are 0 or on either side.
template <typename Words>
std::vector<Tick> every(double step, double low, double high, Words words) {
    std::vector<Tick> ticks;
    const auto first = static_cast<int>(std::ceil(low / step - 1e-9));
    const auto last = static_cast<int>(std::floor(high / step + 1e-9));
    for (int i = first; i <= last; ++i) {
        const double value = i * step;
        ticks.push_back({value, words(value), i % 2 != 0});
    }
    return ticks;
}

}  // namespace

std::string number_words(double number) {
    if (number < 1000) return short_number(number);
    return with_commas(static_cast<std::uint64_t>(std::llround(number)));
}

std::vector<Tick> size_ticks(double bytes) {
    if (bytes < 1) return {};
    constexpr auto kUnits = std::to_array<const char *>({"bytes", "KiB", "MiB", "GiB", "TiB"});
    std::size_t place = 0;
    double unit = 1;
    for (; bytes >= unit * 1024 && place + 1 < kUnits.size(); ++place) unit *= 1024;
    double step = round_step(bytes / unit, kMostAlong);
    if (place == 0) step = std::max(step, 1.0);
    return every(step * unit, 0, bytes, [&](double value) {
        return value == 0 ? "0" : number_words(value / unit) + " " + kUnits[place];
    });
}

std::vector<Tick> time_ticks(double seconds, int most) {
    if (seconds <= 0) return {};
    const double step = time_step(seconds, most);
    return every(step, 0, seconds, [&](double value) {
        std::string words = time_text(value);
        if (step < 0.01) return short_number(value * 1000) + " ms";
        if (step >= 1) words.resize(words.size() - 3);
        return words;
    });
}

std::vector<Tick> lead_ticks(double low, double high) {
    if (high - low <= 0) return {};
    return every(round_step(high - low, kMostUp), low, high, [](double value) -> std::string {
        if (std::abs(value) < 1e-9) return "0";
        return fmt::format("{}{} s", value < 0 ? "-" : "+", number_words(std::abs(value)));
    });
}

std::vector<Tick> rate_ticks(double bytes_per_second) {
    if (bytes_per_second <= 0) return {};
    constexpr double kKilobit = 1000.0 / 8;
    const double step = round_step(bytes_per_second / kKilobit, kMostUp);
    return every(step * kKilobit, 0, bytes_per_second, [](double value) {
        return value == 0 ? "0" : number_words(value / kKilobit) + " kbit/s";
    });
}
