// Every index of a file against the chunks that it leads to: the first form's "idx1", the standard
// indexes among the media and the super indexes of the streams.
//
// An entry is held against the chunk header at its place, so nothing is kept of the chunks, however
// many there are; that each chunk has its entry is told by their number and order.
#ifndef TOOLS_FINDINGS_INDEX_CHECKS_H
#define TOOLS_FINDINGS_INDEX_CHECKS_H

#include <array>
#include <cstdint>
#include <optional>

#include "findings/described.h"
#include "findings/finding.h"
#include "findings/media_checks.h"

class IndexChecks : public ChunkVisitor {
public:
    IndexChecks(const InputFile &file, const Described &described, const MediaChecks &media,
                Findings &findings)
        : file_(file), described_(described), media_(media), findings_(findings) {}

    void visit(const Chunk &chunk, Parents parents) override;
    void finish();

    [[nodiscard]] std::uint64_t entries() const { return entries_; }

private:
    static constexpr std::size_t kIndexHeader =
        size_of(layout::kSuperIndex);  // of standard and super indexes

    // What an index says of a chunk.
    struct Entry {
        std::int64_t pos;     // of the entry itself
        FourCC id;            // of the chunk that it names
        std::uint32_t flags;  // of "idx1"
        std::int64_t target;  // position of the chunk's header
        std::uint32_t size;
        bool zero;
    };
    struct Header {
        FourCC id;
        std::uint32_t size;
    };
    // Of one index, while its entries are gone through.
    struct Progress {
        std::array<std::int64_t, 100> last{};  // target by stream
        std::uint64_t zeroed = 0;
        std::int64_t first_zeroed = 0;
        bool video = false;
        bool key = false;
    };

    [[nodiscard]] std::optional<Header> header_at(std::int64_t pos) const;
    template <typename Use>
    void for_each_record(std::int64_t pos, std::uint64_t count, std::size_t size, Use use) const;
    [[nodiscard]] static Entry entry_of(const unsigned char *bytes, std::int64_t pos,
                                        std::int64_t origin);
    [[nodiscard]] bool leads(const Entry &entry) const;
    [[nodiscard]] std::optional<std::int64_t> origin_of(const Chunk &index) const;
    void check_first_index();
    void check_entries(const Chunk &index, std::int64_t origin);
    void check_entry(const Entry &entry, Progress &progress);
    void check_order(const Entry &entry, Progress &progress);
    void check_target(const Entry &entry);
    void check_count(const Chunk &index);
    // False, and a finding, when the chunk does not hold it.
    bool read_index_header(const Chunk &chunk, unsigned char (&header)[kIndexHeader]);
    void check_standard_index(const Chunk &chunk);
    void check_super_index(const Chunk &chunk);
    std::uint32_t check_super_entry(const unsigned char *bytes, std::int64_t pos, FourCC chunks);
    void check_super_count(const Chunk &chunk, FourCC chunks, std::uint64_t led_to);

    const InputFile &file_;
    const Described &described_;
    const MediaChecks &media_;
    Findings &findings_;
    std::optional<Chunk> first_index_;
    struct SuperIndex {
        Chunk chunk;
        FourCC chunks;  // that its indexes lead to
        std::uint64_t led_to;
    };
    std::vector<SuperIndex> super_indexes_;
    std::uint64_t entries_ = 0;
};

#endif
