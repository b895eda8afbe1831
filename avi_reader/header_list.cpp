// The "hdrl" list: the main header, then the stream lists and the "odml" list.
#include "avi_reader.h"

namespace {

constexpr FourCC kAvih = avi_fourcc_from_string("avih");
constexpr FourCC kList = avi_fourcc_from_string("LIST");
constexpr FourCC kStrl = avi_fourcc_from_string("strl");
constexpr FourCC kOdml = avi_fourcc_from_string("odml");

// The first value of the list's first chunk: in a regular file, the frames over all forms.
void read_extended_header(AviReaderState &reader, AviStream &stream) {
    FourCC id;
    std::uint32_t size;
    avi_read_fields(stream, id, size, reader.total_frames_ext);
}

}  // namespace

AviStatus avi_read_main_header(AviMainHeader &header, AviStream &stream) {
    constexpr auto kBody = static_cast<std::int32_t>(sizeof(AviMainHeader));
    FourCC id{};
    std::uint32_t declared = 0;
    AviStatus status = avi_read_fields(
        stream, id, declared, header.microseconds_per_frame, header.max_bytes_per_second,
        header.padding_granularity, header.flags, header.total_frames, header.initial_frames,
        header.streams, header.suggested_buffer_size, header.width, header.height, header.reserved);
    const auto size = static_cast<std::int32_t>(declared);
    if (size < kBody || !avi_fourcc_equal(id, kAvih)) status = kAviFailed;
    if (size > kBody) status |= avi_file_seek(stream, size - kBody, SEEK_CUR);
    return status;
}

void avi_parse_header_list(AviReaderState &reader, bool allow_trailing_stream_number) {
    ChunkNode &header_list = *reader.chunk_top;
    AviStream &stream = reader.stream;

    const FourCC first = avi_chunk_next(header_list);
    if (avi_chunk_at_end(header_list)) {
        header_list.error = avi_refuse(reader, AviReason::header_list_too_short, header_list.start);
        return;
    }
    if (header_list.error == kAviOk && !avi_fourcc_equal(first, kAvih)) {
        header_list.error =
            avi_refuse(reader, AviReason::no_main_header, avi_file_tell(stream), first);
        return;
    }
    // A main header that is short is taken as far as it goes; the walk goes on after the chunk.
    avi_read_main_header(reader.main_header, stream);

    while (header_list.error == kAviOk && !avi_chunk_at_end(header_list)) {
        if (!avi_fourcc_equal(avi_chunk_next(header_list), kList)) continue;
        if (!avi_enter_list(reader)) return;
        const FourCC type = reader.chunk_top->list_type;
        if (avi_fourcc_equal(type, kStrl)) {
            avi_parse_stream_list(reader, allow_trailing_stream_number);
            if (reader.chunk_top->error != kAviOk) return;
        } else if (avi_fourcc_equal(type, kOdml)) {
            read_extended_header(reader, stream);
        }
        avi_leave_list(reader);
    }
    if (header_list.error != kAviOk) {
        avi_refuse(reader, AviReason::header_list_cut_short, header_list.start);
    }
}
