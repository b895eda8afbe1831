#include "avi_reader.h"

AviStatus avvin_get_summary(const AviReaderState &reader, std::int32_t &streams,
                            std::int32_t &with_stream_data) {
    streams = reader.stream_count;
    with_stream_data = 0;
    for (const VideoTrack &row : reader.video.used()) {
        if (row.has_stream_data == 1) ++with_stream_data;
    }
    return kAviOk;
}

AviStatus avvin_get_track_chunk_type(const AviReaderState &reader, std::int32_t track,
                                     ChunkKind &kind) {
    kind = reader.streams[track].kind;
    return kAviOk;
}

AviStatus avvin_get_track_strd(const AviReaderState &reader, std::int32_t track,
                               const unsigned char *&payload, std::uint32_t &size) {
    const VideoTrack &row = reader.video.rows[reader.streams[track].track];
    payload = row.stream_data;
    size = row.stream_data_size;
    return kAviOk;
}
