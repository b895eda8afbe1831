#include "record.h"

AviStatus avi_refuse(AviReaderState &reader, AviReason reason, std::int64_t pos, FourCC found) {
    const AviStream &stream = reader.stream;
    if (stream.lacks_bytes) {
        reader.refusal = {AviReason::cannot_read, {}, stream.unreadable_pos};
    } else {
        reader.refusal = {reason, found, pos};
    }
    return kAviFailed;
}

AviStatus avi_refuse_for(AviReaderState &reader, AviStatus status, AviReason reason,
                         std::int64_t pos) {
    if ((status & kAviNoMemory) == kAviNoMemory) {
        reader.refusal = {AviReason::no_memory, {}, 0};
        return kAviFailed;
    }
    if ((status & kAviUnreadable) == kAviUnreadable) {
        return avi_refuse(reader, AviReason::cannot_read, reader.stream.unreadable_pos);
    }
    return avi_refuse(reader, reason, pos);
}
