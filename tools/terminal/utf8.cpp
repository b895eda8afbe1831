#include "terminal/utf8.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

struct Form {
    unsigned char first_low, first_high;    // of its first byte
    unsigned char second_low, second_high;  // neither longer than needed, nor half a pair
    std::size_t length;
};

constexpr Form kForms[] = {
    {0x00, 0x7f, 0x00, 0x00, 1}, {0xc2, 0xdf, 0x80, 0xbf, 2}, {0xe0, 0xe0, 0xa0, 0xbf, 3},
    {0xe1, 0xec, 0x80, 0xbf, 3}, {0xed, 0xed, 0x80, 0x9f, 3}, {0xee, 0xef, 0x80, 0xbf, 3},
    {0xf0, 0xf0, 0x90, 0xbf, 4}, {0xf1, 0xf3, 0x80, 0xbf, 4}, {0xf4, 0xf4, 0x80, 0x8f, 4},
};

unsigned char byte(std::string_view text, std::size_t place) {
    return static_cast<unsigned char>(text[place]);
}

template <typename Escape>
std::string with_escapes(std::string_view text, Escape escape) {
    std::string out;
    while (!text.empty()) {
        const std::size_t length = utf8_length(text);
        if (length == 0) {
            out += escape(byte(text, 0));
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return out;
}

}  // namespace

std::size_t utf8_length(std::string_view text) {
    if (text.empty()) return 0;
    for (const Form &form : kForms) {
        if (byte(text, 0) < form.first_low || byte(text, 0) > form.first_high) continue;
        if (text.size() < form.length) return 0;
        for (std::size_t i = 1; i < form.length; ++i) {
            const unsigned char low = i == 1 ? form.second_low : 0x80;
            const unsigned char high = i == 1 ? form.second_high : 0xbf;
            if (byte(text, i) < low || byte(text, i) > high) return 0;
        }
        return form.length;
    }
    return 0;
}

std::string utf8_text(std::string_view text) {
    return with_escapes(text, [](unsigned char b) { return fmt::format("\\x{:02x}", b); });
}

std::string json_path(std::string_view path) {
    return with_escapes(path, [](unsigned char b) {
        std::string escape = fmt::format("?{:02x}", b);
        escape[0] = '\0';
        return escape;
    });
}
