#include "findings/sentences.h"

#include <fmt/format.h>

#include <algorithm>

#include "terminal/text.h"

std::string name_of_chunk(const Chunk &chunk) {
    if (chunk.type.value == 0) return fmt::format("the '{}' chunk", text_of(chunk.id));
    return fmt::format("the '{}' {}", text_of(chunk.type), is_form(chunk) ? "form" : "list");
}

std::string at(const Chunk &chunk) {
    return fmt::format("{} at 0x{:x}", name_of_chunk(chunk), chunk.pos);
}

std::string bytes_text(std::int64_t bytes) {
    return count_of(static_cast<std::uint64_t>(std::max<std::int64_t>(bytes, 0)), "byte");
}
