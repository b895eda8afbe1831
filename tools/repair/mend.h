// What all that mends has in common. A mend hears a walk of the file and says which bytes it would
// change; one answers one kind of trouble, and says nothing where that is not met.
#ifndef TOOLS_REPAIR_MEND_H
#define TOOLS_REPAIR_MEND_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "findings/examination.h"
#include "repair/edited_file.h"

// What is known of the file after the walk that a mend heard.
struct Seen {
    const InputFile &file;
    const Described &described;
    const MediaChecks &media;
    const std::vector<Finding> &findings;
    std::string_view refusal;  // the rule by which the reader refuses the original, or empty

    [[nodiscard]] bool found(std::string_view rule) const;
};

class Mend : public ChunkVisitor {
public:
    void visit(const Chunk & /*chunk*/, Parents /*parents*/) override {}

    // After the walk.
    [[nodiscard]] virtual std::vector<Edit> edits(const Seen &seen) = 0;
};

// So many places of a kind are looked after in a walk; the others' turn comes in the next.
inline constexpr std::size_t kMostAtOnce = 1000;

// ---- bytes

[[nodiscard]] std::string u32_bytes(std::uint32_t value);
[[nodiscard]] std::string fourcc_bytes(FourCC fourcc);
[[nodiscard]] std::string bytes_of(const InputFile &file, std::int64_t pos, std::size_t count);

// ---- edits

// The size field of a chunk.
[[nodiscard]] Edit size_edit(const Chunk &chunk, std::uint32_t size, std::string_view rule);

// A field of 4 bytes.
[[nodiscard]] Edit word_edit(std::int64_t pos, std::uint32_t value, std::string_view rule,
                             std::string what);

// An edit that makes the lists around it longer or shorter, and those lists' sizes. Nothing when
// one would be larger than a size can say.
[[nodiscard]] std::vector<Edit> resized(Edit edit, Parents parents);

#endif
