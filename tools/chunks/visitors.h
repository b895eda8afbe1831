// Several that hear one walk.
#ifndef TOOLS_CHUNKS_VISITORS_H
#define TOOLS_CHUNKS_VISITORS_H

#include <initializer_list>
#include <vector>

#include "chunks/chunk_tree.h"

// Each hears everything, in the order in which they were added.
class Visitors : public ChunkVisitor {
public:
    Visitors(std::initializer_list<ChunkVisitor *> visitors) : visitors_(visitors) {}

    void add(ChunkVisitor &visitor) { visitors_.push_back(&visitor); }

    void enter(const Chunk &list, Parents parents) override {
        for (ChunkVisitor *visitor : visitors_) visitor->enter(list, parents);
    }
    void leave(const Chunk &list, Parents parents) override {
        for (ChunkVisitor *visitor : visitors_) visitor->leave(list, parents);
    }
    void visit(const Chunk &chunk, Parents parents) override {
        for (ChunkVisitor *visitor : visitors_) visitor->visit(chunk, parents);
    }
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override {
        for (ChunkVisitor *visitor : visitors_) visitor->lost(pos, size, parents);
    }
    void hole(std::int64_t pos, std::int64_t size, Parents parents) override {
        for (ChunkVisitor *visitor : visitors_) visitor->hole(pos, size, parents);
    }

private:
    std::vector<ChunkVisitor *> visitors_;
};

#endif
