// The AVI container reader: opens a file, keeps what it finds in one record, answers queries about
// it and releases it. It knows files, and nothing of services, handles or logging.
//
//     AviReaderState *reader = aviin_open("film.avi", 0);
//     if (reader == nullptr) return;                            // not a file that it reads
//     for (int i = 0; i < reader->stream_count; ++i) use(reader->streams[i]);
//     aviin_close(reader);
//
// This header is in reading order: FourCCs, the stream and its primitives, the chunk stack, the
// reasons for a refusal, the record with its tables, and the operations that fill, query and
// release it. Each section is implemented by the source file that it names.
//
// Conventions
//   * A status is 0 for success and 1 for failure; the statuses of a run of reads are ORed together
//     and looked at once. Nothing here logs, throws or aborts.
//   * Every integer in a file is little-endian and is assembled from bytes, so no load is ever
//     misaligned. Positions are bytes from the start of the file, signed 64-bit.
//   * Whoever allocates frees; what the record keeps, aviin_close releases.
//   * There is no global state. A record belongs to one caller at a time; two never share anything.
#ifndef AVI_READER_AVI_READER_H
#define AVI_READER_AVI_READER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

using AviStatus = std::uint32_t;
inline constexpr AviStatus kAviOk = 0;
inline constexpr AviStatus kAviFailed = 1;

// ---------------------------------------------------------------------------- limits

// "strl" lists in a file: one fewer than the stream numbers that a super index can name.
inline constexpr std::int32_t kAviMaxStreams = 19;
// Streams of one kind.
inline constexpr std::int32_t kAviMaxTracks = 12;
// Stream numbers with a place in the super-index tables. Numbers up to 99 can be written in a chunk
// id; the others are ignored.
inline constexpr std::uint32_t kAviSuperIndexes = 20;
// Bytes of an audio format's own extension that a row has room for.
inline constexpr std::int16_t kAviWaveExtraRoom = 22;
// No buffer is larger, on any build: what a 32-bit host cannot have, a 64-bit one does not take, so
// that a file gives the same record everywhere.
inline constexpr std::uint64_t kAviLargestBuffer = 2147483647;
// The one list size that takes a walk around it no further than the list's own header: it is odd,
// and its even form wraps to 0 in 32 bits.
inline constexpr std::uint32_t kAviWrappingSize = 0xFFFFFFFF;

// ---------------------------------------------------------------------------- FourCCs (fourcc.cpp)

