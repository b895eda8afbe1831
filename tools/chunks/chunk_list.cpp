#include "chunks/chunk_list.h"

#include <algorithm>

void ChunkList::add(const Chunk &chunk, bool lost) {
    nodes_.push_back({chunk.pos, chunk.held, chunk.id, chunk.type, chunk.declared,
                      open_.empty() ? kNone : open_.back(), static_cast<std::uint8_t>(open_.size()),
                      lost});
}

void ChunkList::enter(const Chunk &list, Parents /*parents*/) {
    add(list, false);
    open_.push_back(static_cast<std::uint32_t>(nodes_.size() - 1));
}

void ChunkList::leave(const Chunk &list, Parents /*parents*/) {
    nodes_[open_.back()].held = list.held;
    open_.pop_back();
}

void ChunkList::visit(const Chunk &chunk, Parents /*parents*/) {
    add(chunk, false);
}

void ChunkList::lost(std::int64_t pos, std::int64_t size, Parents /*parents*/) {
    add({pos, {}, {}, 0, size}, true);
}

Chunk ChunkList::chunk(std::size_t i) const {
    const Node &node = nodes_[i];
    return {node.pos, node.id, node.type, node.declared, node.held};
}

std::vector<Chunk> ChunkList::parents(std::size_t i) const {
    std::vector<Chunk> parents;
    for (std::uint32_t p = nodes_[i].parent; p != kNone; p = nodes_[p].parent) {
        parents.push_back(chunk(p));
    }
    std::reverse(parents.begin(), parents.end());
    return parents;
}

std::int64_t ChunkList::content(std::size_t i) const {
    if (is_lost(i)) return nodes_[i].pos;
    return nodes_[i].pos + (is_list(i) ? kListHeaderSize : kChunkHeaderSize);
}

std::int64_t ChunkList::content_end(std::size_t i) const {
    const std::int64_t next = i + 1 < size() ? nodes_[i + 1].pos : file_.size();
    return std::clamp(next, content(i), std::max(content(i), file_.size()));
}

std::size_t ChunkList::after(std::size_t i) const {
    std::size_t next = i + 1;
    while (next < size() && nodes_[next].depth > nodes_[i].depth) ++next;
    return next;
}
