// The index: only where it lies is kept.
#ifndef AVI_READER_INDEX_H
#define AVI_READER_INDEX_H

#include "chunk_stack.h"
#include "record.h"

// Whether a chunk of that id is the index.
[[nodiscard]] bool avi_is_index(FourCC id);

// Looks for the index among a form's sub-chunks, from the form's cursor on. The walk is its own: it
// steps over every list, and the caller's node stays where it is.
void avi_find_index(AviReaderState &reader, ChunkNode form);

#endif
