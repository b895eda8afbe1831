#include "findings/media_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "findings/sentences.h"
#include "terminal/text.h"

namespace {

// Players buffer less.
constexpr double kFarApart = 5;

// Ids that are no stream's, and allowed among the media.
bool may_lie_among_media(FourCC id) {
    const ChunkKind kind = avi_chunk_kind(id, true);
    return kind == ChunkKind::junk || kind == ChunkKind::reserved || kind == ChunkKind::index ||
           avi_fourcc_equal(id, kIdx1) || avi_fourcc_equal(id, k1idx) ||
           avi_fourcc_equal(id, kList);
}

bool is_palette_or_text(FourCC id) {
    char c[5];
    avi_fourcc_to_chars(id, c);
    const std::string_view code(c + 2, 2);
    return code == "pc" || code == "tx";
}

bool is_video(ChunkKind kind) {
    return kind == ChunkKind::compressed_video || kind == ChunkKind::uncompressed_video ||
           kind == ChunkKind::dd;
}

}  // namespace

bool is_id_of_media(FourCC id) {
    const ChunkKind kind = avi_chunk_kind(id, false);
    return stream_number(id) >= 0 && kind != ChunkKind::index &&
           (kind != ChunkKind::unknown || is_palette_or_text(id));
}

std::string_view media_id_rule(FourCC id, const Described &described) {
    if (!is_id_of_media(id)) return may_lie_among_media(id) ? "" : "unknown_media_id";
    const DescribedStream *stream = described.stream(stream_number(id));
    if (stream == nullptr) return described.streams().empty() ? "" : "undescribed_media";
    const ChunkKind kind = avi_chunk_kind(id, false);
    const bool wrong =
        (stream->is("vids") && kind == ChunkKind::audio) || (stream->is("auds") && is_video(kind));
    return wrong ? "wrong_media_kind" : "";
}

void MediaChecks::visit(const Chunk &chunk, Parents parents) {
    const bool media = is_id_of_media(chunk.id);
    if (!holds_media(parents)) {
        const bool stray = media && (parents.empty() || is_form(parents.back()));
        if (stray) {
            findings_.add("media_outside_list", chunk.pos,
                          fmt::format("{} lies outside the 'movi' lists", at(chunk)));
        }
        return;
    }
    if (!media) {
        if (!may_lie_among_media(chunk.id)) {
            findings_.add(
                "unknown_media_id", chunk.pos,
                fmt::format("{} lies among the media and is of no known kind", at(chunk)));
        }
        return;
    }
    any_media_ = true;
    count(chunk, parents, static_cast<std::size_t>(stream_number(chunk.id)));
    check_id(chunk);
}

void MediaChecks::count(const Chunk &chunk, Parents parents, std::size_t number) {
    MediaTally &tally = tallies_[number];
    follow_time(chunk, number);
    if (parents.front().pos == 0) ++indexed_chunks_;
    if (is_palette_or_text(chunk.id)) return;
    ++tally.chunks;
    if (parents.front().pos == 0) ++tally.first_form_chunks;
    if (tally.first < 0) tally.first = chunk.pos;
    const std::int64_t size = std::max<std::int64_t>(chunk.held, 0);
    tally.bytes += static_cast<std::uint64_t>(size);
    if (size <= tally.largest) return;
    tally.largest = size;
    tally.largest_pos = chunk.pos;
}

void MediaChecks::check_id(const Chunk &chunk) {
    const std::string_view rule = media_id_rule(chunk.id, described_);
    const int number = stream_number(chunk.id);
    if (rule == "undescribed_media") {
        findings_.add(
            rule, chunk.pos,
            fmt::format("{} is of stream {}, which no header describes", at(chunk), number));
    } else if (rule == "wrong_media_kind") {
        const bool video = is_video(avi_chunk_kind(chunk.id, false));
        findings_.add(rule, chunk.pos,
                      fmt::format("{} is marked as {}, and stream {} is {}", at(chunk),
                                  video ? "video" : "audio", number, video ? "audio" : "video"));
    }
}

void MediaChecks::follow_time(const Chunk &chunk, std::size_t number) {
    const DescribedStream *stream = described_.stream(static_cast<int>(number));
    if (stream == nullptr) return;
    const bool picture = stream == described_.first("vids");
    if (!picture && !stream->is("auds")) return;
    const MediaTally &tally = tallies_[number];
    const double units = stream->sample_size() == 0
                             ? static_cast<double>(tally.chunks)
                             : static_cast<double>(tally.bytes) / stream->sample_size();
    const double time = units * stream->unit();
    (picture ? picture_time_ : sound_time_) = time;
    // Of the two, the one that comes now could not be played before; the other one waits for it.
    const double other = picture ? sound_time_ : picture_time_;
    if (other - time <= farthest_) return;
    farthest_ = other - time;
    farthest_pos_ = chunk.pos;
}

