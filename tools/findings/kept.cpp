#include "findings/kept.h"

#include <fmt/format.h>

#include "chunks/stream_words.h"

namespace {

constexpr std::int64_t kHeader = 8;
constexpr std::int64_t kListHeader = 12;
constexpr std::int64_t kMenuFormHeader = 24;
constexpr std::int64_t kStreamDataHeader = 16;  // with its two values

}  // namespace

Kept::Kept(const AviReaderState *reader) : reader_(reader) {
    if (reader == nullptr) return;
    const auto mark = [this](std::int64_t pos, std::int64_t header, std::string text) {
        if (pos != 0) marks_[pos - header] = std::move(text);
    };
    mark(reader->movi_pos, kListHeader, "position of its first chunk");
    mark(reader->index_pos, 0, "position");
    mark(reader->data_list_pos, kListHeader, "position");
    mark(reader->menu_list_pos, kListHeader, "position");
    mark(reader->form_menu_pos, kMenuFormHeader, "position of its first chunk");
    mark(reader->data_blob.pos, kHeader, "whole, without its header");
    mark(reader->menu_blob.pos, 0, "whole");
    mark(reader->form_menu_blob.pos, 0, "whole");
    for (std::size_t i = 0; i < kAviSuperIndexes; ++i) {
        mark(reader->super_index_pos[i], 0, fmt::format("header, for stream {}", i));
    }
    for (const VideoTrack &row : reader->video.used()) {
        if (row.has_stream_data != 0) mark(row.stream_data_pos, kStreamDataHeader, "whole");
    }
}

// The reader takes the header lists that lie before the media.
std::string Kept::of_header_list(const Chunk &chunk, Parents parents) {
    const bool before_media =
        !parents.empty() && parents[0].pos == 0 && chunk.pos < reader_->movi_pos - kListHeader;
    if (!before_media) return {};
    if (parents.size() == 1) return is_list(chunk, "hdrl") ? "read" : "";
    if (!is_list(parents[1], "hdrl")) return {};
    if (parents.size() == 3 && is_list(parents[2], "strl")) return of_stream_chunk(chunk);
    if (parents.size() != 2) return {};
    if (is_chunk(chunk, "avih") && !main_header_) {
        main_header_ = true;
        return "whole";
    }
    if (is_list(chunk, "odml") && reader_->total_frames_ext != 0) {
        return fmt::format("{} frames over all forms", reader_->total_frames_ext);
    }
    if (!is_list(chunk, "strl") || streams_ >= reader_->stream_count) return {};
    const std::int32_t number = streams_++;
    return fmt::format("stream {}: {}", number, kind_text(reader_->streams[number]));
}

std::string Kept::of_stream_chunk(const Chunk &chunk) const {
    if (streams_ == 0) return {};
    const AviStreamRecord &stream = reader_->streams[streams_ - 1];
    if (is_chunk(chunk, "strh")) return "whole";
    if (is_chunk(chunk, "strf") && stream.kind != ChunkKind::unknown) {
        return format_text(*reader_, stream);
    }
    return is_chunk(chunk, "strn") ? name_text(*reader_, stream) : "";
}

std::string Kept::of(const Chunk &chunk, Parents parents) {
    if (reader_ == nullptr) return {};
    const auto found = marks_.find(chunk.pos);
    return found == marks_.end() ? of_header_list(chunk, parents) : found->second;
}
