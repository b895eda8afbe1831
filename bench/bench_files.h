// The files that are measured, made by the AVI builder: the same bytes on every machine.
#ifndef BENCH_BENCH_FILES_H
#define BENCH_BENCH_FILES_H

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/avi_builder.h"

namespace bench_files {

using avi_builder::Bytes;

// A chunk of the "movi" list: where its payload lies, and how long it is.
struct MediaChunk {
    std::int64_t pos;
    std::uint32_t size;
};

// Ten seconds of video with mp3 beside it, laid out as common writers do: 250 pictures, 383 sound
// chunks, an index, and room reserved for a super index in every stream list.
Bytes film();

// `streams` streams, 1 to 19: video, then sound, then others, 12 of a kind at most.
Bytes with_streams(int streams);

// `chunks` small chunks at the first level of the form, before "movi".
Bytes with_chunks(int chunks);

// Pictures of `size` bytes each, `total` bytes of them in all.
Bytes with_pictures(std::uint32_t size, std::uint32_t total, const Bytes &before_movi = {});

// One large chunk that open loads: stream data, a data list's, a menu list's.
Bytes with_stream_data(std::uint32_t size);
Bytes with_data_chunk(std::uint32_t size);
Bytes with_menu_chunk(std::uint32_t size);

void write_file(const std::string &path, const Bytes &content);

// The media chunks of the file's "movi" lists, in all its forms.
std::vector<MediaChunk> media_chunks(const std::string &path);

}  // namespace bench_files

#endif
