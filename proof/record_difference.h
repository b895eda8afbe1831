// What two readers have kept of one file, field by field.
#ifndef PROOF_RECORD_DIFFERENCE_H
#define PROOF_RECORD_DIFFERENCE_H

#include <string>

#include "avi_reader/avi_reader.h"
#include "proof/second_reader.h"

// The first field that differs, with both values, or an empty string: of the record, with its rows
// not in use, of the lists that are open, and of what the queries answer. Of a buffer that goes on
// behind the end of the file, 4,096 of the zeros there are looked at, and its last byte.
std::string record_difference(const AviReaderState &reader, const second::Answer &answer);

// The same for two refusals.
std::string refusal_difference(const AviRefusal &refusal, const second::Refusal &other);

#endif
