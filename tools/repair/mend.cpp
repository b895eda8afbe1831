#include "repair/mend.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "findings/sentences.h"

bool Seen::found(std::string_view rule) const {
    return std::any_of(findings.begin(), findings.end(),
                       [rule](const Finding &finding) { return finding.rule->id == rule; });
}

std::string u32_bytes(std::uint32_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xFF);
    return bytes;
}

std::string fourcc_bytes(FourCC fourcc) {
    return u32_bytes(fourcc.value);
}

std::string bytes_of(const InputFile &file, std::int64_t pos, std::size_t count) {
    std::string bytes(count, '\0');
    bytes.resize(file.read(reinterpret_cast<unsigned char *>(bytes.data()), count, pos));
    return bytes;
}

Edit word_edit(std::int64_t pos, std::uint32_t value, std::string_view rule, std::string what) {
    return {pos, 4, u32_bytes(value), rule, std::move(what)};
}

Edit size_edit(const Chunk &chunk, std::uint32_t size, std::string_view rule) {
    return word_edit(chunk.pos + 4, size, rule, "the size of " + name_of_chunk(chunk));
}

std::vector<Edit> resized(Edit edit, Parents parents) {
    const std::int64_t growth = static_cast<std::int64_t>(edit.added.size()) - edit.removed;
    std::vector<Edit> edits;
    for (const Chunk &list : parents) {
        const std::int64_t size = list.declared + growth;
        if (size < 0 || size > std::numeric_limits<std::uint32_t>::max()) return {};
        edits.push_back(size_edit(list, static_cast<std::uint32_t>(size), edit.rule));
    }
    edits.push_back(std::move(edit));
    return edits;
}
