// A file's chunks in file order, whether or not the reader would open it: each with where it lies,
// the size that it declares and the size that there is.
//
// Nothing is stored. A visitor sees each chunk once, with the lists around it; so half a million
// chunks take no more memory than ten. The position only moves forward, by 8 bytes at least, so the
// work is in proportion to the file whatever sizes it declares.
//
// Payloads are not read, but where a size leads to no chunk: there the next chunk is searched for,
// so that one wrong size does not hide the rest of the file.
#ifndef TOOLS_CHUNKS_CHUNK_TREE_H
#define TOOLS_CHUNKS_CHUNK_TREE_H

#include <cstdint>
#include <functional>
#include <span>

#include "avi_reader/avi_reader.h"
#include "chunks/input_file.h"

struct Chunk {
    std::int64_t pos;  // of its 8-byte header
    FourCC id;
    FourCC type;             // of a form or list; 0 for what is none
    std::uint32_t declared;  // size of the payload as the header says
    std::int64_t held;       // bytes of it that lie within what holds the chunk, and in the file
    bool misleads = false;   // what follows it does not begin where its size says

    [[nodiscard]] std::int64_t payload() const { return pos + 8; }
    [[nodiscard]] std::int64_t end() const { return payload() + held; }
    [[nodiscard]] bool cut_short() const { return held < declared; }
};

// The forms and lists around a chunk, the outermost first.
using Parents = std::span<const Chunk>;

// Hears what the walk comes by, in the order of the file.
class ChunkVisitor {
public:
    virtual ~ChunkVisitor() = default;
    // A form or list, before and after what it holds. Of one that misleads, where it ends is known
    // only after: `held` is then another.
    virtual void enter(const Chunk & /*list*/, Parents /*parents*/) {}
    virtual void leave(const Chunk & /*list*/, Parents /*parents*/) {}
    // A chunk without chunks of its own.
    virtual void visit(const Chunk &chunk, Parents parents) = 0;
    // Bytes at the end of the file, a form or a list that are too few for a chunk.
    virtual void lost(std::int64_t /*pos*/, std::int64_t /*size*/, Parents /*parents*/) {}
    // Zeros where a chunk should begin, and what follows them up to the next chunk.
    virtual void hole(std::int64_t pos, std::int64_t size, Parents parents) {
        lost(pos, size, parents);
    }
};

struct WalkOptions {
    std::function<void(std::int64_t)> on_progress;  // called with the position after each chunk
    std::function<bool()> stop;                     // asked before each chunk
};

// Lists nested deeper are visited as chunks.
inline constexpr std::size_t kDeepestList = 64;

// Walks the whole file. False when it was stopped.
bool walk_chunks(const InputFile &file, ChunkVisitor &visitor, const WalkOptions &options = {});

// Whether a form or list is the one of that type.
[[nodiscard]] bool is_list(const Chunk &chunk, const char *type);
[[nodiscard]] bool is_chunk(const Chunk &chunk, const char *id);

// Whether it is a "RIFF" or "MRIF" chunk, a form where it stands at the top level.
[[nodiscard]] bool is_form(const Chunk &chunk);

// Whether it is the index of a form.
[[nodiscard]] bool is_index(const Chunk &chunk);

// Whether a chunk directly inside these parents carries media: in a "movi" list, or a "rec " list.
[[nodiscard]] bool holds_media(Parents parents);

// What a chunk is, in words: "main header", "compressed video", "unknown".
[[nodiscard]] const char *chunk_words(const Chunk &chunk, Parents parents);

// The number of the stream that an id names ("01wb"), or -1.
[[nodiscard]] int stream_number(FourCC id);

#endif
