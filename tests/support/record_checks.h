// What holds of every record, whatever file it was opened from.
#ifndef TESTS_RECORD_CHECKS_H
#define TESTS_RECORD_CHECKS_H

#include <functional>
#include <string>

#include "avi_reader/avi_reader.h"

// Says whether a pointer is a live allocation of at least that many bytes.
using OwnsBytes = std::function<bool(const void *pointer, std::uint64_t size)>;

// Walks over every field, buffer and query of a record that was just opened. Returns the first rule
// that does not hold, or "".
std::string broken_rule(const AviReaderState &reader, const OwnsBytes &owns);

// Everything that a record holds, positions and buffers included, as text to compare.
std::string describe(const AviReaderState &reader);

#endif
