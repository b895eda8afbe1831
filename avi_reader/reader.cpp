// Opening a file into a record, and closing it.
#include "avi_reader.h"

namespace {

constexpr FourCC kRiff = avi_fourcc_from_string("RIFF");
constexpr FourCC kMrif = avi_fourcc_from_string("MRIF");
constexpr FourCC kAvi = avi_fourcc_from_string("AVI ");
constexpr FourCC kList = avi_fourcc_from_string("LIST");
constexpr FourCC kHdrl = avi_fourcc_from_string("hdrl");
constexpr FourCC kMovi = avi_fourcc_from_string("movi");
constexpr FourCC kQrdt = avi_fourcc_from_string("QRDT");
constexpr FourCC kQmnu = avi_fourcc_from_string("QMNU");

struct CloseReader {
    void operator()(AviReaderState *reader) const { aviin_close(reader); }
};
using Reader = std::unique_ptr<AviReaderState, CloseReader>;

// Pushes the first form, which has to be an AVI form.
bool enter_first_form(AviReaderState &reader) {
    avi_file_seek(reader.stream, 0, SEEK_SET);
    if (!avi_enter_list(reader)) return false;
    const ChunkNode &form = *reader.chunk_top;
    if (!avi_fourcc_equal(form.id, kRiff) && !avi_fourcc_equal(form.id, kMrif)) {
        avi_refuse(reader, AviReason::not_a_form, form.start, form.id);
        return false;
    }
    if (!avi_fourcc_equal(form.list_type, kAvi)) {
        avi_refuse(reader, AviReason::not_avi, form.start + 8, form.list_type);
        return false;
    }
    return true;
}

// What the innermost node, a list of the first form, brings. False refuses the file.
bool read_list(AviReaderState &reader) {
    const FourCC type = reader.chunk_top->list_type;
    if (avi_fourcc_equal(type, kQrdt)) {
        reader.data_list_pos = avi_file_tell(reader.stream);
        reader.data_list_present = 1;
        avi_load_data_chunk(reader);
    } else if (avi_fourcc_equal(type, kQmnu)) {
        reader.menu_list_pos = avi_file_tell(reader.stream);
        reader.menu_list_present = 1;
        avi_load_menu_list(reader);
    } else if (avi_fourcc_equal(type, kHdrl)) {
        avi_parse_header_list(reader, reader.open_option != 0);
        return reader.chunk_top != nullptr && reader.chunk_top->error == kAviOk;
    }
    return true;
}

// The innermost node is a "movi" list, or the form when its walk met none.
AviStatus check_movi(AviReaderState &reader) {
    const ChunkNode &node = *reader.chunk_top;
    const std::int64_t pos = avi_file_tell(reader.stream);
    if (node.error != kAviOk) return avi_refuse(reader, AviReason::form_cut_short, pos);
    if (node.parent == nullptr) return avi_refuse(reader, AviReason::no_movi, pos);
    if (!avi_chunk_at_end(node)) return kAviOk;
    return avi_refuse(reader, AviReason::movi_too_short, node.start);
}

// Walks the first form's lists in file order and stops inside "movi", so that what lies behind it
// is never seen and a second "hdrl" before it adds to the first. An index is noted on the way.
bool walk_first_form(AviReaderState &reader) {
    ChunkNode &form = *reader.chunk_top;
    while (form.error == kAviOk && !avi_chunk_at_end(form)) {
        const FourCC id = avi_chunk_next(form);
        if (reader.index_pos == 0 && avi_is_index(id)) {
            reader.index_pos = avi_file_tell(reader.stream);
        }
        if (!avi_fourcc_equal(id, kList)) continue;
        if (!avi_enter_list(reader)) return false;
        if (avi_fourcc_equal(reader.chunk_top->list_type, kMovi)) break;
        if (!read_list(reader)) return false;
        avi_leave_list(reader);
    }
    return check_movi(reader) == kAviOk;
}

// Looks for the index behind "movi" when there was none before it: on from there in the form's
// sub-chunks, as a walk of its own that stepped over every list would. Leaves no trace in the
// form's node.
void find_index_behind_movi(AviReaderState &reader) {
    if (reader.index_pos != 0) return;
    ChunkNode *movi = reader.chunk_top;
    ChunkNode form = *movi->parent;
    avi_file_seek(reader.stream, movi->start, SEEK_SET);
    reader.chunk_top = &form;
    avi_find_index(reader);
    reader.chunk_top = movi;
    avi_file_seek(reader.stream, reader.movi_pos, SEEK_SET);
}

bool fill_record(AviReaderState &reader, const char *path) {
    reader.stream = avi_file_open(path);
    if (reader.stream.file == nullptr) {
        avi_refuse(reader, AviReason::cannot_open, 0);
        return false;
    }
    if (reader.stream.size > 0 && avi_scan_forms(reader, reader.stream) != kAviOk) return false;
    if (!enter_first_form(reader) || !walk_first_form(reader)) return false;
    reader.movi_pos = avi_file_tell(reader.stream);
    find_index_behind_movi(reader);
    avi_read_blobs(reader);
    return true;
}

void free_row(const VideoTrack &row) {
    std::free(row.stream_data);
    std::free(row.name);
}

void free_row(const AudioTrack &row) {
    std::free(row.name);
}

void free_row(const TextTrack &row) {
    std::free(row.data);
}

template <typename Row>
void free_rows(const AviTable<Row> &table) {
    for (const Row &row : table.used()) free_row(row);
}

}  // namespace

AviReaderState *aviin_open(const char *path, std::uint32_t open_option, AviRefusal *refusal) {
    Reader reader(static_cast<AviReaderState *>(std::calloc(1, sizeof(AviReaderState))));
    if (reader == nullptr) {
        if (refusal != nullptr) *refusal = {AviReason::no_memory, {}, 0};
        return nullptr;
    }
    reader->open_option = open_option;
    if (!fill_record(*reader, path)) {
        if (refusal != nullptr) *refusal = reader->refusal;
        return nullptr;
    }
    return reader.release();
}

void aviin_close(AviReaderState *reader) {
    if (reader == nullptr) return;
    if (reader->stream.file != nullptr) avi_file_close(reader->stream);
    avi_chunk_free_all(reader->chunk_top);
    free_rows(reader->video);
    free_rows(reader->audio);
    free_rows(reader->bitmap_subtitle);
    free_rows(reader->text_subtitle);
    free_rows(reader->chapter);
    std::free(reader->menu_blob.data);
    std::free(reader->form_menu_blob.data);
    std::free(reader->data_blob.data);
    std::free(reader);
}
