// What `repair` prints of a file: for people, and as JSON.
#ifndef TOOLS_COMMANDS_REPAIR_REPORT_H
#define TOOLS_COMMANDS_REPAIR_REPORT_H

#include <string>

#include "repair/plan.h"

enum class RepairOutcome {
    sound,   // nothing is to be changed
    mended,  // something is, and the reader takes the result
    beyond,  // it cannot be mended
};

struct RepairReport {
    std::string file;
    std::string output;  // empty for none
    bool dry_run = false;
};

[[nodiscard]] RepairOutcome outcome_of(const Plan &plan);

// Why it cannot be mended; empty for a file that can.
[[nodiscard]] std::string why_beyond(const Plan &plan);

// Several lines.
[[nodiscard]] std::string repair_text(const RepairReport &report, const Plan &plan);

// One line.
[[nodiscard]] std::string repair_json(const RepairReport &report, const Plan &plan);

#endif
