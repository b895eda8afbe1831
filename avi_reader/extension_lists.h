// The Sorn lists of the first form: the maker's data and the menus.
#ifndef AVI_READER_EXTENSION_LISTS_H
#define AVI_READER_EXTENSION_LISTS_H

#include "record.h"

// Each walks the innermost node, a QRDT or QMNU list, and notes its last "MTDA" or "MENU" chunk. A
// chunk larger than any buffer leaves the blob empty and stops the walk.
void avi_load_data_chunk(AviReaderState &reader);
void avi_load_menu_list(AviReaderState &reader);

#endif
