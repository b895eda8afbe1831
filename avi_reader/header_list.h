// The "hdrl" list: the main header, then the stream lists and the "odml" list.
#ifndef AVI_READER_HEADER_LIST_H
#define AVI_READER_HEADER_LIST_H

#include "record.h"

// Walks the innermost node, the "hdrl" list. Refuses the file when it does not begin with "avih",
// goes on past the end of the file, or holds a stream list that is refused.
// `allow_trailing_stream_number` lets a super index name its stream in the last two characters of
// its chunk id ("ix02").
[[nodiscard]] AviStatus avi_parse_header_list(AviReaderState &reader,
                                              bool allow_trailing_stream_number);

// Reads an "avih" chunk, header included, and skips what it has beyond 56 bytes.
AviStatus avi_read_main_header(AviMainHeader &header, AviStream &stream);

#endif
