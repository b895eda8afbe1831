#include "findings/kept.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "chunks/stream_words.h"
#include "terminal/text.h"

namespace {

constexpr std::int64_t kMenuFormHeader = 24;
constexpr std::int64_t kStreamDataHeader = 16;  // with its two values

bool is_in(std::int64_t pos, const Chunk &list) {
    return pos > list.pos && pos < list.end();
}

// What the reader takes where it finds it.
bool means_something(const Chunk &chunk) {
    constexpr std::array<const char *, 4> kLists{"hdrl", "strl", "QRDT", "QMNU"};
    constexpr std::array<const char *, 9> kChunks{"avih", "strh", "strd", "strn", "indx",
                                                  "idx1", "1idx", "MTDA", "MENU"};
    const auto is_one = [&chunk](const char *name) {
        return chunk.type.value != 0 ? is_list(chunk, name) : is_chunk(chunk, name);
    };
    return chunk.type.value != 0 ? std::any_of(kLists.begin(), kLists.end(), is_one)
                                 : std::any_of(kChunks.begin(), kChunks.end(), is_one);
}

}  // namespace

std::int32_t stream_of_list(const AviReaderState &reader, std::int64_t list_pos) {
    for (std::int32_t i = 0; i < reader.stream_count; ++i) {
        if (reader.streams[i].list_pos == list_pos) return i;
    }
    return -1;
}

bool keeps_stream_data(const AviReaderState &reader, std::int32_t stream, const Chunk &chunk) {
    if (reader.streams[stream].kind != ChunkKind::compressed_video) return false;
    const VideoTrack &row = reader.video.rows[reader.streams[stream].track];
    // The record has the low 32 bits of the position.
    return row.has_stream_data != 0 &&
           row.stream_data_pos == static_cast<std::uint32_t>(chunk.pos + kStreamDataHeader);
}

Kept::Kept(const AviReaderState *reader) : reader_(reader) {
    if (reader == nullptr) return;
    const auto mark = [this](std::int64_t pos, std::int64_t header, std::string text) {
        if (pos != 0) marks_[pos - header] = std::move(text);
    };
    mark(reader->movi_pos, kListHeaderSize, "position of its first chunk");
    mark(reader->index_pos, 0, "position");
    mark(reader->data_list_pos, kListHeaderSize, "position");
    mark(reader->menu_list_pos, kListHeaderSize, "position");
    mark(reader->form_menu_pos, kMenuFormHeader, "position of its first chunk");
    mark(reader->data_blob.pos, kChunkHeaderSize, "whole, without its header");
    mark(reader->menu_blob.pos, 0, "whole");
    mark(reader->form_menu_blob.pos, 0, "whole");
    mark(reader->main_header_pos, 0, "whole");
    for (std::size_t i = 0; i < kAviSuperIndexes; ++i) {
        mark(reader->super_index_pos[i], 0, fmt::format("header, for stream {}", i));
    }
    for (std::int32_t i = 0; i < reader->stream_count; ++i) {
        mark(reader->streams[i].list_pos, 0,
             fmt::format("stream {}: {}", i, kind_text(reader->streams[i])));
    }
}

// A header list was read when something of it was kept.
bool Kept::was_read(const Chunk &header_list) const {
    if (is_in(reader_->main_header_pos, header_list)) return true;
    for (std::int32_t i = 0; i < reader_->stream_count; ++i) {
        if (is_in(reader_->streams[i].list_pos, header_list)) return true;
    }
    return false;
}

std::string Kept::of_header_list(const Chunk &chunk, Parents parents) {
    if (is_list(chunk, "hdrl")) return was_read(chunk) ? "read" : "";
    if (parents.size() < 2 || !is_list(parents[1], "hdrl")) return {};
    if (is_list(chunk, "odml") && reader_->total_frames_ext != 0 && was_read(parents[1])) {
        return fmt::format("{} over all forms", count_of(reader_->total_frames_ext, "frame"));
    }
    const std::int32_t number = stream_of_list(*reader_, parents.back().pos);
    return number < 0 ? "" : of_stream_chunk(chunk, number);
}

// Of each id the first in its list: the reader looks for no second one.
std::string Kept::of_stream_chunk(const Chunk &chunk, std::int32_t number) {
    if (number != stream_) seen_.clear();
    stream_ = number;
    if (!seen_.insert(chunk.id.value).second) return {};
    const AviStreamRecord &stream = reader_->streams[number];
    if (is_chunk(chunk, "strh")) return "whole";
    if (is_chunk(chunk, "strf") && stream.kind != ChunkKind::unknown) {
        return format_text(*reader_, stream);
    }
    if (is_chunk(chunk, "strd")) return keeps_stream_data(*reader_, number, chunk) ? "whole" : "";
    return is_chunk(chunk, "strn") ? name_text(*reader_, stream) : "";
}

std::string Kept::of(const Chunk &chunk, Parents parents) {
    if (reader_ == nullptr) return {};
    const auto found = marks_.find(chunk.pos);
    return found == marks_.end() ? of_header_list(chunk, parents) : found->second;
}

bool Kept::passed_over(const Chunk &chunk, Parents parents) const {
    if (reader_ == nullptr || !means_something(chunk)) return false;
    if (marks_.contains(chunk.pos)) return false;
    if (is_list(chunk, "hdrl")) return !was_read(chunk);
    // The second list of a menu form is its first chunk.
    if (is_list(chunk, "QMNU") && parents.size() == 1 && parents[0].pos != 0) {
        return chunk.pos + kMenuFormHeader < reader_->form_menu_pos || reader_->form_menu_pos == 0;
    }
    if (!is_chunk(chunk, "strn") || parents.empty()) return true;
    // Of a text stream's name its kind is left.
    const std::int32_t number = stream_of_list(*reader_, parents.back().pos);
    return number < 0 || reader_->streams[number].kind == ChunkKind::unknown;
}
