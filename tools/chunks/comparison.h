// How the chunks of two files differ.
#ifndef TOOLS_CHUNKS_COMPARISON_H
#define TOOLS_CHUNKS_COMPARISON_H

#include <cstdint>
#include <vector>

#include "chunks/chunk_list.h"

enum class Change : std::uint8_t { changed, missing, added, moved };

// A chunk of either file, or of both, by its number in the lists.
struct Difference {
    Change change;
    std::uint32_t first;   // nothing for what was added
    std::uint32_t second;  // nothing for what is missing
    // Changed in its header alone: all bytes behind it are the same, also where for this header
    // they are other chunks, or no chunks.
    bool header_alone = false;
};

// Bytes of two files, held against each other.
struct ByteDifference {
    std::uint64_t bytes = 0;   // that differ, of those that both have
    std::int64_t offset = -1;  // of the first of them, from where both begin
};

struct Span {
    std::int64_t begin;
    std::int64_t end;
    [[nodiscard]] std::int64_t size() const { return end - begin; }
};

// Of the bytes that both spans have. Where both files keep no bytes but zeros, nothing is read.
// Ends after the first difference when not all of them are to be counted.
ByteDifference compare_bytes(const InputFile &first, Span a, const InputFile &second, Span b,
                             bool count_all);

// Holds every chunk of the first list against one of the second, in the order of both; their
// contents too. Where they part, the nearest place at which both go on alike is looked for. The
// work is in proportion to the files, also when nothing in them is alike. The differences come in
// the order of the first file. Ends early when told to stop.
std::vector<Difference> compare_chunks(const ChunkList &first, const ChunkList &second,
                                       const WalkOptions &options);

#endif
