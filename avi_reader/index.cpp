#include "index.h"

bool avi_is_index(FourCC id) {
    return avi_fourcc_equal(id, kIdx1) || avi_fourcc_equal(id, k1idx);
}

void avi_find_index(AviReaderState &reader, ChunkNode form) {
    FourCC id;
    while (avi_walk(form, id)) {
        if (form.error != kAviOk || !avi_is_index(id)) continue;
        reader.index_pos = avi_file_tell(reader.stream);
        return;
    }
}
