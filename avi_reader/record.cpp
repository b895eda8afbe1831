#include "record.h"

AviStatus avi_refuse(AviReaderState &reader, AviReason reason, std::int64_t pos, FourCC found) {
    reader.refusal = {reason, found, pos};
    return kAviFailed;
}

AviStatus avi_refuse_for(AviReaderState &reader, AviStatus status, AviReason reason,
                         std::int64_t pos) {
    if ((status & kAviNoMemory) == kAviNoMemory) {
        return avi_refuse(reader, AviReason::no_memory, 0);
    }
    if ((status & kAviUnreadable) == kAviUnreadable) {
        return avi_refuse(reader, AviReason::cannot_read, reader.stream.unreadable_pos);
    }
    return avi_refuse(reader, reason, pos);
}
