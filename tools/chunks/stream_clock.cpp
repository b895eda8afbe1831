#include "chunks/stream_clock.h"

// A sample lasts scale / rate seconds, and is a chunk where the header gives no size for it.
StreamClock clock_of(const AviStreamRecord &stream) {
    const AviStreamHeader &header = stream.header;
    const bool played =
        stream.kind == ChunkKind::audio || stream.kind == ChunkKind::compressed_video;
    if (!played || header.rate == 0 || header.scale == 0) return {};
    const double sample = static_cast<double>(header.scale) / header.rate;
    if (header.sample_size == 0) return {sample, 0};
    return {0, sample / header.sample_size};
}
