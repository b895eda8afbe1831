// Fields of chunks as lines, and as JSON.
#ifndef TOOLS_COMMANDS_FIELD_TEXT_H
#define TOOLS_COMMANDS_FIELD_TEXT_H

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "chunks/chunk_fields.h"

// "40 9c 00 00              dwMicroSecPerFrame     40000"
std::string field_line(const FieldValue &field);

// "30 30 64 63 10 00 ...  entry[0]  dwChunkId '00dc', dwFlags 0x10 (AVIIF_KEYFRAME), ..."
std::string entry_line(const Record &entry);

// A line for each field of a record, or one for all of an entry.
void for_each_line(const Record &record,
                   const std::function<void(std::int64_t, const std::string &)> &take);

// {"name": "dwFlags", "offset": 44, "width": 4, "value": 16, "term": "AVIF_HASINDEX"}
nlohmann::ordered_json field_json(const FieldValue &field);

// {"offset": 1234, "dwChunkId": "00dc", "dwFlags": 16, ...}
nlohmann::ordered_json entry_json(const Record &entry);

// The value alone: a number, or text, bytes as hexadecimal digits.
nlohmann::ordered_json value_json(const FieldValue &field);

#endif
