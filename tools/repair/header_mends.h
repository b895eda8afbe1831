// The headers of the first form: how they are spelt, where they stand, and what they say of their
// own length.
#ifndef TOOLS_REPAIR_HEADER_MENDS_H
#define TOOLS_REPAIR_HEADER_MENDS_H

#include <vector>

#include "repair/families.h"

// Names that are one letter away from the one that was meant.
class SpellingMend : public Mend {
public:
    void enter(const Chunk &list, Parents parents) override { look_at(list, parents); }
    void visit(const Chunk &chunk, Parents parents) override { look_at(chunk, parents); }
    std::vector<Edit> edits(const Seen &seen) override;

private:
    void look_at(const Chunk &chunk, Parents parents);

    std::vector<Edit> edits_;
};

// The chunk that a list has to begin with: it has lost its name, or stands further behind. And the
// chunks of a stream list, which are found in one order only.
class OrderMend : public FamilyMend {
public:
    std::vector<Edit> edits(const Seen &seen) override;
};

// Pad bytes that are missing where the reader counts with them, or there where it does not.
class PadMend : public FamilyMend {
public:
    std::vector<Edit> edits(const Seen &seen) override;
};

// A video format declares another size than its chunk, or a name of odd length hides what follows.
class LengthMend : public FamilyMend {
public:
    std::vector<Edit> edits(const Seen &seen) override;
};

#endif
