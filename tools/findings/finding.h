// What was found in a file.
#ifndef TOOLS_FINDINGS_FINDING_H
#define TOOLS_FINDINGS_FINDING_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "findings/rules.h"

struct Finding {
    const Rule *rule;
    std::int64_t pos;  // in the file; -1 for none
    std::string sentence;
};

// Findings as they are made. A file may have a million of one rule: so many are told, the rest
// counted.
class Findings {
public:
    static constexpr std::uint64_t kToldOfARule = 10;

    // The id is that of a rule in the catalogue.
    void add(std::string_view id, std::int64_t pos, std::string sentence);

    // All of them by position, those without one last.
    [[nodiscard]] std::vector<Finding> take();

private:
    std::vector<Finding> found_;
    std::map<const Rule *, std::uint64_t> counts_;
};

#endif
