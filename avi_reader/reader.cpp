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

bool enter_first_form(AviReaderState &reader) {
    avi_file_seek(reader.stream, 0, SEEK_SET);
    return avi_enter_list(reader);
}

bool is_avi_form(const ChunkNode &form) {
    return (avi_fourcc_equal(form.id, kRiff) || avi_fourcc_equal(form.id, kMrif)) &&
           avi_fourcc_equal(form.list_type, kAvi);
}

bool measure_and_scan(AviReaderState &reader) {
    AviStream &stream = reader.stream;
    avi_file_seek(stream, 0, SEEK_END);
    stream.size = avi_file_tell(stream);
    return stream.size <= 0 || avi_scan_forms(reader, stream) == kAviOk;
}

bool find_index(AviReaderState &reader) {
    if (!enter_first_form(reader) || !is_avi_form(*reader.chunk_top)) return false;
    avi_find_index(reader);
    avi_chunk_free_all(reader.chunk_top);
    reader.chunk_top = nullptr;
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

// Walks the first form's lists in file order and stops inside "movi", so that what lies behind it
// is never seen and a second "hdrl" before it adds to the first.
bool walk_first_form(AviReaderState &reader) {
    if (!enter_first_form(reader)) return false;
    ChunkNode &form = *reader.chunk_top;
    while (form.error == kAviOk && !avi_chunk_at_end(form)) {
        if (!avi_fourcc_equal(avi_chunk_next(form), kList)) continue;
        if (!avi_enter_list(reader)) return false;
        if (avi_fourcc_equal(reader.chunk_top->list_type, kMovi)) break;
        if (!read_list(reader)) return false;
        avi_leave_list(reader);
    }
    // The form itself is innermost when no "movi" was met, and then always at its end or in error.
    const ChunkNode &movi = *reader.chunk_top;
    return movi.error == kAviOk && !avi_chunk_at_end(movi);
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

AviReaderState *aviin_open(const char *path, std::uint32_t open_option) {
    Reader reader(static_cast<AviReaderState *>(std::calloc(1, sizeof(AviReaderState))));
    if (reader == nullptr) return nullptr;
    reader->open_option = open_option;
    reader->stream = avi_file_open(path);
    if (reader->stream.file == nullptr) return nullptr;

    if (!measure_and_scan(*reader)) return nullptr;
    if (!find_index(*reader)) return nullptr;
    if (!walk_first_form(*reader)) return nullptr;
    reader->movi_pos = avi_file_tell(reader->stream);
    avi_read_blobs(*reader);
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
