#include "commands/tree_filter.h"

#include <charconv>
#include <string_view>

#include "terminal/failure.h"
#include "terminal/text.h"

namespace {

bool parse_byte(std::string_view digits, unsigned char &byte) {
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    return result.ec == std::errc() && result.ptr == digits.data() + digits.size();
}

[[noreturn]] void fail(const std::string &text, const char *wanted) {
    throw Failure(Exit::usage, "--id " + text_of(text) + ": " + wanted);
}

bool holds(std::int64_t pos, std::int64_t end, std::optional<std::int64_t> at) {
    return !at || (pos <= *at && *at < end);
}

}  // namespace

bool TreeChoice::shows(const Chunk &chunk, Parents parents) const {
    const bool deep = depth && parents.size() >= *depth;
    const bool other = id && chunk.id.value != id->value && chunk.type.value != id->value;
    return !deep && !other && holds(chunk.pos, chunk.end(), at);
}

bool TreeChoice::shows_lost(std::int64_t pos, std::int64_t size, Parents parents) const {
    const bool deep = depth && parents.size() >= *depth;
    return !deep && !id && holds(pos, pos + size, at);
}

FourCC id_from_text(const std::string &text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned char byte = static_cast<unsigned char>(text[i]);
        if (text.compare(i, 2, "\\x") == 0) {
            if (i + 4 > text.size() || !parse_byte(std::string_view(text).substr(i + 2, 2), byte)) {
                fail(text, "an escape is \\x and two hexadecimal digits");
            }
            i += 3;
        }
        bytes += static_cast<char>(byte);
    }
    if (bytes.empty() || bytes.size() > 4) fail(text, "an id has 1 to 4 characters");
    bytes.resize(4, ' ');
    return {avi_get_u32le(reinterpret_cast<const unsigned char *>(bytes.data()))};
}
