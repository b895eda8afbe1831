// The AVI container reader: opens a file, keeps what it finds in one record, answers queries about
// it and releases it. It knows files, and nothing of services, handles or logging.
//
//     AviReader reader(aviin_open("film.avi", 0));
//     if (reader == nullptr) return;                            // not a file that it reads
//     for (int i = 0; i < reader->stream_count; ++i) use(reader->streams[i]);
//
// Read record.h first: what is kept of a file. Then reader.cpp, which tells in which order; the
// rooms that it calls have a header each, and include only those below them:
//
//     fourcc, refusal, memory          what everything is made of
//     byte_stream                      an open file and its position
//     record                           what is kept
//     chunk_stack, blob                walks over lists; chunks that are kept whole
//     top_level, extension_lists, index, stream_list, header_list
//                                      the parts of a file, one each
//
// Conventions
//   * A status is 0 for success; see refusal.h. Nothing here logs, throws or aborts.
//   * Every integer in a file is little-endian and is assembled from bytes, so no load is ever
//     misaligned. Positions are bytes from the start of the file, signed 64-bit.
//   * Whoever allocates frees; what the record keeps, aviin_close releases.
//   * There is no global state. A record belongs to one caller at a time; two never share anything.
#ifndef AVI_READER_AVI_READER_H
#define AVI_READER_AVI_READER_H

#include <memory>

#include "byte_stream.h"
#include "chunk_stack.h"
#include "fourcc.h"
#include "record.h"
#include "refusal.h"

// Opens the file and fills a record, with the stream at the first chunk of the "movi" list. The
// option is kept and passed on to the header walk and to the chunk classifier: non-zero lets both
// take a stream number in the last two characters of an id. Returns null, and leaves no memory and
// no open file behind, when the file cannot be opened, is not an AVI form, has a header list that
// is refused, has no "movi" list, or when memory runs out; `refusal`, if given, then tells why and
// where. It is left alone on success.
[[nodiscard]] AviReaderState *aviin_open(const char *path, std::uint32_t open_option,
                                         AviRefusal *refusal = nullptr);

// Releases a record, half-built or whole, with its stream and every buffer. Null is ignored.
void aviin_close(AviReaderState *reader);

// Closes the record with the object that holds it.
struct AviClose {
    void operator()(AviReaderState *reader) const { aviin_close(reader); }
};
using AviReader = std::unique_ptr<AviReaderState, AviClose>;

// ---- queries

// All return kAviOk. They neither read the file nor allocate, and an index that is out of range is
// the caller's mistake.

// The number of streams, and of video rows with stream data.
[[nodiscard]] AviStatus avvin_get_summary(const AviReaderState &reader, std::int32_t &streams,
                                          std::int32_t &with_stream_data);

// The kind of the chunks that carry stream `track`.
[[nodiscard]] AviStatus avvin_get_track_chunk_type(const AviReaderState &reader, std::int32_t track,
                                                   ChunkKind &kind);

// The stream data of stream `track`, which must be of kind compressed_video. The payload stays the
// record's; it is null, with size 0, for a stream without any.
[[nodiscard]] AviStatus avvin_get_track_strd(const AviReaderState &reader, std::int32_t track,
                                             const unsigned char *&payload, std::uint32_t &size);

#endif
