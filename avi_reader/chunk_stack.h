// The chunk stack: a node for each open form or list, and the steps of a walk over its sub-chunks.
#ifndef AVI_READER_CHUNK_STACK_H
#define AVI_READER_CHUNK_STACK_H

#include <cstdint>

#include "byte_stream.h"
#include "fourcc.h"
#include "record.h"
#include "refusal.h"

// One open "RIFF", "MRIF" or "LIST" chunk. Nodes link to their parents; the record points at the
// innermost.
struct ChunkNode {
    ChunkNode *parent;    // the enclosing chunk; null for the outermost form
    AviStream *stream;    // the record's stream, not owned
    std::int64_t start;   // position of the 8-byte header
    std::int64_t size;    // as the header declares it, 0..0xFFFFFFFF
    std::int64_t cursor;  // position of the next sub-chunk's header
    FourCC id;            // "RIFF", "MRIF" or "LIST"
    FourCC list_type;     // the form or list type
    AviStatus error;      // of the headers that its walk read; a failure ends the walk
    std::uint32_t depth;  // 1 for the outermost form
};

// Opens the form or list whose 12-byte header is at the stream's position, as a node on top of
// `top`, whose owner owns it. Fails, with the stack as it was, when there is no memory for a node
// or the header cannot be read.
[[nodiscard]] AviStatus avi_chunk_push(ChunkNode *&top, AviStream &stream);

// Visits the next sub-chunk: returns its id (0 when it could not be read) with the stream at its
// header, and moves the cursor past it and the pad byte of an odd size.
FourCC avi_chunk_next(ChunkNode &node);

// Whether the stream's position lies at or past the node's end. The end is measured from the
// header's start, so it comes 8 bytes before the true one, and it is the position that counts, not
// the cursor: what the reader of a sub-chunk left unread decides how far a walk goes.
[[nodiscard]] bool avi_chunk_at_end(const ChunkNode &node);

// One step of a walk: visits the next sub-chunk, unless the list is at its end or the last header
// could not be read. An `id` whose header was cut short is still visited.
[[nodiscard]] bool avi_walk(ChunkNode &node, FourCC &id);

// Frees a node and returns its parent, which may be null.
ChunkNode *avi_chunk_pop(ChunkNode *node);

// Frees a node and every parent of it; nothing for null.
void avi_chunk_free_all(ChunkNode *node);

// Opens the list at the stream's position as the record's innermost node. Refuses the file when
// that fails.
[[nodiscard]] AviStatus avi_enter_list(AviReaderState &reader);

// Leaves the record's innermost node.
void avi_leave_list(AviReaderState &reader);

#endif
