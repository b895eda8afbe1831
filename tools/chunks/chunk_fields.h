// What stands in a chunk, field by field, where its layout is known.
#ifndef TOOLS_CHUNKS_CHUNK_FIELDS_H
#define TOOLS_CHUNKS_CHUNK_FIELDS_H

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "chunks/chunk_tree.h"
#include "chunks/layouts.h"

// Fields that lie one behind the other, and their bytes. Where the chunk ends within them, there
// are fewer of both.
struct Record {
    Layout layout;
    std::int64_t pos;  // of the first, in the file
    std::span<const unsigned char> bytes;
    std::int64_t entry = -1;  // its number in a table of entries, else -1
};

struct FieldValue {
    const Field *field;
    std::int64_t pos;
    std::span<const unsigned char> bytes;
    std::int64_t entry;

    // "dwFlags", "entry[3].dwFlags"
    [[nodiscard]] std::string name() const;
    // "16", "AVIIF_KEYFRAME", "'00dc'", "00 ff 80"
    [[nodiscard]] std::string text() const;
    [[nodiscard]] bool is_number() const;
    [[nodiscard]] std::uint64_t number() const;
    [[nodiscard]] std::int64_t signed_number() const;
    // What its number is called; of flags the names of the bits that are set, and in hexadecimal
    // those without one. Empty where nothing has a name.
    [[nodiscard]] std::string term() const;
};

// The whole fields of a record.
void for_each_field(const Record &record, const std::function<void(const FieldValue &)> &take);

// False ends the work.
using TakeRecord = std::function<bool(const Record &)>;

// The header of a chunk, form or list, as far as the file holds it.
bool take_header(const InputFile &file, const Chunk &chunk, const TakeRecord &take);

// What stands in the payload, without lists' chunks. Returns where that ends: from there to the end
// of the chunk there are bytes whose layout is not known, or none.
std::int64_t take_payload(const InputFile &file, const Chunk &chunk, Parents parents,
                          const TakeRecord &take);

// Whether the chunk is of those whose layout is known, or a form or list.
[[nodiscard]] bool has_fields(const Chunk &chunk, Parents parents);

// What a number is called, or empty.
[[nodiscard]] std::string_view term_of(std::span<const Term> terms, std::uint32_t value);

#endif
