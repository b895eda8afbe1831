#include "extension_lists.h"

#include "blob.h"
#include "chunk_stack.h"

namespace {

// The one list size that takes a walk around it no further than the list's own header: it is odd,
// and its even form wraps to 0 in 32 bits.
constexpr std::int64_t kWrappingSize = 0xFFFFFFFF;

// Takes the stream to where a walk that only the end test stops would leave it: on from the cursor
// in empty 8-byte steps.
void go_to_end(const ChunkNode &list) {
    const std::int64_t short_of_end = list.start + list.size - list.cursor;
    const std::int64_t steps = short_of_end > 0 ? (short_of_end + 7) / 8 : 0;
    avi_file_go(*list.stream, list.cursor + 8 * steps);
}

// The walk of an extension list goes on when a header cannot be read. Nothing more is found then,
// so only the position is taken there.
bool walk_to_end(ChunkNode &list, FourCC &id) {
    if (avi_walk(list, id)) return true;
    if (list.error != kAviOk && !avi_chunk_at_end(list)) go_to_end(list);
    return false;
}

// Ends a walk early, at a chunk that no buffer can hold. A list with the wrapping size is no step
// forward for the walk around it, so it is walked to its end all the same: left where it stands,
// thousands of them would each walk the rest of the file again.
void stop_walk(ChunkNode &list) {
    FourCC id;
    while (list.size == kWrappingSize && walk_to_end(list, id)) {
    }
}

}  // namespace

void avi_load_data_chunk(AviReaderState &reader) {
    ChunkNode &list = *reader.chunk_top;
    AviStream &stream = reader.stream;
    AviBlob &blob = reader.data_blob;
    blob = {};
    FourCC id;
    while (walk_to_end(list, id)) {
        if (!avi_fourcc_equal(id, kMtda)) continue;
        if (avi_read_fields(stream, id, blob.size) == kAviOk) blob.present = 1;
        const std::int64_t payload = avi_file_tell(stream);
        if (!avi_note_blob(blob, payload, blob.size, stream)) return stop_walk(list);
    }
}

void avi_load_menu_list(AviReaderState &reader) {
    ChunkNode &list = *reader.chunk_top;
    AviStream &stream = reader.stream;
    AviBlob &blob = reader.menu_blob;
    blob = {};
    FourCC id;
    while (walk_to_end(list, id)) {
        if (avi_fourcc_equal(id, kMrif)) ++reader.form_count;
        if (!avi_fourcc_equal(id, kMenu)) continue;
        const std::int64_t header = avi_file_tell(stream);
        if (avi_read_fields(stream, id, blob.size) == kAviOk) blob.present = 1;
        if (!avi_note_blob(blob, header, avi_menu_bytes(blob), stream)) return stop_walk(list);
    }
}
