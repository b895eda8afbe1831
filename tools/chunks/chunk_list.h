// All chunks of a file, kept: 40 bytes for each, whatever they hold.
#ifndef TOOLS_CHUNKS_CHUNK_LIST_H
#define TOOLS_CHUNKS_CHUNK_LIST_H

#include <cstdint>
#include <vector>

#include "chunks/chunk_tree.h"

// Forms and lists stand before what they hold, as in the file.
class ChunkList : public ChunkVisitor {
public:
    explicit ChunkList(const InputFile &file) : file_(file) {}

    void enter(const Chunk &list, Parents parents) override;
    void leave(const Chunk &list, Parents parents) override;
    void visit(const Chunk &chunk, Parents parents) override;
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override;

    [[nodiscard]] const InputFile &file() const { return file_; }
    [[nodiscard]] std::size_t size() const { return nodes_.size(); }

    // Lost bytes have no header, and no id: their size is all that they declare.
    [[nodiscard]] bool is_lost(std::size_t i) const { return nodes_[i].lost; }
    [[nodiscard]] bool is_list(std::size_t i) const { return nodes_[i].type.value != 0; }
    [[nodiscard]] std::size_t depth(std::size_t i) const { return nodes_[i].depth; }
    [[nodiscard]] Chunk chunk(std::size_t i) const;
    [[nodiscard]] std::vector<Chunk> parents(std::size_t i) const;

    // What is its own behind its header: its payload and the pad behind it, up to the next chunk;
    // of a form or list no chunk in it.
    [[nodiscard]] std::int64_t content(std::size_t i) const;
    [[nodiscard]] std::int64_t content_end(std::size_t i) const;

    // The first that is not in this form or list.
    [[nodiscard]] std::size_t after(std::size_t i) const;

private:
    struct Node {
        std::int64_t pos;
        std::int64_t held;
        FourCC id;
        FourCC type;
        std::uint32_t declared;
        std::uint32_t parent;  // kNone at the top level
        std::uint8_t depth;
        bool lost;
    };
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    void add(const Chunk &chunk, bool lost);

    const InputFile &file_;
    std::vector<Node> nodes_;
    std::vector<std::uint32_t> open_;  // forms and lists whose chunks are being visited
};

#endif
