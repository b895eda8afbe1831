#include "oddities.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "formats.h"
#include "text.h"

namespace {

// A file may have a million oddities of one kind; so many are told, the rest counted.
constexpr std::uint64_t kToldOfAKind = 10;
constexpr std::uint32_t kMainHeader = 56;

std::string name_of_chunk(const Chunk &chunk) {
    if (chunk.type.value == 0) return fmt::format("the '{}' chunk", text_of(chunk.id));
    return fmt::format("the '{}' {}", text_of(chunk.type), is_form(chunk) ? "form" : "list");
}

std::string at(const Chunk &chunk) {
    return fmt::format("{} at 0x{:x}", name_of_chunk(chunk), chunk.pos);
}

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

}  // namespace

void OddityFinder::note(std::string_view kind, std::int64_t pos, std::string text) {
    if (++counts_[kind] <= kToldOfAKind) found_.push_back({kind, pos, std::move(text)});
}

bool OddityFinder::before_media(const Chunk &chunk, Parents parents) const {
    return in_first_form(parents) && chunk.pos < reader_.movi_pos - 12;
}

bool OddityFinder::is_loaded_list(Parents parents) const {
    return parents.size() == 2 && is_extension_list(parents.back()) &&
           before_media(parents.back(), parents);
}

void OddityFinder::check_size(const Chunk &chunk) {
    const auto held = static_cast<std::uint64_t>(std::max<std::int64_t>(chunk.held, 0));
    if (chunk.cut_short()) {
        const bool by_file = chunk.end() == reader_.stream.size;
        note("claims_too_much", chunk.pos,
             fmt::format("{} claims {}: {} ends after {}", at(chunk),
                         count_of(chunk.declared, "byte"), by_file ? "the file" : "what holds it",
                         with_commas(held)));
    } else if (chunk.held > chunk.declared) {
        note("never_finished", chunk.pos,
             fmt::format("{} claims {}, and {} follow", at(chunk), count_of(chunk.declared, "byte"),
                         count_of(held, "byte")));
    }
}

void OddityFinder::check_extension_list(const Chunk &list, Parents parents) {
    if (parents.size() == 1 && before_media(list, parents)) return;
    const bool in_menu_form =
        parents.size() == 1 && list.pos == parents[0].pos + 12 && is_list(list, "QMNU");
    if (in_menu_form) return;
    const char *where = !in_first_form(parents)            ? "lies in a later form"
                        : list.pos > reader_.movi_pos - 12 ? "lies behind 'movi'"
                                                           : "lies inside another list";
    note("extension_list_not_loaded", list.pos,
         fmt::format("{} {}: it is never loaded", at(list), where));
}

void OddityFinder::check_index(const Chunk &index, Parents parents) {
    any_index_ = true;
    if (index.pos == reader_.index_pos) return;
    const char *why = parents.empty()           ? "lies outside the forms"
                      : !in_first_form(parents) ? "lies in a later form"
                      : parents.size() > 1      ? "lies inside a list"
                      : reader_.index_pos == 0
                          ? "lies where the walk of the first form does not come"
                          : "is not the first of its form";
    note("index_not_seen", index.pos,
         fmt::format("{} {}: the reader does not see it", at(index), why));
}

void OddityFinder::check_stream_name(const Chunk &chunk, std::int32_t length, bool kept) {
    if (!kept) {
        note("name_not_kept", chunk.pos,
             fmt::format("{} is not kept for stream {}", at(chunk), streams_ - 1));
    } else if (static_cast<std::uint32_t>(length) != chunk.declared) {
        note("name_cut", chunk.pos,
             fmt::format("{} claims {}: {} are kept, by the low 16 bits of its size", at(chunk),
                         count_of(chunk.declared, "byte"), length));
    }
}

