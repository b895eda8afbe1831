// What repairing a file comes to: the least that is to be changed, and what the reader and the
// examination say of the file as it then is. Nothing is written.
#ifndef TOOLS_REPAIR_PLAN_H
#define TOOLS_REPAIR_PLAN_H

#include <string>
#include <vector>

#include "findings/finding.h"
#include "repair/edited_file.h"
#include "repair/mend.h"

// How the reader and the examination find a file.
struct Verdict {
    AviRefusal refusal{};  // of no reason for a file that opens
    std::vector<Finding> findings;

    [[nodiscard]] bool opens() const { return refusal.reason == AviReason::none; }
    [[nodiscard]] bool has(const Rule *rule) const;
};

class Plan {
public:
    // With the verdict on the file, which must outlive the plan. It is walked several times.
    Plan(const InputFile &file, Verdict before, WalkOptions options = {});

    [[nodiscard]] const EditedFile &result() const { return result_; }
    [[nodiscard]] const Verdict &before() const { return before_; }
    [[nodiscard]] const Verdict &after() const { return after_; }
    // Whether the result is one that the reader takes and that would not be changed again.
    [[nodiscard]] bool holds() const { return settled_ && after_.opens(); }
    [[nodiscard]] bool stopped() const { return stopped_; }
    // Why it does not hold.
    [[nodiscard]] std::string obstacle() const;
    // Rules that are answered, were broken and no longer are, in the order of the catalogue.
    [[nodiscard]] std::vector<const Rule *> mended() const;
    // What is still wrong: all but notes.
    [[nodiscard]] std::vector<Finding> left() const;

private:
    [[nodiscard]] std::vector<Edit> next_edits();
    void judge();

    Verdict before_;
    Verdict after_;
    EditedFile result_;
    WalkOptions options_;
    bool settled_ = false;
    bool stopped_ = false;
};

// A file's verdict, from a record of it or the reason why there is none.
[[nodiscard]] Verdict examined(const InputFile &file, const AviReaderState *reader,
                               const AviRefusal &refusal, const WalkOptions &options);

// Whether a plan can come to answer that rule at all.
[[nodiscard]] bool is_answered(std::string_view rule);

#endif
