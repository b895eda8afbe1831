#include "findings/refusal_text.h"

#include <fmt/format.h>

#include "chunks/layouts.h"
#include "terminal/text.h"

namespace {

constexpr std::int64_t kHeader = kChunkHeaderSize;
constexpr std::int64_t kListHeader = kListHeaderSize;
constexpr std::uint32_t kStreamHeader = size_of(layout::kStreamHeader);
constexpr std::uint32_t kVideoFormat = size_of(layout::kVideoFormat);
constexpr int kDeepest = 3;  // a chunk of a stream list

// What is read of the file here only tells the reader's refusal in more words; it decides nothing.

bool is_at(const InputFile &file, std::int64_t pos, const char *id) {
    return avi_fourcc_equal(fourcc_at(file, pos), avi_fourcc_from_string(id));
}

struct Sized {
    std::int64_t pos;  // -1 for none
    std::int64_t end;  // as declared
    std::string text;  // "the 'avih' chunk at 0x18 declares 56 bytes"
};

std::string declares(const InputFile &file, std::int64_t pos) {
    const bool list = is_at(file, pos, "LIST") || is_at(file, pos, "RIFF");
    return fmt::format("the '{}' {} at 0x{:x} declares {}",
                       text_of(fourcc_at(file, list ? pos + kHeader : pos)),
                       list ? "list" : "chunk", pos, count_of(u32_at(file, pos + 4), "byte"));
}

// The chunk at that place, as the reader reads it: of stream data the size inside counts.
Sized chunk_at(const InputFile &file, std::int64_t pos) {
    constexpr std::int64_t kDataHeader = 16;
    const std::int64_t end = pos + kHeader + u32_at(file, pos + 4);
    if (!is_at(file, pos, "strd") || pos + kDataHeader > file.size()) {
        return {pos, end, declares(file, pos)};
    }
    const std::uint32_t size = u32_at(file, pos + 12);
    return {pos, pos + kDataHeader + size,
            fmt::format("the 'strd' chunk at 0x{:x} declares {} of stream data", pos,
                        count_of(size, "byte"))};
}

// The innermost chunk from there on whose size goes past the end of the file.
Sized too_large(const InputFile &file, std::int64_t pos, int depth = 1) {
    while (pos + kHeader <= file.size()) {
        Sized chunk = chunk_at(file, pos);
        const bool list = is_at(file, pos, "LIST") && depth < kDeepest;
        if (chunk.end > file.size()) {
            const Sized inner =
                list ? too_large(file, pos + kListHeader, depth + 1) : Sized{-1, 0, {}};
            return inner.pos >= 0 ? inner : chunk;
        }
        pos = chunk.end;
        if (pos % 2 == 1 && depth < kDeepest) ++pos;
    }
    return {-1, 0, {}};
}

std::string ends(const InputFile &file) {
    return fmt::format("the file ends at 0x{:x}", file.size());
}

// Why the file ended where more was looked for, from the chunks at `from` on.
std::string cut_short(const InputFile &file, std::int64_t from, int depth,
                      const std::string &what) {
    const Sized chunk = too_large(file, from, depth);
    if (chunk.pos < 0) return fmt::format("{}, {}", ends(file), what);
    return fmt::format("{}, and {}", chunk.text, ends(file));
}

// "20th", "13th"
std::string ordinal(int number) {
    const int last = number % 10;
    const bool teen = number % 100 / 10 == 1;
    const char *ending = teen        ? "th"
                         : last == 1 ? "st"
                         : last == 2 ? "nd"
                         : last == 3 ? "rd"
                                     : "th";
    return fmt::format("{}{}", number, ending);
}

std::string one_too_many(const char *what, std::int64_t pos, int limit) {
    return fmt::format("{} {} at 0x{:x}: at most {}", ordinal(limit + 1), what, pos, limit);
}

std::string stream_list(std::int64_t pos, const std::string &trouble) {
    return fmt::format("the stream list at 0x{:x} {}", pos, trouble);
}

std::string bad_stream_header(const InputFile &file, std::int64_t list) {
    const std::int64_t pos = list + kListHeader;
    const std::uint32_t size = u32_at(file, pos + 4);
    if (pos + 4 > file.size()) return stream_list(list, "is empty: " + ends(file));
    if (!is_at(file, pos, "strh")) {
        return stream_list(
            list, fmt::format("begins with '{}', not 'strh'", text_of(fourcc_at(file, pos))));
    }
    if (pos + kHeader <= file.size() && size < kStreamHeader) {
        return stream_list(list, fmt::format("has a 'strh' of {}: {} are needed",
                                             count_of(size, "byte"), kStreamHeader));
    }
    return stream_list(list, fmt::format("has a 'strh' of {} that the file cuts short: {}",
                                         count_of(size, "byte"), ends(file)));
}

// Where the reader looks for a stream's format: there is no pad byte before it.
std::int64_t format_pos(const InputFile &file, std::int64_t list) {
    return list + kListHeader + kHeader + u32_at(file, list + kListHeader + 4);
}

std::string cut_format(const InputFile &file, std::int64_t list, const char *kind) {
    const std::int64_t pos = format_pos(file, list);
    if (pos + kHeader > file.size()) {
        return stream_list(list, fmt::format("is without its format: {}", ends(file)));
    }
    return stream_list(list, fmt::format("has {} format at 0x{:x} that the file cuts short: {}",
                                         kind, pos, ends(file)));
}

std::string bad_video_format(const InputFile &file, std::int64_t list) {
    const std::int64_t pos = format_pos(file, list);
    if (pos + kHeader + kVideoFormat > file.size()) return cut_format(file, list, "a video");
    if (!is_at(file, pos, "strf")) {
        return stream_list(list, fmt::format("has '{}' at 0x{:x}, where its video format should be",
                                             text_of(fourcc_at(file, pos)), pos));
    }
    return stream_list(list,
                       fmt::format("has a video format at 0x{:x} that declares {}, in a chunk "
                                   "that declares {}",
                                   pos, count_of(u32_at(file, pos + kHeader), "byte"),
                                   count_of(u32_at(file, pos + 4), "byte")));
}

std::string header_list_cut_short(const InputFile &file, std::int64_t pos) {
    const Sized chunk = too_large(file, pos, 1);
    if (chunk.pos >= 0) return fmt::format("{}, and {}", chunk.text, ends(file));
    return fmt::format("{}, and what lies in it goes on past its end: {}", declares(file, pos),
                       ends(file));
}

std::string no_movi(const InputFile &file, std::int64_t pos) {
    const std::uint32_t size = u32_at(file, 4);
    if (size <= 4) {
        return fmt::format("the first form declares {}: the reader looks for no 'movi' list in it",
                           count_of(size, "byte"));
    }
    const std::string none = "no 'movi' list in the first form";
    if (pos <= file.size()) return fmt::format("{}, whose walk ended at 0x{:x}", none, pos);
    return fmt::format("{}: {}", none, cut_short(file, kListHeader, 1, "which is there no more"));
}

std::string top_level_cut_short(const InputFile &file, std::int64_t pos) {
    if (pos < file.size()) {
        return fmt::format("the file ends inside the header of the top-level chunk at 0x{:x}", pos);
    }
    return cut_short(file, 0, kDeepest, "where a top-level chunk should be");
}

std::string form_cut_short(const InputFile &file) {
    return cut_short(file, kListHeader, 1, "before the first form's 'movi' list");
}

std::string list_header_cut_short(const InputFile &file) {
    if (file.size() == 0) return "the file is empty";
    return ends(file) + ", inside the 12-byte header of a form or list";
}

std::string not_a_form(const AviRefusal &refusal, const InputFile &file) {
    if (file.size() < 4) return ends(file) + ", inside the id of its first chunk";
    return fmt::format("the file begins with '{}', not 'RIFF'", text_of(refusal.found));
}

std::string not_avi(const AviRefusal &refusal, const InputFile &file) {
    if (file.size() < kListHeader) return ends(file) + ", inside the type of its first form";
    return fmt::format("the first form is of type '{}', not 'AVI '", text_of(refusal.found));
}

std::string no_main_header(const AviRefusal &refusal, const InputFile &file) {
    if (refusal.pos + 4 > file.size()) return ends(file) + ", where 'avih' should be";
    return fmt::format("the header list begins with '{}', not 'avih'", text_of(refusal.found));
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

std::int64_t refusal_place(const AviRefusal &refusal, const InputFile &file) {
    if (!has_position(refusal.reason)) return -1;
    if (refusal.reason == AviReason::no_movi && u32_at(file, 4) <= 4) return 0;
    if (refusal.pos <= file.size()) return refusal.pos;
    // A size led the walk behind the end of the file.
    const bool top_level = refusal.reason == AviReason::top_level_cut_short;
    const Sized chunk = too_large(file, top_level ? 0 : kListHeader, top_level ? kDeepest : 1);
    return chunk.pos >= 0 ? chunk.pos : file.size();
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
        return top_level_cut_short(file, pos);
    case AviReason::list_header_cut_short:
        return list_header_cut_short(file);
    case AviReason::not_a_form:
        return not_a_form(refusal, file);
    case AviReason::not_avi:
        return not_avi(refusal, file);
    case AviReason::header_list_too_short:
        return declares(file, pos) + ": the reader takes it for empty";
    case AviReason::movi_too_short:
        return declares(file, pos) + ": the reader takes it for ended";
    case AviReason::no_main_header:
        return no_main_header(refusal, file);
    case AviReason::header_list_cut_short:
        return header_list_cut_short(file, pos);
    case AviReason::too_many_streams:
        return one_too_many("stream", pos, kAviMaxStreams);
    case AviReason::too_many_audio_streams:
        return one_too_many("audio stream", pos, kAviMaxTracks);
    case AviReason::too_many_video_streams:
        return one_too_many("video stream", pos, kAviMaxTracks);
    case AviReason::too_many_bitmap_subtitles:
        return one_too_many("bitmap subtitle stream", pos, kAviMaxTracks);
    case AviReason::too_many_text_subtitles:
        return one_too_many("text subtitle stream", pos, kAviMaxTracks);
    case AviReason::too_many_chapters:
        return one_too_many("chapter stream", pos, kAviMaxTracks);
    case AviReason::bad_stream_header:
        return bad_stream_header(file, pos);
    case AviReason::bad_audio_format:
        return cut_format(file, pos, "an audio");
    case AviReason::bad_video_format:
        return bad_video_format(file, pos);
    case AviReason::bad_text_format:
        return cut_format(file, pos, "a text");
    case AviReason::bad_stream_name:
        return stream_list(pos, "has a name whose length is negative as a 16-bit number");
    case AviReason::stream_list_cut_short:
        return stream_list(pos, "is cut short: " + cut_short(file, pos + kListHeader, kDeepest,
                                                             "where its next chunk is looked for"));
    case AviReason::no_movi:
        return no_movi(file, pos);
    case AviReason::form_cut_short:
        return form_cut_short(file);
    }
    return "an unknown reason";
}

std::string refused_text(const AviRefusal &refusal, const InputFile &file) {
    const std::string sentence = refusal_sentence(refusal, file);
    const std::int64_t pos = refusal_place(refusal, file);
    const std::string place = fmt::format("at 0x{:x}", pos);
    const bool says_where = pos < 0 || sentence.find(place) != std::string::npos;
    return says_where ? "refused: " + sentence : fmt::format("refused {}: {}", place, sentence);
}
