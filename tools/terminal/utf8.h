// Bytes that may be UTF-8, for places where nothing else may stand: JSON and pages.
#ifndef TOOLS_TERMINAL_UTF8_H
#define TOOLS_TERMINAL_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

// Bytes of the character that the text begins with, 0 where it begins with none.
[[nodiscard]] std::size_t utf8_length(std::string_view text);

// The text, with each byte that is not UTF-8 as \xNN.
[[nodiscard]] std::string utf8_text(std::string_view text);

// A path for JSON: as it is where it is UTF-8, and each byte that is not as a NUL and two
// hexadecimal digits. No path holds a NUL, so two paths never come out alike.
[[nodiscard]] std::string json_path(std::string_view path);

#endif
