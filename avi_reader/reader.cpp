#include "avi_reader.h"

#include <cstdlib>

#include "blob.h"
#include "extension_lists.h"
#include "header_list.h"
#include "index.h"
#include "top_level.h"

namespace {

// Opens the first form, which has to be an AVI form.
AviStatus enter_first_form(AviReaderState &reader) {
    avi_file_go(reader.stream, 0);
    if (avi_enter_list(reader) != kAviOk) return kAviFailed;
    const ChunkNode &form = *reader.chunk_top;
    if (!avi_fourcc_equal(form.id, kRiff) && !avi_fourcc_equal(form.id, kMrif)) {
        return avi_refuse(reader, AviReason::not_a_form, form.start, form.id);
    }
    if (!avi_fourcc_equal(form.list_type, kAvi)) {
        const std::int64_t type_pos = form.start + kChunkHeaderSize;
        return avi_refuse(reader, AviReason::not_avi, type_pos, form.list_type);
    }
    return kAviOk;
}

// What the innermost node, a list of the first form, brings.
AviStatus read_list(AviReaderState &reader) {
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
        return avi_parse_header_list(reader, reader.open_option != 0);
    }
    return kAviOk;
}

// The innermost node is a "movi" list, or the form when its walk met none.
AviStatus check_movi(AviReaderState &reader) {
    const ChunkNode &node = *reader.chunk_top;
    const std::int64_t pos = avi_file_tell(reader.stream);
    if (node.parent == nullptr) {
        // A walk looks at one place behind the form's end, where the file may end as well.
        const bool whole = avi_chunk_at_end(node);
        return avi_refuse_for(reader, node.error,
                              whole ? AviReason::no_movi : AviReason::form_cut_short, pos);
    }
    if (avi_chunk_at_end(node)) {
        return avi_refuse(reader, AviReason::movi_too_short, node.start);
    }
    reader.movi_pos = pos;
    return kAviOk;
}

// Walks the first form's lists in file order and stops inside "movi", so that what lies behind it
// is never seen and a second "hdrl" before it adds to the first. An index is noted on the way.
AviStatus walk_first_form(AviReaderState &reader) {
    ChunkNode &form = *reader.chunk_top;
    FourCC id;
    while (avi_walk(form, id)) {
        if (reader.index_pos == 0 && avi_is_index(id)) {
            reader.index_pos = avi_file_tell(reader.stream);
        }
        if (!avi_fourcc_equal(id, kList)) continue;
        if (avi_enter_list(reader) != kAviOk) return kAviFailed;
        if (avi_fourcc_equal(reader.chunk_top->list_type, kMovi)) break;
        if (read_list(reader) != kAviOk) return kAviFailed;
        avi_leave_list(reader);
    }
    return check_movi(reader);
}

// An index that was not met before "movi" is looked for behind it.
void find_index_behind_movi(AviReaderState &reader) {
    const ChunkNode &movi = *reader.chunk_top;
    avi_file_go(reader.stream, movi.start);
    if (reader.index_pos == 0) avi_find_index(reader, *movi.parent);
}

AviStatus fill_record(AviReaderState &reader, const char *path) {
    reader.stream = avi_file_open(path);
    if (reader.stream.file == nullptr) {
        return avi_refuse(reader, AviReason::cannot_open, 0);
    }
    if (reader.stream.size > 0 && avi_scan_forms(reader) != kAviOk) return kAviFailed;
    if (enter_first_form(reader) != kAviOk) return kAviFailed;
    if (walk_first_form(reader) != kAviOk) return kAviFailed;
    find_index_behind_movi(reader);
    avi_read_blobs(reader);
    avi_file_go(reader.stream, reader.movi_pos);
    reader.stream.seen_count = 0;  // what is read from here on is what the file then holds
    return kAviOk;
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
    AviReader reader(static_cast<AviReaderState *>(std::calloc(1, sizeof(AviReaderState))));
    if (reader == nullptr) {
        if (refusal != nullptr) *refusal = {AviReason::no_memory, {}, 0};
        return nullptr;
    }
    reader->open_option = open_option;
    if (fill_record(*reader, path) != kAviOk) {
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
