// What `check` prints of a file and of the catalogue: for people, as JSON and as SARIF.
#ifndef TOOLS_COMMANDS_CHECK_REPORT_H
#define TOOLS_COMMANDS_CHECK_REPORT_H

#include <string>
#include <vector>

#include "findings/examination.h"
#include "terminal/failure.h"

struct Diagnosis {
    std::string file;
    Exit status = Exit::success;  // success, refused or unreadable
    std::string sentence = "opens";
    AviRefusal refusal{};
    std::int64_t refused_at = -1;
    std::vector<Finding> findings;
    Examined examined;
    std::vector<const Rule *> mended;  // those that `repair` mends in this file

    [[nodiscard]] bool opened() const { return status == Exit::success; }
    // Whether an error or a warning was found.
    [[nodiscard]] bool flawed() const;
};

// Several lines.
std::string diagnosis_text(const Diagnosis &diagnosis);

// One line.
std::string diagnosis_json(const Diagnosis &diagnosis);

// A whole log of the format SARIF 2.1.0.
std::string diagnoses_sarif(const std::vector<Diagnosis> &diagnoses, const std::string &version);

// The catalogue, or one entry of it.
std::string rules_text();
std::string rules_json();
std::string rule_text(const Rule &rule);

#endif
