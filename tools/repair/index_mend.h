// The first form's index: where it lies, it is made anew from the chunks.
#ifndef TOOLS_REPAIR_INDEX_MEND_H
#define TOOLS_REPAIR_INDEX_MEND_H

#include <optional>
#include <string>
#include <vector>

#include "repair/index_entries.h"
#include "repair/mend.h"

// Entries that are right keep their flags, and an index of the same length is changed in place. An
// index is made of at most so many chunks, and only where their positions fit into its 32 bits.
class IndexMend : public Mend {
public:
    static constexpr std::size_t kMostChunks = std::size_t{4} << 20;

    void leave(const Chunk &list, Parents parents) override;
    void visit(const Chunk &chunk, Parents parents) override;
    std::vector<Edit> edits(const Seen &seen) override;

private:
    struct Media {
        std::int64_t pos;
        FourCC id;
        std::uint32_t size;
    };

    [[nodiscard]] std::string_view trouble(const Seen &seen) const;
    [[nodiscard]] const Media *at(std::int64_t pos) const;
    [[nodiscard]] std::int64_t origin(const Seen &seen) const;
    [[nodiscard]] std::vector<std::optional<std::uint32_t>> kept_flags(const Seen &seen,
                                                                       std::int64_t origin) const;
    [[nodiscard]] static std::uint32_t new_flags(const Seen &seen, const Media &media);
    [[nodiscard]] std::optional<std::string> content(const Seen &seen) const;
    [[nodiscard]] std::vector<Edit> inserted(const std::string &content) const;
    [[nodiscard]] std::vector<Edit> replaced(const Seen &seen, const std::string &content,
                                             std::string_view rule) const;

    std::vector<Media> media_;  // of the first form, in file order
    bool too_many_ = false;
    std::optional<Chunk> index_;
    std::optional<Chunk> form_;
    std::int64_t last_end_ = 0;  // of the last chunk that is directly in it
};

#endif
