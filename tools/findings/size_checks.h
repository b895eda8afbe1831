// Whether sizes are true: of chunks, lists and forms, against each other and against the file.
#ifndef TOOLS_FINDINGS_SIZE_CHECKS_H
#define TOOLS_FINDINGS_SIZE_CHECKS_H

#include <cstdint>
#include <optional>
#include <string_view>

#include "chunks/chunk_tree.h"
#include "findings/finding.h"

// The rule that a chunk's size breaks, or empty.
[[nodiscard]] std::string_view size_rule(const Chunk &chunk, Parents parents,
                                         std::int64_t file_size);

class SizeChecks : public ChunkVisitor {
public:
    SizeChecks(const InputFile &file, Findings &findings)
        : file_size_(file.size()), findings_(findings) {}

    void enter(const Chunk &list, Parents parents) override;
    void leave(const Chunk &list, Parents parents) override;
    void visit(const Chunk &chunk, Parents parents) override;
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override;
    void hole(std::int64_t pos, std::int64_t size, Parents parents) override;

private:
    void check_form(const Chunk &form, const Chunk &first);
    void check_size(const Chunk &chunk, Parents parents);

    std::int64_t file_size_;
    Findings &findings_;
    std::optional<Chunk> last_form_;
};

#endif
