// What the headers count: streams, frames, lengths, and the largest chunk.
#ifndef TOOLS_REPAIR_COUNT_MEND_H
#define TOOLS_REPAIR_COUNT_MEND_H

#include <vector>

#include "repair/mend.h"

class CountMend : public Mend {
public:
    std::vector<Edit> edits(const Seen &seen) override;
};

#endif
