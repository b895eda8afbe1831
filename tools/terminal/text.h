// Bytes, sizes and times as people and programs read them.
#ifndef TOOLS_TERMINAL_TEXT_H
#define TOOLS_TERMINAL_TEXT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "avi_reader/avi_reader.h"

// The bytes as text: what is not printable ASCII, and the backslash, stands as \xNN.
std::string text_of(std::string_view bytes);
std::string text_of(FourCC fourcc);

// For people: UTF-8 as it is, but for characters that steer a terminal; other bytes as \xNN.
std::string readable(std::string_view bytes);

// Lower-case hexadecimal digits, without spaces.
std::string hex_of(std::span<const unsigned char> bytes);

// A path as it is, but for control characters, which stand as \xNN: it stays on its line.
std::string path_text(std::string_view path);

// "1,234,567"
std::string with_commas(std::uint64_t number);

// "1,234 bytes", "1 byte"
std::string count_of(std::uint64_t number, std::string_view thing);

// "512 bytes", "34.5 KiB", "1.20 GiB"
std::string size_text(std::uint64_t bytes);

// "0:02.00", "1:02:03.50"
std::string time_text(double seconds);

// The number with as many decimals as it needs, three at most: "25", "29.97".
std::string short_number(double number);

#endif
