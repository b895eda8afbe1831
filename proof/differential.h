// The library and the second reader on the same bytes, side by side.
#ifndef PROOF_DIFFERENTIAL_H
#define PROOF_DIFFERENTIAL_H

#include <cstdint>
#include <span>
#include <string>

// A call on an open handle.
struct Step {
    enum class Kind { read, seek };
    Kind kind;
    std::int32_t value;  // bytes to read, or an offset
    int whence;
};

// Opens the file with both, with either option, and compares the whole record, the lists that are
// open, the answers to queries and the position, or the reason and place of a refusal. Then opens
// it through the service, makes the calls, asks for the position after each, closes, and compares
// every result, every byte and every message. The first difference in words, or an empty string
// when they agree and the library has left nothing behind and done work in proportion to the file.
std::string difference(std::span<const std::uint8_t> file, std::span<const Step> steps);

#endif
