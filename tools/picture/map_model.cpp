#include "picture/map_model.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "terminal/text.h"

namespace {

bool is_video(const AviStreamRecord &stream) {
    return stream.kind == ChunkKind::compressed_video;
}

std::uint64_t held_bytes(const Chunk &chunk) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(chunk.held, 0));
}

// The stream that a standard index ("ix01") is of, or -1 for what is none.
int indexed_stream(FourCC id) {
    const auto number = avi_trailing_stream_number(id);
    const bool index = !avi_stream_number(id) && avi_chunk_kind(id, true) == ChunkKind::index;
    return index && number ? static_cast<int>(*number) : -1;
}

int lane_number(int stream) {
    return stream < 0 ? MapModel::kOtherChunks : std::min(stream, MapModel::kHighStreams);
}

std::string size_words(const Chunk &chunk) {
    const std::uint64_t held = held_bytes(chunk);
    if (chunk.held == chunk.declared) return count_of(held, "byte");
    return fmt::format("{} declared, {} there", count_of(chunk.declared, "byte"),
                       with_commas(held));
}

std::string part_words(const Chunk &chunk, Parents parents) {
    return fmt::format("{}, {}", chunk_words(chunk, parents), size_words(chunk));
}

PartKind kind_of(const Chunk &chunk) {
    if (is_list(chunk, "hdrl")) return PartKind::header;
    if (is_list(chunk, "movi")) return PartKind::media;
    if (is_list(chunk, "QRDT") || is_list(chunk, "QMNU")) return PartKind::extension;
    if (is_chunk(chunk, "idx1") || is_chunk(chunk, "1idx")) return PartKind::index;
    if (is_chunk(chunk, "JUNK")) return PartKind::filler;
    return PartKind::other;
}

}  // namespace

void Mark::add(const Chunk &chunk) {
    if (chunks == 0) start = chunk.pos;
    end = std::max(end, chunk.end());
    ++chunks;
    bytes += held_bytes(chunk);
}

void Bitrate::widen() {
    interval_ *= 2;
    const std::size_t half = (bytes_.size() + 1) / 2;
    for (std::size_t i = 0; i < half; ++i) {
        const double second = 2 * i + 1 < bytes_.size() ? bytes_[2 * i + 1] : 0;
        bytes_[i] = bytes_[2 * i] + second;
    }
    bytes_.resize(half);
}

void Bitrate::widen_to(double interval) {
    while (interval_ < interval) widen();
}

// A chunk's bytes spread evenly over the time that it plays.
void Bitrate::add(double start, double seconds, double bytes) {
    const double end = start + seconds;
    while (end > interval_ * static_cast<double>(kMostIntervals)) widen();
    const auto first = std::min(static_cast<std::size_t>(start / interval_), kMostIntervals - 1);
    const auto last =
        std::clamp(static_cast<std::size_t>(end / interval_), first, kMostIntervals - 1);
    if (bytes_.size() <= last) bytes_.resize(last + 1);
    for (std::size_t i = first; i <= last; ++i) {
        const double from = std::max(start, interval_ * static_cast<double>(i));
        const double to = std::min(end, interval_ * static_cast<double>(i + 1));
        bytes_[i] += seconds > 0 ? bytes * std::max(to - from, 0.0) / seconds : bytes;
    }
}

MapModel::MapModel(const AviReaderState *reader, std::int64_t file_size) : size_(file_size) {
    if (reader == nullptr) return;
    for (std::int32_t i = 0; i < reader->stream_count; ++i) {
        Lane &lane = lanes_[i];
        lane.rate = clock_of(reader->streams[i]);
        if (!lane.rate.runs()) continue;
        const bool better =
            leading_ >= 0 && is_video(reader->streams[i]) && !is_video(reader->streams[leading_]);
        if (leading_ < 0 || better) leading_ = i;
    }
}

// A file of garbage has as many parts as it has room for: the last one stands for the rest.
void MapModel::add_part(std::vector<Part> &parts, Part part) {
    if (parts.size() < kMostParts) {
        parts.push_back(std::move(part));
        return;
    }
    Part &rest = parts.back();
    rest = {PartKind::other, rest.start, std::max(rest.end, part.end), "and more",
            "too many parts to show each"};
}

void MapModel::add_part(const Chunk &chunk, Parents parents) {
    Part part = {kind_of(chunk), chunk.pos, chunk.end(), text_of(chunk.id),
                 part_words(chunk, parents)};
    if (chunk.type.value != 0) part.name += " " + text_of(chunk.type);
    if (!parents.empty()) {
        add_part(parts_, std::move(part));
        return;
    }
    if (chunk.cut_short()) missing_ = chunk.payload() + chunk.declared - size_;
    if (chunk.type.value != 0) {
        part.kind = PartKind::form;
        add_part(forms_, std::move(part));
    } else {
        add_part(parts_, std::move(part));
    }
}

