#include "terminal/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "terminal/utf8.h"

namespace {

template <typename Needed>
std::string escaped(std::string_view bytes, Needed needs_escape) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (needs_escape(byte)) {
            fmt::format_to(std::back_inserter(text), "\\x{:02x}", byte);
        } else {
            text += c;
        }
    }
    return text;
}

}  // namespace

std::string text_of(std::string_view bytes) {
    return escaped(bytes, [](unsigned char b) { return b < 0x20 || b > 0x7e || b == '\\'; });
}

namespace {

// Whether a character of that many bytes of UTF-8 steers a terminal, or is not to be seen.
bool commands(std::string_view text, std::size_t length) {
    std::uint32_t code = static_cast<unsigned char>(text[0]);
    if (length == 1) return code < 0x20 || code == 0x7f || code == '\\';
    code &= 0x7FU >> length;
    for (const char c : text.substr(1, length - 1)) {
        code = code << 6 | (static_cast<unsigned char>(c) & 0x3FU);
    }
    return code < 0xa0 || (code >= 0x200b && code <= 0x200f) ||
           (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069) ||
           code == 0xfeff;
}

}  // namespace

std::string readable(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const std::size_t length = std::max<std::size_t>(utf8_length(bytes), 1);
        const std::string_view character = bytes.substr(0, length);
        const bool as_it_is = utf8_length(bytes) != 0 && !commands(bytes, length);
        text += as_it_is ? std::string(character) : text_of(character);
        bytes.remove_prefix(length);
    }
    return text;
}

std::string text_of(FourCC fourcc) {
    char chars[5];
    avi_fourcc_to_chars(fourcc, chars);
    return text_of(std::string_view(chars, 4));
}

std::string hex_of(std::span<const unsigned char> bytes) {
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const unsigned char byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::string path_text(std::string_view path) {
    return escaped(path, [](unsigned char b) { return b < 0x20 || b == 0x7f; });
}

std::string with_commas(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t i = text.size(); i > 3; i -= 3) text.insert(i - 3, 1, ',');
    return text;
}

std::string count_of(std::uint64_t number, std::string_view thing) {
    return fmt::format("{} {}{}", with_commas(number), thing, number == 1 ? "" : "s");
}

std::string size_text(std::uint64_t bytes) {
    if (bytes < 1024) return count_of(bytes, "byte");
    constexpr std::array<const char *, 6> kUnits{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double size = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    for (; size >= 1024 && unit + 1 < kUnits.size(); ++unit) size /= 1024;
    return fmt::format("{:.{}f} {}", size, size < 10 ? 2 : 1, kUnits[unit]);
}

std::string time_text(double seconds) {
    constexpr double kLongest = 1e15;  // a clock may run for longer than a number can hold
    const auto hundredths =
        static_cast<std::uint64_t>(std::llround(std::min(seconds, kLongest) * 100));
    const std::uint64_t whole = hundredths / 100;
    const std::uint64_t minutes = whole / 60;
    const std::string tail = fmt::format("{:02}.{:02}", whole % 60, hundredths % 100);
    if (minutes < 60) return fmt::format("{}:{}", minutes, tail);
    return fmt::format("{}:{:02}:{}", minutes / 60, minutes % 60, tail);
}

std::string short_number(double number) {
    std::string text = fmt::format("{:.3f}", number);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text;
}
