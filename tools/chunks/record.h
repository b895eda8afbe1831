// The reader's record, closed with the object that holds it.
#ifndef TOOLS_CHUNKS_RECORD_H
#define TOOLS_CHUNKS_RECORD_H

#include <memory>

#include "avi_reader/avi_reader.h"

struct CloseRecord {
    void operator()(AviReaderState *reader) const { aviin_close(reader); }
};
using Record = std::unique_ptr<AviReaderState, CloseRecord>;

#endif
