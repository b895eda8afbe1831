// How long a stream's chunks play, by AVI's own clock.
#ifndef TOOLS_CHUNKS_STREAM_CLOCK_H
#define TOOLS_CHUNKS_STREAM_CLOCK_H

#include <cstdint>

#include "avi_reader/avi_reader.h"

struct StreamClock {
    double seconds_per_chunk = 0;  // either of these, or none for a stream without a clock
    double seconds_per_byte = 0;

    [[nodiscard]] bool runs() const { return seconds_per_chunk > 0 || seconds_per_byte > 0; }
    [[nodiscard]] double seconds(std::uint64_t chunks, std::uint64_t bytes) const {
        return seconds_per_chunk * static_cast<double>(chunks) +
               seconds_per_byte * static_cast<double>(bytes);
    }
};

// Of an audio or video stream whose header gives scale and rate.
[[nodiscard]] StreamClock clock_of(const AviStreamRecord &stream);

#endif
