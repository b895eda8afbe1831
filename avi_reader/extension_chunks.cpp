// What lies outside the stream lists: top-level forms and menus, the index, and the extension
// lists of the first form with the chunks that are kept whole.
#include "avi_reader.h"

namespace {

constexpr FourCC kRiff = avi_fourcc_from_string("RIFF");
constexpr FourCC kMrif = avi_fourcc_from_string("MRIF");
constexpr FourCC kMenu = avi_fourcc_from_string("MENU");
constexpr FourCC kMtda = avi_fourcc_from_string("MTDA");
constexpr FourCC kQmnu = avi_fourcc_from_string("QMNU");
constexpr FourCC kIdx1 = avi_fourcc_from_string("idx1");
constexpr FourCC k1idx = avi_fourcc_from_string("1idx");

constexpr std::uint32_t kChunkHeader = 8;

// A menu is kept with its header, a data chunk without.
std::uint64_t menu_bytes(const AviBlob &blob) {
    return std::uint64_t{blob.size} + kChunkHeader;
}

// Notes the bytes at `pos` as the blob's, and leaves the stream where reading them would. False,
// with an empty blob and the stream where it was, when there can be no buffer for them.
bool note_blob(AviBlob &blob, std::int64_t pos, std::uint64_t bytes, AviStream &stream) {
    if (!avi_can_allocate(bytes)) {
        blob = {};
        return false;
    }
    blob.pos = pos;
    avi_file_seek(stream, pos, SEEK_SET);
    avi_skip_bytes(static_cast<std::uint32_t>(bytes), stream);
    return true;
}

// Gives a noted blob its buffer and goes to its bytes. False when there is nothing to read.
bool begin_blob(AviBlob &blob, std::uint64_t bytes, AviStream &stream) {
    if (blob.pos == 0) return false;
    blob.data = avi_allocate(bytes).release();
    if (blob.data == nullptr) {
        blob = {};
        return false;
    }
    return avi_file_seek(stream, blob.pos, SEEK_SET) == kAviOk;
}

// The chunks of a top-level menu form, from `pos` up to `end`. None is padded. The walk goes by
// positions, so that it moves on also in a file that has grown since it was measured.
void scan_menu(AviReaderState &reader, AviStream &stream, std::int64_t pos, std::int64_t end) {
    while (pos < end) {
        FourCC id{};
        std::uint32_t size = 0;
        avi_file_seek(stream, pos, SEEK_SET);
        if (avi_read_fourcc(id, stream) != kAviOk) return;
        if (avi_fourcc_equal(id, kMrif)) ++reader.form_count;
        if (avi_read_u32le(size, stream) != kAviOk) return;
        pos += std::int64_t{size} + kChunkHeader;
        if (!avi_fourcc_equal(id, kMenu)) continue;

        AviBlob &blob = reader.form_menu_blob;
        blob.size = size;
        blob.present = 1;
        // The header lies before the position, also where the end of the file cut it short.
        const std::int64_t header = avi_file_tell(stream) - kChunkHeader;
        if (!note_blob(blob, header, menu_bytes(blob), stream)) return;
    }
}

// A form is a menu by the type of its first list alone, which stands at offset 20.
void scan_form(AviReaderState &reader, AviStream &stream, std::int64_t end) {
    ++reader.form_count;
    FourCC type, first_id, first_list_type{};
    std::uint32_t first_size;
    avi_read_fields(stream, type, first_id, first_size, first_list_type);
    if (!avi_fourcc_equal(first_list_type, kQmnu)) return;
    reader.form_menu_pos = avi_file_tell(stream);
    scan_menu(reader, stream, reader.form_menu_pos, end);
}

// One step of a walk that only the end test stops, not an error. False at its end; the end of the
// file ends it too, with the stream where the test would have.
bool next_to_end(ChunkNode &list, FourCC &id) {
    if (avi_chunk_at_end(list)) return false;
    if (list.error != kAviOk) {
        avi_chunk_finish(list);
        return false;
    }
    id = avi_chunk_next(list);
    return true;
}

// Ends a walk early, at a chunk that no buffer can hold. A list with the wrapping size is no step
// forward for the walk around it: left where it stands, thousands of them would each walk the rest
// of the file again.
void stop_walk(ChunkNode &list) {
    if (list.size == kAviWrappingSize) avi_chunk_finish(list);
}

}  // namespace

