// How failure travels: every operation returns a status, and what refuses a file has noted why and
// where before it returns one.
#ifndef AVI_READER_REFUSAL_H
#define AVI_READER_REFUSAL_H

#include <cstdint>

#include "fourcc.h"

// 0 for success. The statuses of a run of reads are ORed together and looked at once; a failure is
// always odd, and may say more.
using AviStatus = std::uint32_t;
inline constexpr AviStatus kAviOk = 0;
inline constexpr AviStatus kAviFailed = 1;      // the file ends, or what it holds will not do
inline constexpr AviStatus kAviUnreadable = 3;  // it should go on, and cannot be read
inline constexpr AviStatus kAviNoMemory = 5;

// Why a file was refused, and what the position and FourCC of an AviRefusal then are.
enum class AviReason : std::uint32_t {
    none,
    no_memory,               // for the record or a node
    cannot_open,             // the C library's errno tells more
    cannot_read,             // position of the byte that cannot be read
    top_level_cut_short,     // position of the top-level chunk whose header cannot be read
    list_header_cut_short,   // position where a form's or list's header could be read no further
    not_a_form,              // the first chunk's id, at position 0
    not_avi,                 // the first form's type, at position 8
    header_list_too_short,   // position of the "hdrl" list
    no_main_header,          // position and id of the chunk that stands in place of "avih"
    header_list_cut_short,   // position of the "hdrl" list, which goes on past the end of the file
    too_many_streams,        // position of the "strl" list that is one too many
    too_many_audio_streams,  // the same
    too_many_video_streams,  // the same
    too_many_bitmap_subtitles,  // the same
    too_many_text_subtitles,    // the same
    too_many_chapters,          // the same
    bad_stream_header,          // position of the "strl" list that it is in
    bad_audio_format,           // the same
    bad_video_format,           // the same
    bad_text_format,            // the same
    bad_stream_name,            // the same
    stream_list_cut_short,      // position of the "strl" list
    movi_too_short,             // position of the "movi" list
    no_movi,                    // position where the walk of the first form ended
    form_cut_short,             // position where it could go no further
};

struct AviRefusal {
    AviReason reason;
    FourCC found;
    std::int64_t pos;
};

#endif
