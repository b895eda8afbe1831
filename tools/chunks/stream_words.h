// Streams in words: what kind they are, how they are coded, how fast they run.
#ifndef TOOLS_CHUNKS_STREAM_WORDS_H
#define TOOLS_CHUNKS_STREAM_WORDS_H

#include <string>
#include <string_view>

#include "avi_reader/avi_reader.h"

// "video", "audio", ..., and for a stream whose type is not kept its type.
std::string kind_text(const AviStreamRecord &stream);

// "FMP4 320x240, 25 fps", "MP3 44100 Hz, 2 channels, 128 kbit/s", "-" for nothing to say.
std::string format_text(const AviReaderState &reader, const AviStreamRecord &stream);

// The name as text, without 0 bytes at its end; empty for none.
std::string name_text(const AviReaderState &reader, const AviStreamRecord &stream);

// The name's bytes, or none.
template <typename Row>
std::string_view name_of(const Row &row) {
    if (row.name == nullptr) return {};
    return {reinterpret_cast<const char *>(row.name), static_cast<std::size_t>(row.name_length)};
}

// How long a stream plays by its header; 0 where that cannot be told.
[[nodiscard]] double seconds_of(const AviStreamHeader &header);

#endif
