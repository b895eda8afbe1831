// The readers of the chunks of a "strl" list.
//
// Each starts at the chunk's 8-byte header and reads that itself. It gives the statuses of all its
// reads together, so it does not stop half-way on a failed one unless it says so.
#ifndef PROOF_SECOND_CHUNKS_H
#define PROOF_SECOND_CHUNKS_H

#include <array>
#include <cstdint>
#include <vector>

#include "proof/second_reader.h"
#include "proof/second_stream.h"

namespace second {

struct Header {
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    std::uint32_t third = 0;
};

struct VideoFormat {
    std::uint32_t structure_size = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t planes = 0;
    std::uint16_t bit_count = 0;
    std::uint32_t compression = 0;
    std::uint32_t image_size = 0;
    std::uint32_t x_pixels_per_metre = 0;
    std::uint32_t y_pixels_per_metre = 0;
    std::uint32_t colours_used = 0;
    std::uint32_t colours_important = 0;
};

struct Name {
    std::int32_t length = 0;
    std::vector<std::uint8_t> bytes;
};

struct StreamData {
    std::uint32_t word = 0;
    std::uint32_t length = 0;
    std::int64_t pos = 0;
    std::vector<std::uint8_t> bytes;
};

// Reads twelve bytes and goes twelve back. Where the file ends within the last four of them the
// peek is good all the same, and the stream then stands before the place where it was.
int peek_chunk_header(Stream &stream, Header &header);

// "strh": at least 56 bytes; more are read and thrown away, and must be there. No pad byte follows.
int read_stream_header(StreamHeader &header, Stream &stream);

// "strf" of a video stream: 40 bytes, whose first field must say what the chunk's size says. What
// the chunk has beyond them is not read, so the stream may be left inside it.
int read_video_format(VideoFormat &format, Stream &stream);

// "strf" of an audio stream. Below 17 bytes it has no extra size; extra bytes are read only when
// there is room for all of them. What remains of the chunk is not read.
int read_audio_format(WaveFormat &format, Stream &stream);

// "strf" of a text stream: four values. The third that is read goes to the fourth slot, the fourth
// to the third.
int read_text_format(std::array<std::uint16_t, 4> &values, Stream &stream);

// "strn": its length is the low half of the size, signed. A negative one has no bytes: the caller
// refuses it. Anything but "strn" ends the reading at once.
int read_stream_name(Name &name, Stream &stream);

// "strd": the chunk's size is of no account, the length that it holds itself is. A buffer that
// cannot be had counts as a failed read, and nothing of the payload is read then.
int read_stream_data(StreamData &data, Stream &stream);

}  // namespace second

#endif
