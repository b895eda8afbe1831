// Sizes that say too much or too little.
#ifndef TOOLS_REPAIR_SIZE_MEND_H
#define TOOLS_REPAIR_SIZE_MEND_H

#include <map>
#include <optional>
#include <vector>

#include "repair/mend.h"

// A size becomes what is there. Of a media chunk the index is asked, if there is one: where that
// tells no other size, a chunk never gets longer, since what follows it need not be its own.
class SizeMend : public Mend {
public:
    explicit SizeMend(const InputFile &file) : file_(file) {}

    void leave(const Chunk &list, Parents parents) override;
    void visit(const Chunk &chunk, Parents parents) override;
    std::vector<Edit> edits(const Seen &seen) override;

private:
    struct Wrong {
        Chunk chunk;
        std::string_view rule;
    };

    void look_at(const Chunk &chunk, Parents parents);
    [[nodiscard]] bool swallows_a_list(const Chunk &chunk) const;

    const InputFile &file_;
    std::vector<Wrong> wrong_;                // headers, lists and forms
    std::map<std::int64_t, Wrong> of_media_;  // by position
    std::optional<Chunk> index_;
    std::optional<Chunk> swallower_;
};

// Whether a chunk is followed by one byte that is neither its own nor a pad byte's.
[[nodiscard]] bool has_stray_byte(const Chunk &chunk);

#endif
