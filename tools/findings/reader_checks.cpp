#include "findings/reader_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "chunks/stream_words.h"
#include "findings/kept.h"
#include "findings/sentences.h"
#include "terminal/text.h"

namespace {

bool is_extension_list(const Chunk &list) {
    return is_list(list, "QRDT") || is_list(list, "QMNU");
}

bool in_first_form(Parents parents) {
    return !parents.empty() && parents.front().pos == 0;
}

// A walk over a list ends 8 bytes before the list does.
std::int64_t walk_end(const Chunk &list) {
    return list.pos + list.declared;
}

// Whether the file has that id there, or ends inside it.
bool has_id(const InputFile &file, const char *id, std::int64_t pos) {
    unsigned char bytes[4]{};
    const std::size_t got = pos < 0 ? 0 : file.read(bytes, sizeof bytes, pos);
    if (got < sizeof bytes) return got > 0 && std::memcmp(bytes, id, got) == 0;
    return avi_fourcc_equal({avi_get_u32le(bytes)}, avi_fourcc_from_string(id));
}

// Where the chunk of that id begins whose bytes the reader keeps from `kept` on: a header that the
// file cuts short is shorter than others, and so is the way back over it.
std::int64_t start_of(const InputFile &file, const char *id, std::int64_t kept) {
    for (std::int64_t pos = kept - kChunkHeaderSize; pos < kept + kChunkHeaderSize; ++pos) {
        if (has_id(file, id, pos)) return pos;
    }
    return std::min(kept, file.size());
}

}  // namespace

// The record has the place of the last list of each kind; those before it were walked, too.
bool ReaderChecks::is_walked(const Chunk &list, Parents parents) const {
    const std::int64_t last = is_list(list, "QRDT") ? reader_.data_list_pos : reader_.menu_list_pos;
    return parents.size() == 1 && in_first_form(parents) && list.pos + kListHeaderSize <= last;
}

void ReaderChecks::check_extension_list(const Chunk &list, Parents parents) {
    if (is_walked(list, parents)) return;
    const bool in_menu_form =
        parents.size() == 1 && list.pos == parents[0].pos + 12 && is_list(list, "QMNU");
    if (in_menu_form) return;
    const char *where = !in_first_form(parents)            ? "lies in a later form"
                        : list.pos > reader_.movi_pos - 12 ? "lies behind 'movi'"
                        : parents.size() > 1
                            ? "lies inside another list"
                            : "lies where the walk of the first form does not come";
    findings_.add("extension_list_not_loaded", list.pos,
                  fmt::format("{} {}: it is never loaded", at(list), where));
}

void ReaderChecks::check_index(const Chunk &index, Parents parents) {
    if (index.pos == reader_.index_pos) return;
    const char *why = parents.empty()           ? "lies outside the forms"
                      : !in_first_form(parents) ? "lies in a later form"
                      : parents.size() > 1      ? "lies inside a list"
                      : reader_.index_pos == 0
                          ? "lies where the walk of the first form does not come"
                          : "is not the first of its form";
    findings_.add("index_not_seen", index.pos,
                  fmt::format("{} {}: the reader does not see it", at(index), why));
}

void ReaderChecks::check_stream_name(const Chunk &chunk, std::int32_t length, bool kept) {
    if (!kept) {
        findings_.add("name_not_kept", chunk.pos,
                      fmt::format("{} is not kept for stream {}", at(chunk), stream_));
    } else if (static_cast<std::uint32_t>(length) != chunk.declared) {
        findings_.add("name_cut", chunk.pos,
                      fmt::format("{} declares {}: {} are kept, by the low 16 bits of its size",
                                  at(chunk), count_of(chunk.declared, "byte"), length));
    }
}

