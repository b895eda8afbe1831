// The standard indexes among the media, and the super indexes that lead to them. Their positions
// are set right where they lie; none is made that was never there.
#ifndef TOOLS_REPAIR_SUPER_INDEX_MEND_H
#define TOOLS_REPAIR_SUPER_INDEX_MEND_H

#include <array>
#include <cstdint>
#include <vector>

#include "repair/mend.h"

class SuperIndexMend : public Mend {
public:
    explicit SuperIndexMend(const InputFile &file) : file_(file) {}

    void visit(const Chunk &chunk, Parents parents) override;
    std::vector<Edit> edits(const Seen &seen) override;

private:
    static constexpr std::size_t kMostChunks = std::size_t{4} << 20;
    static constexpr std::size_t kMostIndexes = 65536;

    struct Media {
        std::int64_t pos;
        std::uint32_t size;
    };
    struct Standard {
        std::int64_t pos;
        std::uint32_t size;
        std::uint32_t entries;
    };

    void add_media(const Chunk &chunk);
    void add_standard(const Chunk &chunk, Parents parents);
    void check_standard(const Chunk &chunk, const Chunk &list, const std::vector<Media> &media);
    void check_super(const Chunk &chunk);

    const InputFile &file_;
    std::vector<Chunk> supers_;
    std::array<std::vector<Media>, 100> media_;  // of each stream, since its last standard index
    std::array<std::vector<Standard>, 100> standards_;
    std::size_t kept_ = 0;  // of both
    std::vector<Edit> edits_;
};

#endif
