// Finds the chunk that is asked for: by a position, or by what it is to the reader.
#ifndef TOOLS_CHUNKS_NAMED_CHUNK_H
#define TOOLS_CHUNKS_NAMED_CHUNK_H

#include <cstdint>
#include <optional>
#include <vector>

#include "chunks/chunk_tree.h"

struct FoundChunk {
    Chunk chunk;
    std::vector<Chunk> parents;
};

// Who holds a byte of the file.
struct Holder {
    std::optional<FoundChunk> chunk;  // none for a byte between chunks, or lost
    std::int64_t end;                 // of what holds it; of a form or list, of its header
};

// The innermost chunk that holds the byte, in its header or in its payload.
[[nodiscard]] Holder holder_of(const InputFile &file, std::int64_t pos, const WalkOptions &options);

enum class Part {
    main_header,    // "avih"
    stream_header,  // "strh" and "strf" of a stream
    stream_data,    // "strd" of a stream
    data,           // "MTDA"
    menu,           // "MENU" of the first form
    form_menu,      // "MENU" of a menu form
    index,          // "idx1" of the first form
};

// The chunk or chunks that are this part: those that the reader keeps, and where it keeps none, or
// refuses the file (a null record), those that the file has. None for what it has not. The number
// is a stream's.
[[nodiscard]] std::vector<FoundChunk> find_part(const InputFile &file, const AviReaderState *reader,
                                                Part part, int number, const WalkOptions &options);

#endif
