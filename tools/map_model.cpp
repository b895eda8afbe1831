#include "map_model.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "text.h"

namespace {

std::string size_words(const Chunk &chunk) {
    const auto held = static_cast<std::uint64_t>(std::max<std::int64_t>(chunk.held, 0));
    if (chunk.held == chunk.declared) return count_of(held, "byte");
    return fmt::format("{} declared, {} there", count_of(chunk.declared, "byte"),
                       with_commas(held));
}

PartKind kind_of(const Chunk &chunk) {
    if (is_list(chunk, "hdrl")) return PartKind::header;
    if (is_list(chunk, "movi")) return PartKind::media;
    if (is_list(chunk, "QRDT") || is_list(chunk, "QMNU")) return PartKind::extension;
    if (is_chunk(chunk, "idx1") || is_chunk(chunk, "1idx")) return PartKind::index;
    if (is_chunk(chunk, "JUNK")) return PartKind::filler;
    return PartKind::other;
}

// By AVI's own clock: a sample lasts scale / rate seconds, and is a chunk where the header gives no
// size for it.
void set_clock(Lane &lane, const AviStreamRecord &stream) {
    const AviStreamHeader &header = stream.header;
    const bool played =
        stream.kind == ChunkKind::audio || stream.kind == ChunkKind::compressed_video;
    if (!played || header.rate == 0 || header.scale == 0) return;
    const double sample = static_cast<double>(header.scale) / header.rate;
    if (header.sample_size == 0) {
        lane.seconds_per_chunk = sample;
    } else {
        lane.seconds_per_byte = sample / header.sample_size;
    }
}

}  // namespace

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
        set_clock(lanes_[i], reader->streams[i]);
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
                 fmt::format("{}, {}", chunk_words(chunk, parents), size_words(chunk))};
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

void MapModel::lost(std::int64_t pos, std::int64_t size, Parents) {
    add_part(parts_,
             {PartKind::lost, pos, pos + size, "lost",
              count_of(static_cast<std::uint64_t>(size), "byte") + ", too few for a chunk"});
}

// The mark that the chunk belongs to. A narrow chunk covers its part of two columns at most.
Mark &MapModel::mark_for(Lane &lane, const Chunk &chunk) const {
    const auto bytes = static_cast<double>(chunk.end() - chunk.pos);
    if (bytes >= column_bytes()) return lane.wide.emplace_back();

    if (lane.columns.empty()) lane.columns.resize(kColumns);
    const double start = static_cast<double>(chunk.pos) / column_bytes();
    const auto place = std::min(static_cast<std::size_t>(start), kColumns - 1);
    const double rest =
        static_cast<double>(place + 1) * column_bytes() - static_cast<double>(chunk.pos);
    lane.columns[place].covered += std::min(bytes, rest);
    if (bytes > rest && place + 1 < kColumns) lane.columns[place + 1].covered += bytes - rest;
    return lane.columns[place].mark;
}

void MapModel::add_media(const Chunk &chunk) {
    const auto stream = avi_stream_number(chunk.id);
    Lane &lane = lanes_[stream ? static_cast<int>(*stream) : kOtherChunks];
    const auto held = static_cast<std::uint64_t>(std::max<std::int64_t>(chunk.held, 0));
    Mark &mark = mark_for(lane, chunk);
    if (mark.chunks == 0) mark.start = chunk.pos;
    mark.end = std::max(mark.end, chunk.end());
    ++mark.chunks;
    mark.bytes += held;
    ++lane.chunks;
    lane.bytes += held;
    if (!lane.timed()) return;

    const double bytes = static_cast<double>(held);
    const double seconds = lane.seconds_per_chunk + lane.seconds_per_byte * bytes;
    if (mark.first_time < 0) mark.first_time = lane.time;
    lane.bitrate.add(lane.time, seconds, bytes);
    lane.time += seconds;
    mark.end_time = lane.time;
}