// Streams are numbered by their lists, in the record as in the file.
void OddityFinder::check_stream_chunk(const Chunk &chunk) {
    const std::int32_t number = streams_ - 1;
    if (number >= reader_.stream_count) return;
    const AviStreamRecord &stream = reader_.streams[number];
    const bool video = stream.kind == ChunkKind::compressed_video;
    if (is_chunk(chunk, "strd")) {
        const VideoTrack *row = video ? &reader_.video.rows[stream.track] : nullptr;
        const bool kept = row != nullptr && row->has_stream_data != 0 &&
                          row->stream_data_pos == static_cast<std::uint32_t>(chunk.pos + 16);
        if (kept) return;
        note("stream_data_not_kept", chunk.pos,
             fmt::format("{} is not kept for stream {}: {}", at(chunk), number,
                         video ? "it does not follow the format, or could not be read"
                               : "only video streams have stream data"));
    } else if (is_chunk(chunk, "indx")) {
        const auto &kept = reader_.super_index_pos;
        if (std::find(std::begin(kept), std::end(kept), chunk.pos) != std::end(kept)) return;
        note("super_index_not_kept", chunk.pos,
             fmt::format("{} is not kept for stream {}", at(chunk), number));
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

// The end test looks at the stream's position: a chunk in the list's last 8 bytes is visited after
// one that was stepped over, and not after one that was read to its end.
void OddityFinder::check_extension_chunk(const Chunk &chunk, Parents parents) {
    const Chunk &list = parents.back();
    const bool data = is_list(list, "QRDT") && is_chunk(chunk, "MTDA");
    const bool menu = is_list(list, "QMNU") && is_chunk(chunk, "MENU");
    const bool visited = list_read_ < walk_end(list);
    if (!visited) {
        note("never_visited", chunk.pos,
             fmt::format("{} lies in the last 8 bytes of {}: the reader's walk ends before it",
                         at(chunk), name_of_chunk(list)));
        return;
    }
    list_read_ = data || menu ? chunk.payload() + chunk.declared : chunk.pos;
    const bool kept = (data && chunk.payload() == reader_.data_blob.pos) ||
                      (menu && chunk.pos == reader_.menu_blob.pos);
    if ((data || menu) && !kept) {
        const std::int64_t other = data ? reader_.data_blob.pos : reader_.menu_blob.pos;
        note("extension_chunk_not_kept", chunk.pos,
             fmt::format("{} is not kept: {}", at(chunk),
                         other > chunk.pos ? "a later one takes its place"
                                           : "no buffer could hold it, or a later list has none"));
    }
}

void OddityFinder::enter(const Chunk &list, Parents parents) {
    check_size(list);
    if (is_extension_list(list)) check_extension_list(list, parents);
    list_read_ = list.pos + 12;
    if (is_list(list, "strl") && parents.size() == 2 && is_list(parents.back(), "hdrl") &&
        before_media(list, parents)) {
        ++streams_;
        in_stream_ = true;
    }
}

void OddityFinder::leave(const Chunk &list, Parents) {
    if (is_list(list, "strl")) in_stream_ = false;
}

void OddityFinder::visit(const Chunk &chunk, Parents parents) {
    check_size(chunk);
    if (is_chunk(chunk, "idx1") || is_chunk(chunk, "1idx")) check_index(chunk, parents);
    if (is_loaded_list(parents)) check_extension_chunk(chunk, parents);
    if (in_stream_) check_stream_chunk(chunk);
    const bool main_header = !main_header_ && is_chunk(chunk, "avih") && parents.size() == 2 &&
                             is_list(parents.back(), "hdrl") && before_media(chunk, parents);
    if (!main_header) return;
    main_header_ = true;
    if (chunk.declared < kMainHeader) {
        note("short_main_header", chunk.pos,
             fmt::format("{} claims {}: the reader reads {}, the last of them from what follows",
                         at(chunk), count_of(chunk.declared, "byte"), kMainHeader));
    }
}

void OddityFinder::lost(std::int64_t pos, std::int64_t size, Parents parents) {
    const std::string where =
        parents.empty() ? "the file" : fmt::format("{}", name_of_chunk(parents.back()));
    note("lost_bytes", pos,
         fmt::format("{} at 0x{:x}, at the end of {}, are no chunk",
                     count_of(static_cast<std::uint64_t>(size), "byte"), pos, where));
}

void OddityFinder::check_blob(const char *id, const AviBlob &blob, std::int64_t header) {
    const std::int64_t missing = blob.pos + blob.size + header - reader_.stream.size;
    if (blob.pos == 0 || missing <= 0) return;
    note("extension_cut_short", blob.pos,
         fmt::format("the file ends {} before the '{}' chunk at 0x{:x} does: they are kept as 0",
                     count_of(static_cast<std::uint64_t>(missing), "byte"), id,
                     blob.pos - (header == 0 ? 8 : 0)));
}

void OddityFinder::check_streams() {
    for (std::int32_t i = 0; i < reader_.stream_count; ++i) {
        const AviStreamRecord &stream = reader_.streams[i];
        if (stream.kind != ChunkKind::unknown) continue;
        const bool text = avi_fourcc_equal(stream.header.type, avi_fourcc_from_string("txts"));
        note("unknown_stream", -1,
             fmt::format("stream {} is of type '{}'{}: the reader keeps its header alone", i,
                         text_of(stream.header.type),
                         text ? " and named neither 'Subtitle' nor 'Chapter'" : ""));
    }
    if (reader_.main_header.streams != static_cast<std::uint32_t>(reader_.stream_count)) {
        note("stream_count_differs", -1,
             fmt::format("the main header counts {}, the file has {}",
                         count_of(reader_.main_header.streams, "stream"), reader_.stream_count));
    }
}

std::vector<Oddity> OddityFinder::finish() {
    check_blob("MTDA", reader_.data_blob, 0);
    check_blob("MENU", reader_.menu_blob, 8);
    check_blob("MENU", reader_.form_menu_blob, 8);
    check_streams();
    if (!any_index_) note("no_index", -1, "the file has no index");
    for (const auto &[kind, count] : counts_) {
        if (count <= kToldOfAKind) continue;
        found_.push_back(
            {kind, -1, fmt::format("and {} more like that", with_commas(count - kToldOfAKind))});
    }
    return std::move(found_);
}
