// How sentences name what they speak of.
#ifndef TOOLS_FINDINGS_SENTENCES_H
#define TOOLS_FINDINGS_SENTENCES_H

#include <cstdint>
#include <string>

#include "chunks/chunk_tree.h"

// "the 'movi' list", "the 'AVI ' form", "the 'idx1' chunk"
std::string name_of_chunk(const Chunk &chunk);

// "the 'movi' list at 0x8a2"
std::string at(const Chunk &chunk);

// "1,234 bytes"; none for a negative number.
std::string bytes_text(std::int64_t bytes);

#endif