AviStatus avi_scan_forms(AviReaderState &reader, AviStream &stream) {
    std::int64_t offset = 0;
    do {
        FourCC id{};
        std::uint32_t size = 0;
        avi_file_seek(stream, offset, SEEK_SET);
        const AviStatus id_status = avi_read_fourcc(id, stream);
        const bool is_form = avi_fourcc_equal(id, kRiff);
        const AviStatus size_status = avi_read_u32le(size, stream);
        if (id_status != kAviOk || (size_status != kAviOk && !is_form)) {
            return avi_refuse(reader, AviReason::top_level_cut_short, offset);
        }
        offset += std::int64_t{size} + kChunkHeader;  // no pad byte at this level
        if (is_form) scan_form(reader, stream, offset);
    } while (stream.size > offset);
    return kAviOk;
}

bool avi_is_index(FourCC id) {
    return avi_fourcc_equal(id, kIdx1) || avi_fourcc_equal(id, k1idx);
}

void avi_find_index(AviReaderState &reader) {
    ChunkNode &form = *reader.chunk_top;
    while (form.error == kAviOk && !avi_chunk_at_end(form)) {
        const FourCC id = avi_chunk_next(form);
        if (form.error != kAviOk) return;
        if (avi_is_index(id)) {
            reader.index_pos = avi_file_tell(reader.stream);
            return;
        }
    }
}

void avi_load_data_chunk(AviReaderState &reader) {
    ChunkNode &list = *reader.chunk_top;
    AviStream &stream = reader.stream;
    AviBlob &blob = reader.data_blob;
    blob = {};
    AviStatus headers = kAviOk;
    FourCC id;
    while (next_to_end(list, id)) {
        if (!avi_fourcc_equal(id, kMtda)) continue;
        headers |= avi_read_fields(stream, id, blob.size);
        if (headers == kAviOk) blob.present = 1;
        if (!note_blob(blob, avi_file_tell(stream), blob.size, stream)) return stop_walk(list);
    }
}

void avi_load_menu_list(AviReaderState &reader) {
    ChunkNode &list = *reader.chunk_top;
    AviStream &stream = reader.stream;
    AviBlob &blob = reader.menu_blob;
    blob = {};
    AviStatus headers = kAviOk;
    FourCC id;
    while (next_to_end(list, id)) {
        if (avi_fourcc_equal(id, kMrif)) ++reader.form_count;
        if (!avi_fourcc_equal(id, kMenu)) continue;
        const std::int64_t pos = avi_file_tell(stream);
        headers |= avi_read_fields(stream, id, blob.size);
        if (headers == kAviOk) blob.present = 1;
        if (!note_blob(blob, pos, menu_bytes(blob), stream)) return stop_walk(list);
    }
}

void avi_read_blobs(AviReaderState &reader) {
    AviStream &stream = reader.stream;
    const std::int64_t pos = avi_file_tell(stream);
    if (AviBlob &blob = reader.data_blob; begin_blob(blob, blob.size, stream)) {
        avi_read_bytes(blob.data, blob.size, stream);
    }
    if (AviBlob &blob = reader.menu_blob; begin_blob(blob, menu_bytes(blob), stream)) {
        avi_read_bytes(blob.data, static_cast<std::uint32_t>(menu_bytes(blob)), stream);
    }
    if (AviBlob &blob = reader.form_menu_blob; begin_blob(blob, menu_bytes(blob), stream)) {
        avi_file_read(stream, blob.data, static_cast<std::size_t>(menu_bytes(blob)));
    }
    avi_file_seek(stream, pos, SEEK_SET);
}
