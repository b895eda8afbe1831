// The catalogue: everything that is ever said of a file, each under an id that never changes.
// A rule that is no longer found keeps its entry.
#ifndef TOOLS_FINDINGS_RULES_H
#define TOOLS_FINDINGS_RULES_H

#include <span>
#include <string_view>

enum class Severity {
    refusal,  // the plug-in does not open the file
    error,    // players lose something
    warning,  // some players lose something, or the file is not what its writer meant
    note,     // worth knowing
};

struct Rule {
    std::string_view id;  // "movi_too_short": what scripts and reviews name
    Severity severity;
    const char *meaning;
    const char *effect;  // what it does to playing
    const char *remedy;
};

// All of them, refusals first.
[[nodiscard]] std::span<const Rule> all_rules();

// The rule of that id, or null.
[[nodiscard]] const Rule *find_rule(std::string_view id);

// "refusal", "error", "warning", "note"
[[nodiscard]] const char *severity_word(Severity severity);

#endif
