// Among the media: the ids of chunks, and zeros where a chunk should begin. Payloads stay as they
// are.
#ifndef TOOLS_REPAIR_MEDIA_MEND_H
#define TOOLS_REPAIR_MEDIA_MEND_H

#include <map>
#include <optional>
#include <vector>

#include "repair/mend.h"

// An id becomes what the index says, where that is one that can be.
class IdMend : public Mend {
public:
    explicit IdMend(const Described &described) : described_(described) {}

    void visit(const Chunk &chunk, Parents parents) override;
    std::vector<Edit> edits(const Seen &seen) override;

private:
    const Described &described_;
    std::map<std::int64_t, Chunk> odd_;  // by position
    std::optional<Chunk> index_;
};

// A hole becomes a filler, which players step over.
class HoleMend : public Mend {
public:
    void hole(std::int64_t pos, std::int64_t size, Parents parents) override;
    std::vector<Edit> edits(const Seen & /*seen*/) override { return std::move(edits_); }

private:
    std::vector<Edit> edits_;
};

#endif