void MapModel::enter(const Chunk &list, Parents parents) {
    if (parents.size() <= 1) add_part(list, parents);
}

void MapModel::visit(const Chunk &chunk, Parents parents) {
    if (holds_media(parents)) {
        add_media(chunk);
    } else if (parents.size() <= 1) {
        add_part(chunk, parents);
    }
}

// Of a list that misleads, the end is known only now.
void MapModel::leave(const Chunk &list, Parents parents) {
    if (!list.misleads || parents.size() > 1) return;
    std::vector<Part> &parts = parents.empty() ? forms_ : parts_;
    for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
        if (part->start != list.pos) continue;
        part->end = list.end();
        part->words = part_words(list, parents);
        return;
    }
}

void MapModel::add_lost(std::int64_t pos, std::int64_t size, const char *why, Parents parents) {
    add_part(parents.size() > 1 ? lost_inside_ : parts_,
             {PartKind::lost, pos, pos + size, "lost",
              count_of(static_cast<std::uint64_t>(size), "byte") + why});
}

void MapModel::lost(std::int64_t pos, std::int64_t size, Parents parents) {
    add_lost(pos, size, ", too few for a chunk", parents);
}

void MapModel::hole(std::int64_t pos, std::int64_t size, Parents parents) {
    add_lost(pos, size, ", zeros where a chunk should begin", parents);
}

std::size_t MapModel::column_of(std::int64_t pos) const {
    const double place = static_cast<double>(pos) / column_bytes();
    return std::min(static_cast<std::size_t>(place), kColumns - 1);
}

// The mark that the chunk belongs to. A narrow chunk covers its part of two columns at most.
Mark &MapModel::mark_for(Lane &lane, const Chunk &chunk) const {
    const auto bytes = static_cast<double>(chunk.end() - chunk.pos);
    if (bytes >= column_bytes()) return lane.wide.emplace_back();

    if (lane.columns.empty()) lane.columns.resize(kColumns);
    const std::size_t place = column_of(chunk.pos);
    const double rest =
        static_cast<double>(place + 1) * column_bytes() - static_cast<double>(chunk.pos);
    lane.columns[place].covered += std::min(bytes, rest);
    if (bytes > rest && place + 1 < kColumns) lane.columns[place + 1].covered += bytes - rest;
    return lane.columns[place].mark;
}

Mark &MapModel::index_mark_for(Lane &lane, const Chunk &chunk) const {
    const bool same_column =
        !lane.indexes.empty() && column_of(lane.indexes.back().start) == column_of(chunk.pos);
    return same_column ? lane.indexes.back() : lane.indexes.emplace_back();
}

void MapModel::add_media(const Chunk &chunk) {
    if (const int indexed = indexed_stream(chunk.id); indexed >= 0) {
        index_mark_for(lanes_[lane_number(indexed)], chunk).add(chunk);
        return;
    }
    Lane &lane = lanes_[lane_number(stream_number(chunk.id))];
    Mark &mark = mark_for(lane, chunk);
    mark.add(chunk);
    ++lane.chunks;
    lane.bytes += held_bytes(chunk);
    if (lane.rate.runs()) play(lane, mark, chunk);
}

void MapModel::play(Lane &lane, Mark &mark, const Chunk &chunk) {
    const double before = lane.time;
    const double seconds = lane.rate.seconds(1, held_bytes(chunk));
    lane.bitrate.add(before, seconds, static_cast<double>(held_bytes(chunk)));
    lane.time += seconds;
    if (mark.first_time < 0) mark.first_time = before;
    mark.end_time = lane.time;

    const bool same_column =
        !lane.clock.empty() && column_of(lane.clock.back().start) == column_of(chunk.pos);
    if (!same_column) lane.clock.push_back({chunk.pos, 0, before, 0});
    lane.clock.back().end = chunk.end();
    lane.clock.back().to = lane.time;

    const Lane &leader = lanes_.at(leading_);
    if (&lane != &leader) add_lead(lane, chunk, before - leader.time, lane.time - leader.time);
}

void MapModel::add_lead(Lane &lane, const Chunk &chunk, double before, double after) const {
    const bool same_column =
        !lane.lead.empty() && column_of(lane.lead.back().start) == column_of(chunk.pos);
    if (!same_column) lane.lead.push_back({chunk.pos, 0, before, before, before, 0});
    LeadSpan &span = lane.lead.back();
    span.end = chunk.end();
    span.low = std::min(span.low, before);
    span.high = std::max(span.high, after);
    span.last = after;
}
