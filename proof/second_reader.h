// A second reader of AVI files, over bytes in memory.
//
// It exists to check the real reader: written apart from it, step after step as the reader is meant
// to go, without a thought for cleverness. It reads whole files that lie in memory, on a stream
// that has a position and an end and behaves as a C library stream would.
#ifndef PROOF_SECOND_READER_H
#define PROOF_SECOND_READER_H

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace second {

// A chunk that the reader loads. Its length comes from a size field and may be far beyond what the
// file holds: only the bytes that the file has are kept, all that follow up to `length` are 0.
struct Buffer {
    bool present = false;
    std::uint32_t size = 0;    // the chunk's size field as read
    std::uint64_t length = 0;  // the bytes that the buffer has
    std::vector<std::uint8_t> held;
    std::int64_t pos = 0;  // where the buffer's first byte lies in the file
};

struct MainHeader {
    std::uint32_t microseconds_per_frame = 0;
    std::uint32_t max_bytes_per_second = 0;
    std::uint32_t padding_granularity = 0;
    std::uint32_t flags = 0;
    std::uint32_t total_frames = 0;
    std::uint32_t initial_frames = 0;
    std::uint32_t streams = 0;
    std::uint32_t suggested_buffer_size = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::array<std::uint32_t, 4> reserved{};
};

struct StreamHeader {
    std::uint32_t type = 0;
    std::uint32_t handler = 0;
    std::uint32_t flags = 0;
    std::uint16_t priority = 0;
    std::uint16_t language = 0;
    std::uint32_t initial_frames = 0;
    std::uint32_t scale = 0;
    std::uint32_t rate = 0;
    std::uint32_t start = 0;
    std::uint32_t length = 0;
    std::uint32_t suggested_buffer_size = 0;
    std::uint32_t quality = 0;
    std::uint32_t sample_size = 0;
    std::array<std::uint16_t, 4> frame{};
};

struct StreamRow {
    StreamHeader header;
    std::int32_t kind = 0;
    std::uint32_t track = 0;    // the stream's row in the table of its kind
    std::int64_t list_pos = 0;  // where the header of its "strl" list lies
};

// A row of the video table and of the bitmap-subtitle table.
struct VideoTrack {
    std::uint32_t rate = 0;
    std::uint32_t scale = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::array<std::uint8_t, 5> handler{};      // four characters and a 0
    std::array<std::uint8_t, 5> compression{};  // four characters and a 0
    std::uint32_t has_stream_data = 0;
    std::uint32_t stream_data_word = 0;
    std::uint32_t quality = 0;
    std::uint32_t stream_data_size = 0;
    std::uint32_t stream_data_pos = 0;      // the low 32 bits of the position
    std::vector<std::uint8_t> stream_data;  // stream_data_size bytes, or none
    std::int32_t name_length = 0;
    std::vector<std::uint8_t> name;  // name_length bytes
};

struct WaveFormat {
    std::uint16_t format_tag = 0;
    std::uint16_t channels = 0;
    std::uint32_t samples_per_second = 0;
    std::uint32_t average_bytes_per_second = 0;
    std::uint16_t block_align = 0;
    std::uint16_t bits_per_sample = 0;
    std::uint16_t extra_size = 0;
    std::array<std::uint8_t, 22> extra{};
};

struct AudioTrack {
    WaveFormat format;
    std::uint32_t initial_frames = 0;
    std::uint32_t scale = 0;
    std::uint32_t rate = 0;
    std::uint32_t start = 0;
    std::uint32_t sample_size = 0;
    std::int32_t name_length = 0;
    std::vector<std::uint8_t> name;  // name_length bytes
};

// A row of the text-subtitle table and of the chapter table.
struct TextTrack {
    std::array<std::uint16_t, 4> values{};  // slots 1 to 4
    std::uint32_t size = 0;
    std::vector<std::uint8_t> data;
};

struct SuperIndexInfo {
    std::uint16_t longs_per_entry = 0;
    std::uint8_t index_subtype = 0;
    std::uint8_t index_type = 0;
    std::uint32_t entries_in_use = 0;
    std::uint32_t chunk_id = 0;
    std::array<std::uint32_t, 3> reserved{};
};

inline constexpr std::int32_t kMaxTracks = 12;
inline constexpr std::int32_t kMaxStreams = 19;
inline constexpr std::int32_t kMaxSuperIndexes = 20;

template <class Row>
struct Table {
    std::int32_t count = 0;
    std::array<Row, kMaxTracks> rows{};
};

struct Record {
    std::uint64_t file_size = 0;
    std::uint32_t open_option = 0;
    std::int32_t form_count = 0;
    std::uint32_t total_frames_ext = 0;
    std::int64_t index_pos = 0;
    std::int64_t movi_pos = 0;
    std::int64_t data_list_pos = 0;
    std::int64_t menu_list_pos = 0;
    std::int64_t form_menu_pos = 0;
    std::int32_t data_list_present = 0;
    std::int32_t menu_list_present = 0;
    MainHeader main_header;
    std::int64_t main_header_pos = 0;  // the header of the last "avih" that was read, 0 for none
    Buffer data_blob;
    Buffer menu_blob;
    Buffer form_menu_blob;
    std::int32_t stream_count = 0;
    std::array<StreamRow, kMaxStreams> streams{};
    Table<VideoTrack> video;
    Table<VideoTrack> bitmap_subtitle;
    Table<AudioTrack> audio;
    Table<TextTrack> text_subtitle;
    Table<TextTrack> chapter;
    // Addressed by stream number; a position of 0 says that the number has none. Nothing ever
    // writes the words.
    std::array<std::uint32_t, kMaxSuperIndexes> super_index_word{};
    std::array<std::int64_t, kMaxSuperIndexes> super_index_pos{};
    std::array<SuperIndexInfo, kMaxSuperIndexes> super_index{};
};

enum class Reason {
    none,
    no_memory,
    top_level_cut_short,
    list_header_cut_short,
    not_a_form,
    not_avi,
    header_list_too_short,
    no_main_header,
    header_list_cut_short,
    too_many_streams,
    too_many_audio_streams,
    too_many_video_streams,
    too_many_bitmap_subtitles,
    too_many_text_subtitles,
    too_many_chapters,
    bad_stream_header,
    bad_audio_format,
    bad_video_format,
    bad_text_format,
    bad_stream_name,
    stream_list_cut_short,
    movi_too_short,
    no_movi,
    form_cut_short,
};

struct Refusal {
    Reason reason = Reason::none;
    std::int64_t position = 0;
    std::uint32_t found = 0;  // the FourCC that stands where another was needed, or 0
};

// One open form or list.
struct Node {
    Node *parent = nullptr;
    std::int64_t start = 0;   // where its 8-byte header lies
    std::uint64_t size = 0;   // the header's size
    std::int64_t cursor = 0;  // the header of the next sub-chunk to visit
    std::uint32_t id = 0;
    std::uint32_t list_type = 0;
    int error = 0;  // all statuses of the reads made for it; other than 0 stops the walks
    std::uint32_t depth = 0;
};

// What opening a file gives. A file that is refused has an empty record.
struct Answer {
    bool opened = false;
    Refusal refusal;
    Record record;
    std::int64_t position = 0;  // where the stream stands after the open
    Node form;                  // what is then open: the first form,
    Node movi;                  // and in it the "movi" list; their parents are not told
};

// Opens the file whose bytes are given. `open_option` other than 0 lets a super index name its
// stream with the last two characters of its chunk id.
Answer read(std::span<const std::uint8_t> file, std::uint32_t open_option);

// The kind of a data chunk by its id: 1 "wb", 2 "db", 3 "dc", 4 "dd", 5 "st", 6 "sb", 7 "ch",
// 8 "ix", 10 "JUNK", 11 reserved, 0 unknown. With `allow_swapped` the two-letter code may also
// come first.
int chunk_kind(std::uint32_t fourcc, bool allow_swapped);

// Whether two FourCCs are equal but for ASCII case, up to the first 0 byte.
bool fourcc_equal(std::uint32_t one, std::uint32_t other);

}  // namespace second

#endif
