#include "refusal_text.h"

#include <fmt/format.h>

#include "text.h"

namespace {

// The size that the header at `pos` declares. What is read here only tells the reader's refusal in
// more words; it decides nothing.
std::string claimed(const InputFile &file, std::int64_t pos) {
    unsigned char size[4]{};
    file.read(size, sizeof size, pos + 4);
    return count_of(avi_get_u32le(size), "byte");
}

std::string one_too_many(const char *ordinal, const char *what, std::int64_t pos, int limit) {
    return fmt::format("{} {} at 0x{:x}: at most {}", ordinal, what, pos, limit);
}

std::string stream_list(std::int64_t pos, const char *trouble) {
    return fmt::format("the stream list at 0x{:x} {}", pos, trouble);
}

}  // namespace

bool has_position(AviReason reason) {
    return reason != AviReason::none && reason != AviReason::no_memory &&
           reason != AviReason::cannot_open;
}

const char *reason_word(AviReason reason) {
    switch (reason) {
    case AviReason::none:
        return "none";
    case AviReason::no_memory:
        return "no_memory";
    case AviReason::cannot_open:
        return "cannot_open";
    case AviReason::cannot_read:
        return "cannot_read";
    case AviReason::top_level_cut_short:
        return "top_level_cut_short";
    case AviReason::list_header_cut_short:
        return "list_header_cut_short";
    case AviReason::not_a_form:
        return "not_a_form";
    case AviReason::not_avi:
        return "not_avi";
    case AviReason::header_list_too_short:
        return "header_list_too_short";
    case AviReason::no_main_header:
        return "no_main_header";
    case AviReason::header_list_cut_short:
        return "header_list_cut_short";
    case AviReason::too_many_streams:
        return "too_many_streams";
    case AviReason::too_many_audio_streams:
        return "too_many_audio_streams";
    case AviReason::too_many_video_streams:
        return "too_many_video_streams";
    case AviReason::too_many_bitmap_subtitles:
        return "too_many_bitmap_subtitles";
    case AviReason::too_many_text_subtitles:
        return "too_many_text_subtitles";
    case AviReason::too_many_chapters:
        return "too_many_chapters";
    case AviReason::bad_stream_header:
        return "bad_stream_header";
    case AviReason::bad_audio_format:
        return "bad_audio_format";
    case AviReason::bad_video_format:
        return "bad_video_format";
    case AviReason::bad_text_format:
        return "bad_text_format";
    case AviReason::bad_stream_name:
        return "bad_stream_name";
    case AviReason::stream_list_cut_short:
        return "stream_list_cut_short";
    case AviReason::movi_too_short:
        return "movi_too_short";
    case AviReason::no_movi:
        return "no_movi";
    case AviReason::form_cut_short:
        return "form_cut_short";
    }
    return "unknown";
}

std::string refusal_sentence(const AviRefusal &refusal, const InputFile &file) {
    const std::int64_t pos = refusal.pos;
    switch (refusal.reason) {
    case AviReason::none:
        return "nothing stopped it";
    case AviReason::no_memory:
        return "memory ran out";
    case AviReason::cannot_open:
        return "the file cannot be opened";
    case AviReason::cannot_read:
        return fmt::format("the file cannot be read at 0x{:x}", pos);
    case AviReason::top_level_cut_short:
        return fmt::format("the file ends inside the header of the top-level chunk at 0x{:x}", pos);
    case AviReason::list_header_cut_short:
        if (file.size() == 0) return "the file is empty";
        return fmt::format("the file ends at 0x{:x}, inside the 12-byte header of a form or list",
                           pos);
    case AviReason::not_a_form:
        return fmt::format("the file begins with '{}', not 'RIFF'", text_of(refusal.found));
    case AviReason::not_avi:
        return fmt::format("the first form is of type '{}', not 'AVI '", text_of(refusal.found));
    case AviReason::header_list_too_short:
        return fmt::format("the 'hdrl' list at 0x{:x} claims {}: the reader takes it for ended",
                           pos, claimed(file, pos));
    case AviReason::no_main_header:
        return fmt::format("the header list begins with '{}', not 'avih'", text_of(refusal.found));
    case AviReason::header_list_cut_short:
        return fmt::format("the 'hdrl' list at 0x{:x} claims {}, more than the file holds", pos,
                           claimed(file, pos));
    case AviReason::too_many_streams:
        return one_too_many("20th", "stream", pos, kAviMaxStreams);
    case AviReason::too_many_audio_streams:
        return one_too_many("13th", "audio stream", pos, kAviMaxTracks);
    case AviReason::too_many_video_streams:
        return one_too_many("13th", "video stream", pos, kAviMaxTracks);
    case AviReason::too_many_bitmap_subtitles:
        return one_too_many("13th", "bitmap subtitle stream", pos, kAviMaxTracks);
    case AviReason::too_many_text_subtitles:
        return one_too_many("13th", "text subtitle stream", pos, kAviMaxTracks);
    case AviReason::too_many_chapters:
        return one_too_many("13th", "chapter stream", pos, kAviMaxTracks);
    case AviReason::bad_stream_header:
        return stream_list(pos, "does not begin with a whole 'strh' of 56 bytes or more");
    case AviReason::bad_audio_format:
        return stream_list(pos, "has an audio format that the file cuts short");
    case AviReason::bad_video_format:
        return stream_list(pos,
                           "has a video format whose own size is not that of its chunk, or "
                           "that the file cuts short");
    case AviReason::bad_text_format:
        return stream_list(pos, "has a text format that the file cuts short");
    case AviReason::bad_stream_name:
        return stream_list(pos, "has a name whose length is negative as a 16-bit number");
    case AviReason::stream_list_cut_short:
        return stream_list(pos, "is cut short: the file ends where its next chunk is looked for");
    case AviReason::movi_too_short:
        return fmt::format("the 'movi' list at 0x{:x} claims {}: the reader takes it for ended",
                           pos, claimed(file, pos));
    case AviReason::no_movi:
        return fmt::format("no 'movi' list in the first form, whose walk ended at 0x{:x}", pos);
    case AviReason::form_cut_short:
        return fmt::format("the file ends at 0x{:x}, before the first form's 'movi' list", pos);
    }
    return "an unknown reason";
}

std::string refused_text(const AviRefusal &refusal, const InputFile &file) {
    const std::string sentence = refusal_sentence(refusal, file);
    const std::string place = fmt::format("at 0x{:x}", refusal.pos);
    const bool says_where = !has_position(refusal.reason) || sentence.find(place) != sentence.npos;
    return says_where ? "refused: " + sentence : fmt::format("refused {}: {}", place, sentence);
}
