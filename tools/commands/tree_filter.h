// Which of a file's chunks a tree shows.
#ifndef TOOLS_COMMANDS_TREE_FILTER_H
#define TOOLS_COMMANDS_TREE_FILTER_H

#include <cstdint>
#include <optional>
#include <string>

#include "chunks/chunk_tree.h"

struct TreeChoice {
    std::optional<std::size_t> depth;  // so many levels, 1 for the forms alone
    std::optional<FourCC> id;          // chunks of that id, and lists and forms of that type
    std::optional<std::int64_t> at;    // what holds the byte there

    [[nodiscard]] bool shows(const Chunk &chunk, Parents parents) const;
    [[nodiscard]] bool shows_lost(std::int64_t pos, std::int64_t size, Parents parents) const;
};

// The id written as the tree writes it, "rec" or "\x00dc": padded with spaces. Throws Failure
// (usage) for what is none.
[[nodiscard]] FourCC id_from_text(const std::string &text);

// Hands on what is shown.
class TreeFilter : public ChunkVisitor {
public:
    TreeFilter(const TreeChoice &choice, ChunkVisitor &tree) : choice_(choice), tree_(tree) {}

    void enter(const Chunk &list, Parents parents) override {
        if (choice_.shows(list, parents)) tree_.enter(list, parents);
    }
    void leave(const Chunk &list, Parents parents) override {
        if (choice_.shows(list, parents)) tree_.leave(list, parents);
    }
    void visit(const Chunk &chunk, Parents parents) override {
        if (choice_.shows(chunk, parents)) tree_.visit(chunk, parents);
    }
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override {
        if (choice_.shows_lost(pos, size, parents)) tree_.lost(pos, size, parents);
    }
    void hole(std::int64_t pos, std::int64_t size, Parents parents) override {
        if (choice_.shows_lost(pos, size, parents)) tree_.hole(pos, size, parents);
    }

private:
    const TreeChoice &choice_;
    ChunkVisitor &tree_;
};

#endif
