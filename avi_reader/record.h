// The record of one open file: all that the reader keeps of it.
#ifndef AVI_READER_RECORD_H
#define AVI_READER_RECORD_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "byte_stream.h"
#include "fourcc.h"
#include "refusal.h"

struct ChunkNode;

// "strl" lists in a file: one fewer than the stream numbers that a super index can name.
inline constexpr std::int32_t kAviMaxStreams = 19;
// Streams of one kind.
inline constexpr std::int32_t kAviMaxTracks = 12;
// Stream numbers with a place in the super-index tables. Numbers up to 99 can be written in a chunk
// id; the others are ignored.
inline constexpr std::uint32_t kAviSuperIndexes = 20;
// Bytes of an audio format's own extension that a row has room for.
inline constexpr std::int16_t kAviWaveExtraRoom = 22;

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
    ChunkKind kind;         // of the stream's data chunks; unknown for a type that is not kept
    std::uint32_t track;    // row in the table of its kind
    std::int64_t list_pos;  // of the list's header
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
    std::uint32_t stream_data_pos;  // low 32 bits of the payload's position
    unsigned char *stream_data;     // owned; stream_data_size bytes, or null
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

    struct NewRow {
        Row *row;  // null when there is no room
        std::uint32_t number;
    };
    [[nodiscard]] NewRow add_row() {
        if (count >= kAviMaxTracks) return {};
        const std::int32_t number = count++;
        return {&rows[number], static_cast<std::uint32_t>(number)};
    }
    // A negative count means no rows.
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
    std::int64_t main_header_pos;    // of the last "avih" that was read; 0 for none
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

// Notes why the file is refused, and where. When bytes are lacking that could not be read, that is
// the reason, as the rest follows from it. Returns a failure.
AviStatus avi_refuse(AviReaderState &reader, AviReason reason, std::int64_t pos, FourCC found = {});

// The same after reads that failed with this status: when it says that memory ran out, or that the
// file cannot be read, that is the reason.
AviStatus avi_refuse_for(AviReaderState &reader, AviStatus status, AviReason reason,
                         std::int64_t pos);

#endif
