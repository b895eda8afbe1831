// What the reader kept of each chunk, read off its record by the chunk's position.
#ifndef TOOLS_FINDINGS_KEPT_H
#define TOOLS_FINDINGS_KEPT_H

#include <cstdint>
#include <string>
#include <unordered_map>

#include "chunks/chunk_tree.h"

class Kept {
public:
    // A null record keeps nothing.
    explicit Kept(const AviReaderState *reader);

    // "stream 0: video", "position", ..., and empty for a chunk of which nothing is kept. To be
    // asked for each chunk in file order: streams are told by counting their lists.
    std::string of(const Chunk &chunk, Parents parents);

private:
    std::string of_header_list(const Chunk &chunk, Parents parents);
    [[nodiscard]] std::string of_stream_chunk(const Chunk &chunk) const;

    const AviReaderState *reader_;
    std::unordered_map<std::int64_t, std::string> marks_;  // by the position of the chunk's header
    std::int32_t streams_ = 0;
    bool main_header_ = false;
};

#endif
