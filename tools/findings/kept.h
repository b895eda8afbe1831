// What the reader kept of each chunk, read off its record by the chunk's position.
#ifndef TOOLS_FINDINGS_KEPT_H
#define TOOLS_FINDINGS_KEPT_H

#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>

#include "chunks/chunk_tree.h"

class Kept {
public:
    // A null record keeps nothing.
    explicit Kept(const AviReaderState *reader);

    // "stream 0: video", "position", ..., and empty for a chunk of which nothing is kept. To be
    // asked for each chunk in file order.
    std::string of(const Chunk &chunk, Parents parents);

    // Whether the chunk is one that the reader takes elsewhere, and nothing of this one is kept. To
    // be asked after `of`, and for a file that opens.
    [[nodiscard]] bool passed_over(const Chunk &chunk, Parents parents) const;

private:
    [[nodiscard]] bool was_read(const Chunk &header_list) const;
    std::string of_header_list(const Chunk &chunk, Parents parents);
    std::string of_stream_chunk(const Chunk &chunk, std::int32_t number);

    const AviReaderState *reader_;
    std::unordered_map<std::int64_t, std::string> marks_;  // by the position of the chunk's header
    std::int32_t stream_ = -1;                             // whose list was asked of last
    std::set<std::uint32_t> seen_;                         // ids in it
};

// The number of the stream whose "strl" list has its header there, or -1.
[[nodiscard]] std::int32_t stream_of_list(const AviReaderState &reader, std::int64_t list_pos);

// Whether this "strd" chunk is the one that the stream's row keeps.
[[nodiscard]] bool keeps_stream_data(const AviReaderState &reader, std::int32_t stream,
                                     const Chunk &chunk);

#endif
