// What `diff` prints of two files, for people and as JSON.
#ifndef TOOLS_COMMANDS_DIFF_REPORT_H
#define TOOLS_COMMANDS_DIFF_REPORT_H

#include <array>
#include <string>
#include <vector>

#include "chunks/comparison.h"

// The lists and the differences are the caller's, and outlive it.
class DiffReport {
public:
    DiffReport(const ChunkList &first, const ChunkList &second,
               const std::vector<Difference> &differences);

    // With `all`, nothing is folded or left out.
    void print_text(const std::string &first, const std::string &second, bool all) const;

    // A line for both files, then one for each difference.
    void print_json(const std::string &first, const std::string &second) const;

private:
    [[nodiscard]] bool in_media_alone(const Difference &difference) const;
    [[nodiscard]] std::string counts_text() const;

    const ChunkList &first_;
    const ChunkList &second_;
    const std::vector<Difference> &differences_;
    std::array<std::size_t, 4> counts_{};  // of each kind
    bool media_alone_ = true;
};

#endif
