// A file as it would be with some of its bytes changed: it is walked, examined and copied like any
// other, and the file itself is only read.
#ifndef TOOLS_REPAIR_EDITED_FILE_H
#define TOOLS_REPAIR_EDITED_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "chunks/input_file.h"

// Bytes that go, and bytes that come in their place.
struct Edit {
    std::int64_t pos;
    std::int64_t removed;
    std::string added;
    std::string_view rule;  // of the catalogue, that it answers
    std::string what;       // "the size of the 'movi' list"
};

class EditedFile : public InputFile {
public:
    static constexpr std::size_t kMostEdits = 10000;

    explicit EditedFile(const InputFile &original) : original_(original) {}

    [[nodiscard]] std::int64_t size() const override { return original_.size() + grown_; }
    std::size_t read(unsigned char *bytes, std::size_t count, std::int64_t pos) const override;
    [[nodiscard]] std::int64_t data_after(std::int64_t pos) const override;

    // Changes the file as it is now. The edits do not overlap, and lie in it.
    void apply(std::vector<Edit> edits);

    // All of them, by their positions in the original.
    [[nodiscard]] const std::vector<Edit> &edits() const { return edits_; }
    [[nodiscard]] const InputFile &original() const { return original_; }

private:
    // What the bytes at a position are: those of an edit, or of the original up to the next one.
    struct Piece {
        const Edit *edit;        // null for the original
        std::int64_t at;         // within what the edit adds, or in the original
        std::int64_t remaining;  // in the piece
    };

    [[nodiscard]] Piece piece_at(std::int64_t pos) const;
    [[nodiscard]] std::string bytes(std::int64_t from, std::int64_t to) const;
    [[nodiscard]] std::int64_t end_of(std::size_t edit) const;
    [[nodiscard]] bool changes(const Edit &edit) const;
    void apply(const Edit &edit);
    void merge(std::size_t first, std::size_t last, const Edit &edit);
    void place();

    const InputFile &original_;
    std::vector<Edit> edits_;
    std::vector<std::int64_t> starts_;  // of each edit, in the file as it would be
    std::int64_t grown_ = 0;
};

#endif
