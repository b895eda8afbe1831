// The lists of a file's headers and extensions, each with the chunks in it.
#ifndef TOOLS_REPAIR_FAMILIES_H
#define TOOLS_REPAIR_FAMILIES_H

#include <vector>

#include "repair/mend.h"

// A form or list, and what is directly in it.
struct Family {
    std::vector<Chunk> path;  // of the form, ..., and the list
    std::vector<Chunk> children;

    [[nodiscard]] const Chunk &list() const { return path.back(); }
    [[nodiscard]] bool in_first_form() const { return path.front().pos == 0; }
};

// A mend that looks at lists, media aside.
class FamilyMend : public Mend {
public:
    void enter(const Chunk &list, Parents parents) final;
    void leave(const Chunk &list, Parents parents) final;
    void visit(const Chunk &chunk, Parents parents) final;

protected:
    [[nodiscard]] const std::vector<Family> &families() const { return families_; }

private:
    void add_child(const Chunk &chunk, Parents parents);

    std::vector<Family> families_;
    std::vector<std::size_t> open_;  // those that the walk is in
};

#endif