void MediaChecks::check_lengths(std::size_t number) {
    const DescribedStream &stream = described_.streams()[number];
    if (!stream.is("vids") && !stream.is("auds")) return;
    const MediaTally &tally = tallies_[number];
    const std::uint32_t length = stream.header->u32(strh::kLength);
    const bool by_chunk = stream.sample_size() == 0 || stream.is("vids");
    const std::uint64_t there = by_chunk ? tally.chunks : tally.bytes / stream.sample_size();
    // Encoders end with a part of a sample, and some count a chunk that they did not write.
    const std::uint64_t slack = by_chunk ? (stream.is("vids") ? 0 : 2) : 2 + there / 1000;
    if (length + slack >= there && length <= there + slack) return;
    if (by_chunk && length == tally.first_form_chunks) return;
    findings_.add(
        "length_differs", stream.header->at(strh::kLength),
        fmt::format("stream {} has a length of {} at 0x{:x}, and its media make {}", number,
                    with_commas(length), stream.header->at(strh::kLength), with_commas(there)));
}

void MediaChecks::check_frames() {
    const DescribedStream *video = described_.first("vids");
    if (video == nullptr) return;
    const MediaTally &tally =
        tallies_[static_cast<std::size_t>(video - described_.streams().data())];
    const auto &main = described_.main_header();
    const std::uint32_t frames = main ? main->u32(avih::kFrames) : 0;
    // Writers count the frame that opened the second form, or not.
    const std::uint64_t slack = tally.chunks > tally.first_form_chunks ? 1 : 0;
    const bool of_first_form =
        frames >= tally.first_form_chunks && frames <= tally.first_form_chunks + slack;
    if (main && !of_first_form && frames != tally.chunks) {
        findings_.add("frames_differ", main->at(avih::kFrames),
                      fmt::format("the main header declares {} at 0x{:x}, the first form has {}",
                                  count_of(frames, "frame"), main->at(avih::kFrames),
                                  with_commas(tally.first_form_chunks)));
    }
    const auto &extended = described_.extended_header();
    const std::uint32_t all = extended ? extended->u32(0) : 0;
    if (extended && all != tally.chunks && all != tally.first_form_chunks) {
        findings_.add(
            "frames_differ", extended->at(0),
            fmt::format("the extended header declares {} at 0x{:x}, the file has {}",
                        count_of(all, "frame"), extended->at(0), with_commas(tally.chunks)));
    }
}

void MediaChecks::check_buffers() {
    for (std::size_t i = 0; i < described_.streams().size(); ++i) {
        const DescribedStream &stream = described_.streams()[i];
        const std::uint32_t buffer = stream.header ? stream.header->u32(strh::kBuffer) : 0;
        const MediaTally &tally = tallies_[i];
        // Some count the chunk's header, others not.
        if (buffer == 0 || static_cast<std::int64_t>(buffer) >= tally.largest) continue;
        findings_.add("buffer_too_small", stream.header->at(strh::kBuffer),
                      fmt::format("stream {} suggests a buffer of {} at 0x{:x}, and its chunk at "
                                  "0x{:x} has {}",
                                  i, count_of(buffer, "byte"), stream.header->at(strh::kBuffer),
                                  tally.largest_pos, bytes_text(tally.largest)));
    }
}

void MediaChecks::finish() {
    if (any_media_ && described_.streams().empty()) {
        findings_.add("no_headers", -1, "no header describes a stream, and there are media");
    }
    for (std::size_t i = 0; i < described_.streams().size(); ++i) {
        const DescribedStream &stream = described_.streams()[i];
        if (!stream.is("vids") && !stream.is("auds")) continue;
        if (tallies_[i].chunks != 0) {
            check_lengths(i);
        } else if (any_media_ || stream.header->u32(strh::kLength) != 0) {
            findings_.add(
                "stream_without_media", stream.list.pos,
                fmt::format("stream {}, described by {}, has no media", i, at(stream.list)));
        }
    }
    check_frames();
    check_buffers();
    if (farthest_ <= kFarApart) return;
    findings_.add("badly_interleaved", farthest_pos_,
                  fmt::format("at 0x{:x} sound and picture lie {} seconds apart", farthest_pos_,
                              short_number(farthest_)));
}
