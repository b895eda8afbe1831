#include "top_level.h"

#include "blob.h"

namespace {

// Where a form tells whether it is a menu: the type of its first list.
constexpr std::int64_t kFirstListType = kListHeaderSize + kChunkHeaderSize;

// The chunks of a menu form, from the position up to `end`. None is padded.
void scan_menu(AviReaderState &reader, std::int64_t end) {
    AviStream &stream = reader.stream;
    std::int64_t pos = avi_file_tell(stream);
    while (pos < end) {
        FourCC id{};
        std::uint32_t size = 0;
        avi_file_go(stream, pos);
        if (avi_read_fourcc(id, stream) != kAviOk) return;
        if (avi_fourcc_equal(id, kMrif)) ++reader.form_count;
        if (avi_read_u32le(size, stream) != kAviOk) return;
        pos += std::int64_t{size} + kChunkHeaderSize;
        if (!avi_fourcc_equal(id, kMenu)) continue;

        AviBlob &blob = reader.form_menu_blob;
        blob.size = size;
        blob.present = 1;
        // The header lies before the position, also where the end of the file cut it short.
        const std::int64_t header = avi_file_tell(stream) - kChunkHeaderSize;
        if (!avi_note_blob(blob, header, avi_menu_bytes(blob), stream)) return;
    }
}

void scan_form(AviReaderState &reader, std::int64_t start, std::int64_t end) {
    AviStream &stream = reader.stream;
    FourCC first_list_type{};
    avi_file_go(stream, start + kFirstListType);
    avi_read_fourcc(first_list_type, stream);
    if (!avi_fourcc_equal(first_list_type, kQmnu)) return;
    reader.form_menu_pos = avi_file_tell(stream);
    scan_menu(reader, end);
}

}  // namespace

AviStatus avi_scan_forms(AviReaderState &reader) {
    AviStream &stream = reader.stream;
    std::int64_t pos = 0;
    do {
        FourCC id{};
        std::uint32_t size = 0;
        avi_file_go(stream, pos);
        const AviStatus id_status = avi_read_fourcc(id, stream);
        const AviStatus size_status = avi_read_u32le(size, stream);
        const bool is_form = avi_fourcc_equal(id, kRiff);
        if (is_form) ++reader.form_count;
        if (is_form && size_status != kAviOk) break;  // it is the last
        const AviStatus status = id_status | size_status;
        if (status != kAviOk) {
            return avi_refuse_for(reader, status, AviReason::top_level_cut_short, pos);
        }
        const std::int64_t end = pos + kChunkHeaderSize + size;  // no pad byte at this level
        if (is_form) scan_form(reader, pos, end);
        pos = end;
    } while (stream.size > pos);
    return kAviOk;
}
