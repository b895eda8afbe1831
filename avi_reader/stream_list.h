// One "strl" list becomes a row of the stream table and a row of the table of its kind.
//
// The chunks of a list come in a fixed order: "strh", "strf", then where a kind has them "strd",
// "strn" and "indx". Each is recognised by a peek at the header and read from there.
#ifndef AVI_READER_STREAM_LIST_H
#define AVI_READER_STREAM_LIST_H

#include "record.h"

// Parses the innermost node, a "strl" list with the stream behind its header. Refuses the file when
// the list is malformed or one too many. `allow_trailing_stream_number` is that of
// avi_parse_header_list.
[[nodiscard]] AviStatus avi_parse_stream_list(AviReaderState &reader,
                                              bool allow_trailing_stream_number);

#endif
