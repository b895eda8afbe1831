// The mistakes that the format invites: where things lie, how they are spelt, and what is padded.
// Told from the file alone, so also of files that the reader refuses.
#ifndef TOOLS_FINDINGS_EXTENSION_CHECKS_H
#define TOOLS_FINDINGS_EXTENSION_CHECKS_H

#include <cstdint>
#include <optional>

#include "findings/described.h"
#include "findings/finding.h"

// The name that was meant where a chunk's or list's is one letter away from it, or null.
[[nodiscard]] const char *meant_name(const Chunk &chunk, Parents parents);
// The same of a stream's type.
[[nodiscard]] const char *meant_stream_type(FourCC type);

// The place of a chunk in a stream list's order, or -1.
[[nodiscard]] int order_in_stream_list(const Chunk &chunk);

class ExtensionChecks : public ChunkVisitor {
public:
    ExtensionChecks(const Described &described, Findings &findings)
        : described_(described), findings_(findings) {}

    void enter(const Chunk &list, Parents parents) override;
    void leave(const Chunk &list, Parents parents) override;
    void visit(const Chunk &chunk, Parents parents) override;
    void finish();

private:
    void check_place(const Chunk &chunk, Parents parents);
    void check_spelling(const Chunk &chunk, Parents parents);
    void check_padding(const Chunk &chunk, Parents parents);
    void check_stream_chunk(const Chunk &chunk);
    void check_format_length(const Chunk &format);

    const Described &described_;
    Findings &findings_;
    std::optional<Chunk> menu_form_;
    std::optional<Chunk> last_in_menu_;
    std::optional<Chunk> last_in_stream_;
    std::optional<Chunk> long_format_;
    int order_ = 0;  // of the chunk of the stream list that came last
    bool list_has_chunk_ = false;
};

#endif
