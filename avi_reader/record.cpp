#include "record.h"

AviStatus avi_refuse(AviReaderState &reader, AviStatus status, AviReason reason, std::int64_t pos,
                     FourCC found) {
    if ((status & kAviNoMemory) == kAviNoMemory) {
        reader.refusal = {AviReason::no_memory, {}, 0};
    } else if ((status & kAviUnreadable) == kAviUnreadable) {
        reader.refusal = {AviReason::cannot_read, {}, reader.stream.unreadable_pos};
    } else {
        reader.refusal = {reason, found, pos};
    }
    return kAviFailed;
}
