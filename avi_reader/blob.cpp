#include "blob.h"

#include "memory.h"

std::uint64_t avi_menu_bytes(const AviBlob &blob) {
    return std::uint64_t{blob.size} + kChunkHeaderSize;
}

bool avi_note_blob(AviBlob &blob, std::int64_t pos, std::uint64_t bytes, AviStream &stream) {
    if (!avi_can_allocate(bytes)) {
        blob = {};
        return false;
    }
    blob.pos = pos;
    avi_file_go(stream, pos);
    avi_skip_bytes(static_cast<std::uint32_t>(bytes), stream);
    return true;
}

namespace {

void read_blob(AviBlob &blob, std::uint64_t bytes, AviStream &stream) {
    if (blob.pos == 0) return;
    blob.data = avi_allocate(bytes).release();
    if (blob.data == nullptr) {
        blob = {};
        return;
    }
    avi_file_go(stream, blob.pos);
    avi_read_bytes(blob.data, static_cast<std::uint32_t>(bytes), stream);
}

}  // namespace

void avi_read_blobs(AviReaderState &reader) {
    AviStream &stream = reader.stream;
    read_blob(reader.data_blob, reader.data_blob.size, stream);
    read_blob(reader.menu_blob, avi_menu_bytes(reader.menu_blob), stream);
    read_blob(reader.form_menu_blob, avi_menu_bytes(reader.form_menu_blob), stream);
}
