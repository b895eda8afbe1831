#include "header_list.h"

#include "chunk_stack.h"
#include "stream_list.h"

AviStatus avi_read_main_header(AviMainHeader &header, AviStream &stream) {
    constexpr auto kBody = static_cast<std::int32_t>(sizeof(AviMainHeader));
    FourCC id{};
    std::uint32_t declared = 0;
    AviStatus status = avi_read_fields(
        stream, id, declared, header.microseconds_per_frame, header.max_bytes_per_second,
        header.padding_granularity, header.flags, header.total_frames, header.initial_frames,
        header.streams, header.suggested_buffer_size, header.width, header.height, header.reserved);
    const auto size = static_cast<std::int32_t>(declared);
    if (size < kBody || !avi_fourcc_equal(id, kAvih)) status |= kAviFailed;
    if (size > kBody) avi_file_go(stream, avi_file_tell(stream) + size - kBody);
    return status;
}

namespace {

// The first value of the list's first chunk: in a regular file, the frames over all forms.
void read_extended_header(AviReaderState &reader) {
    FourCC id;
    std::uint32_t size;
    avi_read_fields(reader.stream, id, size, reader.total_frames_ext);
}

// A main header that is short is taken as far as it goes; the walk goes on after the chunk.
AviStatus read_first_chunk(AviReaderState &reader) {
    ChunkNode &list = *reader.chunk_top;
    const FourCC id = avi_chunk_next(list);
    const std::int64_t pos = avi_file_tell(reader.stream);
    if (avi_chunk_at_end(list)) {
        return avi_refuse(reader, AviReason::header_list_too_short, list.start);
    }
    if (list.error != kAviOk) return kAviOk;  // which is told when the walk is over
    if (!avi_fourcc_equal(id, kAvih)) {
        return avi_refuse(reader, AviReason::no_main_header, pos, id);
    }
    avi_read_main_header(reader.main_header, reader.stream);
    reader.main_header_pos = pos;
    return kAviOk;
}

// The list at the position, a sub-chunk of the "hdrl" list.
AviStatus read_list(AviReaderState &reader, bool allow_trailing_stream_number) {
    if (avi_enter_list(reader) != kAviOk) return kAviFailed;
    const FourCC type = reader.chunk_top->list_type;
    if (avi_fourcc_equal(type, kStrl)) {
        const AviStatus status = avi_parse_stream_list(reader, allow_trailing_stream_number);
        if (status != kAviOk) return status;
    } else if (avi_fourcc_equal(type, kOdml)) {
        read_extended_header(reader);
    }
    avi_leave_list(reader);
    return kAviOk;
}

}  // namespace

AviStatus avi_parse_header_list(AviReaderState &reader, bool allow_trailing_stream_number) {
    ChunkNode &list = *reader.chunk_top;
    if (read_first_chunk(reader) != kAviOk) return kAviFailed;
    FourCC id;
    while (avi_walk(list, id)) {
        if (!avi_fourcc_equal(id, kList)) continue;
        if (read_list(reader, allow_trailing_stream_number) != kAviOk) return kAviFailed;
    }
    if (list.error == kAviOk) return kAviOk;
    return avi_refuse_for(reader, list.error, AviReason::header_list_cut_short, list.start);
}
