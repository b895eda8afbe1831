// What chunk ids mean.
#ifndef TOOLS_CHUNKS_CHUNK_WORDS_H
#define TOOLS_CHUNKS_CHUNK_WORDS_H

#include "avi_reader/avi_reader.h"

// Whether an id is one that AVI files are known to hold.
[[nodiscard]] bool is_known_id(FourCC id);
[[nodiscard]] bool is_known_list(FourCC type);
// Whether an id is one of a stream's chunks ("01wb"), indexes included.
[[nodiscard]] bool is_media_id(FourCC id);

#endif
