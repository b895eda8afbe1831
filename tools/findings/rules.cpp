#include "findings/rules.h"

#include <algorithm>
#include <array>

namespace {

constexpr const char *kNotOpened = "The plug-in does not open the file: nothing of it plays.";
constexpr const char *kCopyAgain =
    "Copy or record the file again; what is there of it can be rewritten by a remuxer that does "
    "not trust its sizes.";
constexpr const char *kFewerStreams =
    "Leave streams out: write two files, or drop what nobody plays.";
constexpr const char *kWriteIndex =
    "Have the index written anew: remux the file without re-encoding.";
constexpr const char *kFixWriter = "Correct the program that writes the file.";
constexpr const char *kRemux = "Remux the file without re-encoding, and correct what wrote it.";

constexpr auto kRules = std::to_array<Rule>({
    // Refusals, by the reader's words for them.
    {"no_memory", Severity::refusal, "There is no memory for what the reader keeps of the file.",
     kNotOpened, "Try again on a machine with more free memory."},
    {"cannot_open", Severity::refusal, "The path cannot be opened or read.", kNotOpened,
     "Look at the path and its permissions."},
    {"cannot_read", Severity::refusal,
     "The medium fails where the file's headers lie: reading returns an error.", kNotOpened,
     "Copy the file to a sound medium, with a tool that goes on after errors."},
    {"top_level_cut_short", Severity::refusal,
     "Behind the last form are bytes that are too few for a chunk's header, or a form of odd size "
     "moved the next one.",
     kNotOpened, "Cut the bytes off; write forms of even size."},
    {"list_header_cut_short", Severity::refusal,
     "The file ends inside the 12 bytes that begin a form or list.", kNotOpened, kCopyAgain},
    {"not_a_form", Severity::refusal, "The file does not begin with 'RIFF': it is no AVI file.",
     kNotOpened, "Look at what the file really is; remove what stands before 'RIFF'."},
    {"not_avi", Severity::refusal, "The first form is of another type than 'AVI '.", kNotOpened,
     "Look at what the file really is, a sound file for example."},
    {"header_list_too_short", Severity::refusal,
     "The 'hdrl' list declares 12 bytes or less, so that its walk ends before it begins.",
     kNotOpened, "Write the list's real size."},
    {"no_main_header", Severity::refusal, "The header list does not begin with 'avih'.", kNotOpened,
     "Write 'avih' first in 'hdrl', in these letters."},
    {"header_list_cut_short", Severity::refusal,
     "The file ends before the 'hdrl' list does, or the list declares too much.", kNotOpened,
     kCopyAgain},
    {"too_many_streams", Severity::refusal, "There are more streams than the reader has room for.",
     kNotOpened, kFewerStreams},
    {"too_many_audio_streams", Severity::refusal,
     "There are more audio streams than the reader has room for.", kNotOpened, kFewerStreams},
    {"too_many_video_streams", Severity::refusal,
     "There are more video streams than the reader has room for.", kNotOpened, kFewerStreams},
    {"too_many_bitmap_subtitles", Severity::refusal,
     "There are more bitmap subtitle streams than the reader has room for.", kNotOpened,
     kFewerStreams},
    {"too_many_text_subtitles", Severity::refusal,
     "There are more text subtitle streams than the reader has room for.", kNotOpened,
     kFewerStreams},
    {"too_many_chapters", Severity::refusal,
     "There are more chapter streams than the reader has room for.", kNotOpened, kFewerStreams},
    {"bad_stream_header", Severity::refusal,
     "A stream list does not begin with a whole 'strh' of 56 bytes or more.", kNotOpened,
     "Write 'strh' first in 'strl', with all its 56 bytes."},
    {"bad_audio_format", Severity::refusal, "The file ends inside an audio stream's format.",
     kNotOpened, kCopyAgain},
    {"bad_video_format", Severity::refusal,
     "A video format is cut short, is no 'strf', or declares another size than its chunk: palettes "
     "behind a format of 40 bytes and format data of odd length are refused so.",
     kNotOpened,
     "Write the format's own size as large as its chunk and even; keep palettes and codec data out "
     "of 'strf' (H.264 without a global header)."},
    {"bad_text_format", Severity::refusal, "The file ends inside a text stream's format.",
     kNotOpened, kCopyAgain},
    {"bad_stream_name", Severity::refusal,
     "A stream name's length is negative when its low 16 bits are read as a signed number.",
     kNotOpened, "Write names of less than 32,768 bytes."},
    {"stream_list_cut_short", Severity::refusal,
     "The file ends where the next chunk of a stream list is looked for.", kNotOpened,
     "Copy the file again; if it is whole, look for a size in the stream list that is too large."},
    {"movi_too_short", Severity::refusal,
     "The 'movi' list declares 12 bytes or less, as recordings do that were never finished.",
     kNotOpened, "Write the real size of 'movi', or one too large: never 0."},
    {"no_movi", Severity::refusal, "The walk of the first form meets no 'movi' list.", kNotOpened,
     "Write a 'movi' list into the first form, and the form's real size; a size inside it that is "
     "too large hides it."},
    {"form_cut_short", Severity::refusal, "The file ends before the first form's 'movi' list.",
     kNotOpened, kCopyAgain},

    // Sizes.
    {"claims_too_much", Severity::error,
     "A chunk declares more bytes than the file, or the list around it, holds.",
     "What is missing does not play; players that trust the size pass over what follows.",
     kCopyAgain},
    {"never_finished", Severity::error,
     "A form or list declares next to nothing and holds the media: its size was to be filled in "
     "when the recording ended.",
     "Players find no media, or search for them; the reader refuses a 'movi' list like that.",
     "Fill in the sizes of the form and of 'movi', and write an index: remux the file."},
    {"wrong_size", Severity::error,
     "What follows a chunk or list does not begin where its size says.",
     "Players lose what follows, up to where they find the next chunk, and some all of it.",
     kRemux},
    {"lost_bytes", Severity::warning,
     "Bytes at the end of the file, a form or a list are too few for a chunk.",
     "They are passed over; 1 to 4 bytes behind the last form make the plug-in refuse a file.",
     kFixWriter},
    {"zero_hole", Severity::error, "There are zeros where a chunk should begin.",
     "Players stop there, or search on for the next chunk: pictures and sound are missing.",
     "Copy the file again: a transfer or a disk lost a part of it."},
    {"behind_last_form", Severity::warning, "Something lies outside the forms of the file.",
     "No player reads it.", "Cut it off, or put it into a form."},
    {"odd_form", Severity::error, "A form of odd size is not the last one.",
     "The pad byte behind it hides the forms that follow it from the reader.",
     "Write forms of even size."},
    {"unknown_form", Severity::note, "A form is neither of AVI nor a menu.",
     "Players pass over it.", "None is needed."},

    // Headers.
    {"short_main_header", Severity::warning, "The main header is shorter than its 56 bytes.",
     "The reader reads 56 all the same: the last values come from what follows.",
     "Write all 14 values of 'avih'."},
    {"stream_count_differs", Severity::warning,
     "The main header counts other streams than the file has lists for.",
     "Players that believe the number miss streams, or look for some that are not there.",
     "Write the number of 'strl' lists."},
    {"no_headers", Severity::error, "There is no header list before the media.",
     "The reader opens the file without streams; other players refuse it.",
     "Write 'hdrl' first in the first form."},
    {"frames_differ", Severity::warning,
     "The number of frames that the headers declare is not that of the media.",
     "Players show a wrong length and seek to the wrong place; the last frames may not play.",
     "Write the number of video chunks into 'avih' (first form) and 'dmlh' (all forms)."},
    {"length_differs", Severity::warning,
     "The length that a stream's header declares is not that of its media.",
     "Players show a wrong length, stop early, or wait for what never comes.",
     "Write the stream's length in its own units: chunks, or samples of its sample size."},
    {"no_frame_rate", Severity::error, "A stream's scale or rate is 0: its media have no time.",
     "Players divide by it: they refuse the stream, or guess.", "Write scale and rate in 'strh'."},
    {"frame_rates_differ", Severity::warning,
     "The main header's time of a frame is not what the video stream's scale and rate make.",
     "Players that take one or the other play at different speeds.",
     "Write microseconds per frame as 1,000,000 x scale / rate."},
    {"no_picture_size", Severity::error, "The video format has a width or height of 0.",
     "There is nothing to be shown: players refuse the stream.", "Write the picture's size."},
    {"picture_sizes_differ", Severity::warning,
     "The main header's picture size is not that of the video format.",
     "Players that make their window from the main header show a distorted picture.",
     "Write the same width and height in 'avih' and 'strf'."},
    {"video_format_odd", Severity::error,
     "A video format's depth or planes are none that a picture can have.",
     "Decoders that believe it refuse the stream or show noise.",
     "Write 1 plane and the depth in bits: 1, 4, 8, 12, 16, 24, 32."},
    {"no_sound_format", Severity::error, "An audio format has no channels or no sampling rate.",
     "Players refuse the stream.", "Write the format's values."},
    {"audio_format_inconsistent", Severity::error,
     "The values of an audio format contradict each other.",
     "Sound plays at the wrong speed, or as noise.",
     "For PCM, block align is channels x bits / 8, and bytes per second are that x samples per "
     "second."},
    {"audio_rate_differs", Severity::warning,
     "A PCM stream's scale and rate make another speed than its format does.",
     "Sound drifts away from the picture in players that use the other one.",
     "Write rate / scale as the samples per second."},
    {"unknown_stream", Severity::note,
     "A stream is of a type of which the reader keeps nothing but the header.",
     "It is not played; its chunks are read all the same.",
     "None is needed; name text streams 'Subtitle' or 'Chapter' if they are that."},
    {"buffer_too_small", Severity::warning,
     "A buffer size that a header suggests is smaller than the largest chunk.",
     "Players that take a buffer of that size cut the chunk, or stumble.",
     "Write the size of the stream's largest chunk, or 0 for unknown."},

    // Media.
    {"undescribed_media", Severity::error, "Media chunks name a stream that no header describes.",
     "They do not play.", "Write a 'strl' list for the stream, or the right number into the ids."},
    {"stream_without_media", Severity::warning, "A stream is described and has no media chunk.",
     "Players offer a track that stays silent or dark, and may wait for it.",
     "Leave out its 'strl' list."},
    {"unknown_media_id", Severity::error, "A chunk among the media has an id that is none.",
     "It does not play.",
     "Write the stream's two digits and 'dc', 'db', 'wb' or another known code."},
    {"wrong_media_kind", Severity::error,
     "A media chunk's code does not go with the type of the stream that it names.",
     "Sound is handed to the video decoder, or the other way round, or it is dropped.",
     "Write 'wb' for audio, 'dc' or 'db' for video."},
    {"badly_interleaved", Severity::warning,
     "Sound lies many seconds away from its picture in the file.",
     "Players read back and forth, or stutter: on discs and networks above all.",
     "Remux the file with a shorter interleaving."},
    {"media_outside_list", Severity::error, "A media chunk lies outside a 'movi' list.",
     "It does not play in players that trust sizes.", kRemux},

    // The index.
    {"no_index", Severity::warning, "The file has no index.",
     "Players cannot seek, or read the whole film first.", kWriteIndex},
    {"index_not_seen", Severity::warning, "An index lies where the reader does not look for it.",
     "Players of this reader have no index.", "Write 'idx1' directly into the first form."},
    {"index_cut_short", Severity::error,
     "An index does not hold whole entries, or fewer than it declares.",
     "The last ones are lost: players do not seek there.", kWriteIndex},
    {"index_zeroed", Severity::error, "Entries of an index are all zero.",
     "Players that use the index do not find their chunks.", kWriteIndex},
    {"index_wrong_origin", Severity::error,
     "No entry of an index leads to its chunk, counted from the file's start or from 'movi'.",
     "Players that use the index show one frame, or noise.", kWriteIndex},
    {"index_wrong_place", Severity::error, "An entry of an index does not lead to a chunk.",
     "Players that use the index lose a frame, or stop there.", kWriteIndex},
    {"index_wrong_size", Severity::error,
     "An entry of an index declares another size than its chunk.",
     "Players that use the index read too much or too little: a broken picture.", kWriteIndex},
    {"index_wrong_id", Severity::error,
     "An entry of an index names another stream or kind than the chunk at its place.",
     "Players that use the index hand the chunk to the wrong decoder.", kWriteIndex},
    {"index_out_of_order", Severity::warning,
     "An entry of an index lies before another of its stream that was there first, or is there "
     "twice.",
     "Players jump back.", kWriteIndex},
    {"index_misses_chunks", Severity::error, "An index has fewer entries than there are chunks.",
     "Players that use the index do not play the chunks that it misses.", kWriteIndex},
    {"index_has_too_many", Severity::error, "An index has more entries than there are chunks.",
     "Players that use the index play something twice, or what is not there.", kWriteIndex},
    {"index_flag_missing", Severity::warning,
     "No entry of a video stream is marked as a key frame.",
     "Players that use the index cannot seek.", "Mark key frames with flag 0x10."},
    {"super_index_wrong_place", Severity::error,
     "An entry of a super index does not lead to a standard index of its stream.",
     "Players lose the part of the film that it covers.", kWriteIndex},
    {"super_index_wrong_size", Severity::error,
     "An entry of a super index declares another size or number of frames than the index that it "
     "leads to has.",
     "Players that believe it lose frames or seek to the wrong place.", kWriteIndex},
    {"super_index_misses_chunks", Severity::error,
     "The super index leads to fewer chunks than the stream has.",
     "Players that use it do not play the others.", kWriteIndex},

    // What the reader does not take, and what is special to the Sorn extensions.
    {"extension_list_not_loaded", Severity::warning,
     "A data or menu list lies where the reader never loads it.",
     "The menu or the maker's data are not there for the player.",
     "Write 'QRDT' and 'QMNU' into the first form, before 'movi'."},
    {"extension_list_empty", Severity::warning, "A data or menu list is without its chunk.",
     "There is nothing to be loaded.", "Put 'MTDA' into 'QRDT', 'MENU' into 'QMNU'."},
    {"extension_chunk_outside", Severity::warning,
     "A data or menu chunk lies outside the list that it belongs into.", "It is not loaded.",
     "Put 'MTDA' into 'QRDT', 'MENU' and 'MRIF' into 'QMNU'."},
    {"extension_chunk_not_kept", Severity::warning, "A data or menu chunk is not kept.",
     "The player does not get it.", "Write one 'MTDA' and one 'MENU'."},
    {"never_visited", Severity::warning,
     "A chunk lies in the last 8 bytes of its list, where the reader's walk has ended.",
     "It is not loaded.", "Put a filler chunk behind it, in the list."},
    {"extension_cut_short", Severity::error, "The file ends inside a data or menu chunk.",
     "What is missing is taken as zeros.", kCopyAgain},
    {"menu_form_padded", Severity::error,
     "A chunk of odd size in a menu form is padded, as chunks of lists are.",
     "The reader takes the pad byte for the beginning of the next chunk: what follows is lost.",
     "Write no pad bytes in menu forms, or only chunks of even size."},
    {"misspelt_type", Severity::warning,
     "A type or id is one letter away from one that means something.",
     "It means nothing to players: what it names is not found.", kFixWriter},
    {"list_behind_media", Severity::warning, "A header list lies behind 'movi'.",
     "The reader does not look there: its streams are not known.",
     "Write all headers before 'movi'."},
    {"stream_data_not_kept", Severity::warning, "Stream data are not kept.",
     "The player does not get them.", "Write 'strd' directly behind a video format of 40 bytes."},
    {"super_index_not_kept", Severity::note, "A super index is not kept.",
     "The reader's record is without it; chunks are found all the same.",
     "Write 'indx' last in the stream list, behind formats that are read whole, for streams 0 to "
     "19."},
    {"name_not_kept", Severity::warning, "A stream's name is not kept.",
     "The stream has no name; a text stream then has no kind.",
     "Write 'strn' directly behind the format, or the stream data."},
    {"name_cut", Severity::warning, "Only the low 16 bits of a name's size count.",
     "The name is cut, and what follows it in the stream list is not found.",
     "Write names of less than 32,768 bytes."},
    {"hidden_by_format", Severity::warning,
     "A chunk follows a stream format that is longer than what the reader reads of it.",
     "The reader does not find the chunk.",
     "Write video formats of 40 bytes, and audio formats with at most 22 extra bytes."},
    {"odd_stream_chunk", Severity::warning,
     "A name or stream data of odd length has other chunks behind it in its stream list.",
     "The reader expects no pad byte there: what follows is not found, or the file is refused.",
     "Write even lengths; a name may end in a 0 byte."},
    {"stream_chunk_order", Severity::warning,
     "The chunks of a stream list are not in the order strh, strf, strd, strn, indx.",
     "The ones out of order are not found.", "Write them in this order."},
});

}  // namespace

std::span<const Rule> all_rules() {
    return kRules;
}

const Rule *find_rule(std::string_view id) {
    const auto *found = std::find_if(kRules.begin(), kRules.end(),
                                     [id](const Rule &rule) { return rule.id == id; });
    return found == kRules.end() ? nullptr : found;
}

const char *severity_word(Severity severity) {
    switch (severity) {
    case Severity::refusal:
        return "refusal";
    case Severity::error:
        return "error";
    case Severity::warning:
        return "warning";
    case Severity::note:
        return "note";
    }
    return "unknown";
}
