// Everything that is looked for in a file, in one walk of it.
#ifndef TOOLS_FINDINGS_EXAMINATION_H
#define TOOLS_FINDINGS_EXAMINATION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "findings/described.h"
#include "findings/extension_checks.h"
#include "findings/finding.h"
#include "findings/index_checks.h"
#include "findings/media_checks.h"
#include "findings/reader_checks.h"
#include "findings/size_checks.h"

// How much was looked at.
struct Examined {
    std::uint64_t chunks = 0;         // forms and lists included
    std::uint64_t index_entries = 0;  // of every index
    double farthest = 0;              // seconds between sound and its picture, at most
};

// A visitor for walk_chunks; what it is given must outlive it.
class Examination : public ChunkVisitor {
public:
    // The record of a file that opens, or null.
    Examination(const InputFile &file, const AviReaderState *reader);
    // It refers to its own parts.
    Examination(const Examination &) = delete;
    Examination &operator=(const Examination &) = delete;

    void enter(const Chunk &list, Parents parents) override;
    void leave(const Chunk &list, Parents parents) override;
    void visit(const Chunk &chunk, Parents parents) override;
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override;
    void hole(std::int64_t pos, std::int64_t size, Parents parents) override;

    // Once, after the walk. A refusal comes first; the others are ordered by position, those
    // without one last.
    [[nodiscard]] std::vector<Finding> finish(const AviRefusal &refusal);

    [[nodiscard]] Examined examined() const;
    [[nodiscard]] const Described &described() const { return described_; }
    [[nodiscard]] const MediaChecks &media() const { return media_; }

private:
    template <typename Call>
    void for_each(Call call);

    const InputFile &file_;
    Findings findings_;
    Described described_;
    SizeChecks sizes_;
    MediaChecks media_;
    IndexChecks indexes_;
    ExtensionChecks extensions_;
    std::optional<ReaderChecks> reader_;
    std::uint64_t chunks_ = 0;
    bool any_index_ = false;
};

#endif
