#include "commands/tree_filter.h"

#include <charconv>
#include <string_view>

#include "terminal/failure.h"
#include "terminal/text.h"

namespace {

template <typename Number>
bool parse(std::string_view text, int base, Number &number) {
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, base);
    return result.ec == std::errc() && result.ptr == end;
}

[[noreturn]] void fail(const char *option, const std::string &text, const char *wanted) {
    throw Failure(Exit::usage, std::string(option) + " " + text_of(text) + ": " + wanted);
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
            if (i + 4 > text.size() || !parse(std::string_view(text).substr(i + 2, 2), 16, byte)) {
                fail("--id", text, "an escape is \\x and two hexadecimal digits");
            }
            i += 3;
        }
        bytes += static_cast<char>(byte);
    }
    if (bytes.empty() || bytes.size() > 4) fail("--id", text, "an id has 1 to 4 characters");
    bytes.resize(4, ' ');
    return {avi_get_u32le(reinterpret_cast<const unsigned char *>(bytes.data()))};
}

std::int64_t offset_from_text(const std::string &text) {
    const bool hexadecimal = text.starts_with("0x");
    std::int64_t offset = -1;
    const std::string_view digits = std::string_view(text).substr(hexadecimal ? 2 : 0);
    const bool parsed = parse(digits, hexadecimal ? 16 : 10, offset);
    if (!parsed || offset < 0) fail("--at", text, "a position is a number, like 1234 or 0x4d2");
    return offset;
}