void ReaderChecks::check_stream_chunk(const Chunk &chunk) {
    const AviStreamRecord &stream = reader_.streams[stream_];
    const bool video = stream.kind == ChunkKind::compressed_video;
    if (is_chunk(chunk, "strd")) {
        if (keeps_stream_data(reader_, stream_, chunk)) return;
        findings_.add("stream_data_not_kept", chunk.pos,
                      fmt::format("{} is not kept for stream {}: {}", at(chunk), stream_,
                                  video ? "it does not follow the format, or could not be read"
                                        : "only video streams have stream data"));
    } else if (is_chunk(chunk, "indx")) {
        const auto &kept = reader_.super_index_pos;
        if (std::find(std::begin(kept), std::end(kept), chunk.pos) != std::end(kept)) return;
        findings_.add("super_index_not_kept", chunk.pos,
                      fmt::format("{} is not kept for stream {}", at(chunk), stream_));
    } else if (is_chunk(chunk, "strn")) {
        const std::uint32_t track = stream.track;
        if (video) {
            const VideoTrack &row = reader_.video.rows[track];
            check_stream_name(chunk, row.name_length, row.name != nullptr);
        } else if (stream.kind == ChunkKind::audio) {
            const AudioTrack &row = reader_.audio.rows[track];
            check_stream_name(chunk, row.name_length, row.name != nullptr);
        } else if (stream.kind == ChunkKind::bitmap_subtitle) {
            const VideoTrack &row = reader_.bitmap_subtitle.rows[track];
            check_stream_name(chunk, row.name_length, row.name != nullptr);
        }
    }
}

void ReaderChecks::check_extension_chunk(const Chunk &chunk, Parents parents) {
    const Chunk &list = parents.back();
    const bool data = is_list(list, "QRDT") && is_chunk(chunk, "MTDA");
    const bool menu = is_list(list, "QMNU") && is_chunk(chunk, "MENU");
    if (!data && !menu) return;
    const std::int64_t kept = data ? reader_.data_blob.pos : reader_.menu_blob.pos;
    if (kept == (data ? chunk.payload() : chunk.pos)) return;
    if (kept > chunk.pos) {
        findings_.add("extension_chunk_not_kept", chunk.pos,
                      fmt::format("{} is not kept: a later one takes its place", at(chunk)));
    } else if (chunk.pos >= walk_end(list)) {
        findings_.add(
            "never_visited", chunk.pos,
            fmt::format("{} lies in the last 8 bytes of {}: the reader's walk ends before "
                        "it",
                        at(chunk), name_of_chunk(list)));
    } else {
        findings_.add(
            "extension_chunk_not_kept", chunk.pos,
            fmt::format("{} is not kept: no buffer could hold it, or a later list has none",
                        at(chunk)));
    }
}

void ReaderChecks::enter(const Chunk &list, Parents parents) {
    if (is_extension_list(list)) check_extension_list(list, parents);
    if (is_list(list, "strl")) stream_ = stream_of_list(reader_, list.pos);
}

void ReaderChecks::leave(const Chunk &list, Parents /*parents*/) {
    if (is_list(list, "strl")) stream_ = -1;
}

void ReaderChecks::visit(const Chunk &chunk, Parents parents) {
    if (is_index(chunk)) check_index(chunk, parents);
    const bool in_walked_list = !parents.empty() && is_extension_list(parents.back()) &&
                                is_walked(parents.back(), parents.first(parents.size() - 1));
    if (in_walked_list) check_extension_chunk(chunk, parents);
    if (stream_ >= 0) check_stream_chunk(chunk);
}

void ReaderChecks::check_blob(const char *id, const AviBlob &blob) {
    if (blob.pos == 0) return;
    const std::int64_t pos = start_of(file_, id, blob.pos);
    const std::int64_t missing = pos + kChunkHeaderSize + blob.size - file_.size();
    if (missing <= 0) return;
    findings_.add(
        "extension_cut_short", pos,
        fmt::format("the file ends {} before the '{}' chunk at 0x{:x} does: they are kept "
                    "as 0",
                    bytes_text(missing), id, pos));
}

void ReaderChecks::check_streams() {
    for (std::int32_t i = 0; i < reader_.stream_count; ++i) {
        const AviStreamRecord &stream = reader_.streams[i];
        if (stream.kind != ChunkKind::unknown) continue;
        const bool text = avi_fourcc_equal(stream.header.type, avi_fourcc_from_string("txts"));
        findings_.add("unknown_stream", -1,
                      fmt::format("stream {} is of type '{}'{}: the reader keeps its header alone",
                                  i, text_of(stream.header.type),
                                  text ? " and named neither 'Subtitle' nor 'Chapter'" : ""));
    }
}

void ReaderChecks::finish() {
    check_blob("MTDA", reader_.data_blob);
    check_blob("MENU", reader_.menu_blob);
    check_blob("MENU", reader_.form_menu_blob);
    check_streams();
}
