// The file's top-level chunks: forms are counted, and the menu of a menu form is noted.
#ifndef AVI_READER_TOP_LEVEL_H
#define AVI_READER_TOP_LEVEL_H

#include "record.h"

// Goes over the top-level chunks of the whole file. Refuses it when the id of one, or the size of
// one that is not "RIFF", cannot be read.
[[nodiscard]] AviStatus avi_scan_forms(AviReaderState &reader);

#endif