[[nodiscard]] constexpr std::uint16_t avi_get_u16le(const unsigned char *bytes) {
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

[[nodiscard]] constexpr std::uint32_t avi_get_u32le(const unsigned char *bytes) {
    return avi_get_u16le(bytes) | static_cast<std::uint32_t>(avi_get_u16le(bytes + 2)) << 16;
}

// Four characters, the first in the least significant byte: file order is kept. The type has no ==
// on purpose, so that every test goes through avi_fourcc_equal.
struct FourCC {
    std::uint32_t value;
};

// The FourCC of the 4 characters at `text`.
[[nodiscard]] constexpr FourCC avi_fourcc_from_string(const char *text) {
    unsigned char bytes[4]{};
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<unsigned char>(text[i]);
    return {avi_get_u32le(bytes)};
}
static_assert(avi_fourcc_from_string("RIFF").value == 0x46464952);

// The same 4 characters in file order, then a 0.
constexpr void avi_fourcc_to_chars(FourCC fourcc, char (&text)[5]) {
    for (int i = 0; i < 4; ++i) text[i] = static_cast<char>(fourcc.value >> (8 * i) & 0xFF);
    text[4] = '\0';
}

// Whether two FourCCs name the same thing: ASCII case is ignored, and what follows a 0 byte that
// both have at the same place does not count.
[[nodiscard]] bool avi_fourcc_equal(FourCC a, FourCC b);

// What a chunk of the "movi" list carries, by the two-letter code in its id. A stream's `kind` uses
// the same numbers. 9 is not used.
enum class ChunkKind : std::uint32_t {
    unknown = 0,
    audio = 1,               // ##wb
    uncompressed_video = 2,  // ##db
    compressed_video = 3,    // ##dc
    dd = 4,                  // ##dd
    text_subtitle = 5,       // ##st
    bitmap_subtitle = 6,     // ##sb
    chapter = 7,             // ##ch
    index = 8,               // ##ix
    junk = 10,               // JUNK
    reserved = 11,           // RES1, RES2, RES3
};

// Classifies a chunk id. The two characters of the stream number are not looked at. With
// `try_swapped`, an id written with its code first ("wb01") is classified as its other form.
[[nodiscard]] ChunkKind avi_chunk_kind(FourCC id, bool try_swapped);

// Whether both characters are decimal digits, as those of a stream number must be.
[[nodiscard]] constexpr bool avi_is_stream_number(char tens, char units) {
    return tens >= '0' && tens <= '9' && units >= '0' && units <= '9';
}

// ------------------------------------------------------------------- the stream (byte_stream.cpp)

// An open file. `size` is its length as measured at open, -1 for one without positions, such as a
// pipe; every walk and every run of bytes ends there, whatever sizes the file declares.
//
// A seek is only noted, in `target`, until something is read: walks seek more often than they read,
// and past the end there is nothing to read. Whoever uses `file` directly calls avi_file_settle
// first.
struct AviStream {
    std::FILE *file;
    std::int64_t size;
    std::int64_t target;  // position noted by a seek
    bool pending;         // whether `file` has still to go there

    // The chunk header that was last looked at; at 0 for none.
    std::int64_t seen_pos;
    FourCC seen_id;
    std::uint32_t seen_size;
};

// Opens `path` for reading at position 0. Returns a stream whose file is null when it cannot be
// opened.
[[nodiscard]] AviStream avi_file_open(const char *path);

// Reads up to `count` bytes and returns how many were read.
std::size_t avi_file_read(AviStream &stream, void *destination, std::size_t count);

// Moves the position; `whence` is SEEK_SET, SEEK_CUR or SEEK_END. Any other fails and leaves the
// stream alone; otherwise fails exactly when the C library refuses. Past the end is allowed.
AviStatus avi_file_seek(AviStream &stream, std::int64_t offset, int whence);

// Takes `file` to the position, if it stands elsewhere.
void avi_file_settle(AviStream &stream);

// The position, or -1 when the C library cannot tell.
[[nodiscard]] std::int64_t avi_file_tell(AviStream &stream);

// Closes the file. It is gone also when this fails.
AviStatus avi_file_close(AviStream &stream);

// Bytes between the position and the end of the file, 0 past it.
[[nodiscard]] std::int64_t avi_file_left(AviStream &stream);

// Each reads one integer. Only a read that delivers no byte at all fails, and then leaves the
// destination alone: a value cut short by the end of the file is completed with zero bytes.
AviStatus avi_read_u8(std::uint8_t &value, AviStream &stream);
AviStatus avi_read_u16le(std::uint16_t &value, AviStream &stream);
AviStatus avi_read_u32le(std::uint32_t &value, AviStream &stream);
AviStatus avi_read_fourcc(FourCC &value, AviStream &stream);

// Reads `count` bytes one at a time, or those that the file still holds, which fails.
AviStatus avi_read_bytes(unsigned char *destination, std::uint32_t count, AviStream &stream);

// Leaves the stream as avi_read_bytes would, without keeping the bytes or touching them.
AviStatus avi_skip_bytes(std::uint32_t count, AviStream &stream);

inline AviStatus avi_read_field(std::uint8_t &field, AviStream &stream) {
    return avi_read_u8(field, stream);
}
inline AviStatus avi_read_field(std::uint16_t &field, AviStream &stream) {
    return avi_read_u16le(field, stream);
}
inline AviStatus avi_read_field(std::uint32_t &field, AviStream &stream) {
    return avi_read_u32le(field, stream);
}
inline AviStatus avi_read_field(FourCC &field, AviStream &stream) {
    return avi_read_fourcc(field, stream);
}
template <typename Element, std::size_t Count>
AviStatus avi_read_field(Element (&field)[Count], AviStream &stream) {
    AviStatus status = kAviOk;
    for (Element &element : field) status |= avi_read_field(element, stream);
    return status;
}

// Reads a layout field by field, each by the width of its type. A failed field does not stop the
// later ones.
template <typename... Fields>
AviStatus avi_read_fields(AviStream &stream, Fields &...fields) {
    AviStatus status = kAviOk;
    ((status |= avi_read_field(fields, stream)), ...);
    return status;
}

// Reads a chunk's id and size. A header that is looked at to see what it is, and again by the
// reader of that chunk, is read from the file once.
AviStatus avi_read_chunk_header(FourCC &id, std::uint32_t &size, AviStream &stream);

// ---------------------------------------------------------------------------- memory

struct AviFree {
    void operator()(void *memory) const { std::free(memory); }
};
using AviBytes = std::unique_ptr<unsigned char[], AviFree>;

// Whether a buffer of that many bytes may be asked for at all.
[[nodiscard]] constexpr bool avi_can_allocate(std::uint64_t size) {
    return size <= kAviLargestBuffer;
}

// A zeroed buffer of `size` bytes (never null for 0), or null when it cannot be had. Every buffer
// whose size a file declares comes from here.
[[nodiscard]] AviBytes avi_allocate(std::uint64_t size);

// --------------------------------------------------------------- the chunk stack (chunk_stack.cpp)

// One open "RIFF", "MRIF" or "LIST" chunk. Nodes link to their parents; the record points at the
// innermost.
struct ChunkNode {
    ChunkNode *parent;    // the enclosing chunk; null for the outermost form
    AviStream *stream;    // the record's stream, not owned
    std::int64_t start;   // position of the 8-byte header
    std::int64_t size;    // as the header declares it, 0..0xFFFFFFFF
    std::int64_t cursor;  // position of the next sub-chunk's header
    FourCC id;            // "RIFF", "MRIF" or "LIST"
    FourCC list_type;     // the form or list type
    AviStatus error;      // statuses of the reads made for this node; non-zero stops its walk
    std::uint32_t depth;  // 1 for the outermost form
};

// Opens the form or list whose 12-byte header is at the stream's position. Null when its node
// cannot be allocated or its header cannot be read. The caller owns the node.
[[nodiscard]] ChunkNode *avi_chunk_push(ChunkNode *parent, AviStream &stream);

// Visits the next sub-chunk: returns its id (0 when it could not be read) with the stream at its
// header, and moves the cursor past it and the pad byte of an odd size.
FourCC avi_chunk_next(ChunkNode &node);

// Whether the stream's present position lies at or past the node's end. The end is measured from
// the header's start, so it comes 8 bytes before the true one, and it is the position that counts,
// not the cursor: what the reader of a sub-chunk left unread decides how far a walk goes.
[[nodiscard]] bool avi_chunk_at_end(const ChunkNode &node);

// Takes the stream to where a walk that only the end test stops would leave it, once the file holds
// nothing more to visit: on from the cursor in empty 8-byte steps.
void avi_chunk_finish(ChunkNode &node);

// Frees a node and returns its parent, which may be null.
ChunkNode *avi_chunk_pop(ChunkNode *node);

// Frees a node and every parent of it; nothing for null.
void avi_chunk_free_all(ChunkNode *node);

// ---------------------------------------------------------------------------- refusals

// Why a file was refused, and what the position and FourCC of an AviRefusal then are.
enum class AviReason : std::uint32_t {
    none,
    no_memory,              // for the record or a node
    cannot_open,            // the C library's errno tells more
    top_level_cut_short,    // position of the top-level chunk whose header cannot be read
    list_header_cut_short,  // position where a form's or list's header could be read no further
    not_a_form,             // the first chunk's id, at position 0
    not_avi,                // the first form's type, at position 8
    header_list_too_short,  // position of the "hdrl" list
    no_main_header,         // position and id of the chunk that stands in place of "avih"
    header_list_cut_short,  // position of the "hdrl" list, which goes on past the end of the file
    too_many_streams,       // position of the "strl" list too many, as for the next five
    too_many_audio_streams,
    too_many_video_streams,
    too_many_bitmap_subtitles,
    too_many_text_subtitles,
    too_many_chapters,
    bad_stream_header,  // position of the "strl" list, as for all down to the next remark
    bad_audio_format,
    bad_video_format,
    bad_text_format,
    bad_stream_name,
    stream_list_cut_short,
    movi_too_short,  // position of the "movi" list
    no_movi,         // position where the walk of the first form ended
    form_cut_short,  // position where it could go no further
};

struct AviRefusal {
    AviReason reason;
    FourCC found;
    std::int64_t pos;
};

// ---------------------------------------------------------------------------- the record

// "avih".
struct AviMainHeader {
    std::uint32_t microseconds_per_frame;
    std::uint32_t max_bytes_per_second;
    std::uint32_t padding_granularity;
    std::uint32_t flags;
    std::uint32_t total_frames;
    std::uint32_t initial_frames;
    std::uint32_t streams;
    std::uint32_t suggested_buffer_size;
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t reserved[4];
};
static_assert(sizeof(AviMainHeader) == 56);

// "strh".
struct AviStreamHeader {
    FourCC type;
    FourCC handler;
    std::uint32_t flags;
    std::uint16_t priority;
    std::uint16_t language;
    std::uint32_t initial_frames;
    std::uint32_t scale;
    std::uint32_t rate;
    std::uint32_t start;
    std::uint32_t length;
    std::uint32_t suggested_buffer_size;
    std::uint32_t quality;
    std::uint32_t sample_size;
    std::uint16_t frame[4];
};
static_assert(sizeof(AviStreamHeader) == 56);

// "strf" of an audio stream, with as many bytes of its extension as are kept.
struct AviWaveFormat {
    std::uint16_t format_tag;
    std::uint16_t channels;
    std::uint32_t samples_per_second;
    std::uint32_t average_bytes_per_second;
    std::uint16_t block_align;
    std::uint16_t bits_per_sample;
    std::uint16_t extra_size;
    unsigned char extra[kAviWaveExtraRoom];
};
static_assert(sizeof(AviWaveFormat) == 40);

// One "strl" list.
struct AviStreamRecord {
    AviStreamHeader header;
    ChunkKind kind;       // of the stream's data chunks; unknown for a type that is not kept
    std::uint32_t track;  // row in the table of its kind
};

// A video or bitmap-subtitle stream. Bitmap subtitles never have stream data.
struct VideoTrack {
    std::uint32_t rate;
    std::uint32_t scale;
    std::uint32_t width;
    std::uint32_t height;
    char handler[5];
    char compression[5];
    std::uint32_t has_stream_data;   // 1 when a "strd" chunk was loaded
    std::uint32_t stream_data_word;  // its first value
    std::uint32_t quality;
    std::uint32_t stream_data_size;
    std::int32_t stream_data_pos;  // low 32 bits of the payload's position
    unsigned char *stream_data;    // owned; stream_data_size bytes, or null
    std::int32_t name_length;
    unsigned char *name;  // owned; name_length bytes and a 0, or null
};

struct AudioTrack {
    AviWaveFormat format;
    std::uint32_t initial_frames;
    std::uint32_t scale;
    std::uint32_t rate;
    std::uint32_t start;
    std::uint32_t sample_size;
    std::int32_t name_length;
    unsigned char *name;  // owned; name_length bytes and a 0, or null
};

// A text-subtitle or chapter stream.
struct TextTrack {
    std::uint16_t values[4];  // slots 1 to 4
    std::uint32_t size;       // of `data`; nothing in the reader fills it
    unsigned char *data;      // owned
};

// The rows of one kind. It hands out rows until its room is used up, so that the limit stands in
// one place.
template <typename Row>
struct AviTable {
    std::int32_t count;
    Row rows[kAviMaxTracks];

    [[nodiscard]] Row *add_row() { return count < kAviMaxTracks ? &rows[count++] : nullptr; }
    [[nodiscard]] std::uint32_t last_row() const { return static_cast<std::uint32_t>(count - 1); }
    // No row for a count below 0, too.
    [[nodiscard]] std::size_t size() const {
        return count > 0 ? static_cast<std::size_t>(count) : std::size_t{0};
    }
    [[nodiscard]] std::span<const Row> used() const { return {rows, size()}; }
};

// The header of an "indx" chunk. Its entries are not read.
struct SuperIndexInfo {
    std::uint16_t longs_per_entry;
    std::uint8_t index_subtype;
    std::uint8_t index_type;
    std::uint32_t entries_in_use;
    FourCC chunk_id;
    std::uint32_t reserved[3];
};

// An extension chunk that is kept whole.
struct AviBlob {
    std::int32_t present;
    std::uint32_t size;   // the chunk's size field as read
    unsigned char *data;  // owned; bytes that the file does not hold are 0. Null for no chunk
    std::int64_t pos;     // where the first byte of `data` lies in the file; 0 for no chunk
};

// Everything known of one open file. Zeroed whole at open.
struct AviReaderState {
    AviStream stream;      // owned
    ChunkNode *chunk_top;  // owned; after open the "movi" list's node, whose parent is the form's
    AviRefusal refusal;    // set by what refuses the file

    AviTable<VideoTrack> video;
    AviTable<AudioTrack> audio;
    AviTable<VideoTrack> bitmap_subtitle;
    AviTable<TextTrack> text_subtitle;
    AviTable<TextTrack> chapter;

    std::int32_t stream_count;  // one row per "strl" list, in file order
    AviStreamRecord streams[kAviMaxStreams];

    AviMainHeader main_header;
    std::uint32_t total_frames_ext;  // from the "odml" list: frames over all forms

    AviBlob menu_blob;               // last "MENU" of a QMNU list: size + 8 bytes, header included
    std::int32_t menu_list_present;  // 1 when the first form has a QMNU list before "movi"
    AviBlob data_blob;               // last "MTDA" of a QRDT list: size bytes of payload
    std::int32_t data_list_present;  // 1 when the first form has a QRDT list before "movi"

    // By stream number; a position of 0 stands for no super index.
    std::int64_t super_index_pos[kAviSuperIndexes];  // position of the "indx" header
    SuperIndexInfo super_index[kAviSuperIndexes];

    std::uint32_t open_option;   // as passed to aviin_open
    std::int64_t index_pos;      // of the "idx1" or "1idx" header in the first form; 0 for none
    std::int64_t data_list_pos;  // just after the list type of the last QRDT list; 0 for none
    std::int64_t menu_list_pos;  // just after the list type of the last QMNU list; 0 for none
    std::int64_t movi_pos;       // of the first media chunk
    std::uint32_t form_count;    // top-level "RIFF" forms, and "MRIF" chunks in menus
    AviBlob form_menu_blob;      // last "MENU" of a top-level menu form: size + 8 bytes
    std::int64_t form_menu_pos;  // 24 bytes into the last top-level menu form; 0 for none
};

// Pushes the form or list at the stream's position as the record's innermost node. When it cannot
// be pushed, false, and the whole stack is gone: there is no innermost node. (chunk_stack.cpp)
[[nodiscard]] bool avi_enter_list(AviReaderState &reader);

// Pops the record's innermost node. (chunk_stack.cpp)
void avi_leave_list(AviReaderState &reader);

// --------------------------------------------- walks that fill the record, in the order of an open

// First pass, over the file's top-level chunks: counts forms and notes the last menu. Fails when
// the id of a chunk, or the size of one that is not "RIFF", cannot be read. (extension_chunks.cpp)
[[nodiscard]] AviStatus avi_scan_forms(AviReaderState &reader, AviStream &stream);

// Whether a chunk of that id is the index. (extension_chunks.cpp)
[[nodiscard]] bool avi_is_index(FourCC id);

// Finds the index among the innermost node's sub-chunks, from its cursor on. (extension_chunks.cpp)
void avi_find_index(AviReaderState &reader);

// Walk the innermost node, a QRDT or QMNU list, and note its last "MTDA" or "MENU" chunk. A chunk
// larger than any buffer leaves the blob empty and stops the walk. (extension_chunks.cpp)
void avi_load_data_chunk(AviReaderState &reader);
void avi_load_menu_list(AviReaderState &reader);

// Reads the noted chunks into their blobs and restores the position. Only the last chunk of a kind
// is ever read, so that a thousand chunks that each claim the rest of the file cost one reading of
// it. A blob whose buffer cannot be had is left empty. (extension_chunks.cpp)
void avi_read_blobs(AviReaderState &reader);

// Walks the innermost node, the "hdrl" list. A failure is left in the innermost node's error, or
// leaves no innermost node. `allow_trailing_stream_number` lets a super index name its stream in
// the last two characters of its chunk id ("ix02"). (header_list.cpp)
void avi_parse_header_list(AviReaderState &reader, bool allow_trailing_stream_number);

// Reads an "avih" chunk, header included, and skips what it has beyond 56 bytes. (header_list.cpp)
AviStatus avi_read_main_header(AviMainHeader &header, AviStream &stream);

// Turns the innermost node, a "strl" list, into a row of the stream table and one of the table of
// its kind. A refusal sets the node's error. (stream_list.cpp)
void avi_parse_stream_list(AviReaderState &reader, bool allow_trailing_stream_number);

// Notes why the file is refused and returns kAviFailed.
inline AviStatus avi_refuse(AviReaderState &reader, AviReason reason, std::int64_t pos,
                            FourCC found = {}) {
    reader.refusal = {reason, found, pos};
    return kAviFailed;
}

// ------------------------------------------------------------------------ open, close (reader.cpp)

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

// ------------------------------------------------------------------------- queries (queries.cpp)

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
