// Extension chunks that are kept whole: noted when a walk meets them, read when it is over, so that
// a thousand chunks that each claim the rest of the file cost one reading of it.
#ifndef AVI_READER_BLOB_H
#define AVI_READER_BLOB_H

#include <cstdint>

#include "byte_stream.h"
#include "record.h"

// A menu is kept with its header.
[[nodiscard]] std::uint64_t avi_menu_bytes(const AviBlob &blob);

// Notes the `bytes` at `pos` as the blob's, and leaves the stream where reading them would. False,
// with an empty blob and the stream where it was, when there can be no buffer for them.
[[nodiscard]] bool avi_note_blob(AviBlob &blob, std::int64_t pos, std::uint64_t bytes,
                                 AviStream &stream);

// Reads what was noted. A blob whose buffer cannot be had is left empty; bytes that the file does
// not hold are 0.
void avi_read_blobs(AviReaderState &reader);

#endif
