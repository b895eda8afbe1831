#include "findings/described.h"

#include <algorithm>

namespace {

bool in_header_list(Parents parents) {
    return parents.size() >= 2 && parents[0].pos == 0 && is_list(parents[1], "hdrl");
}

}  // namespace

Fields::Fields(const InputFile &file, const Chunk &chunk)
    : pos_(chunk.payload()), size_(chunk.declared) {
    const std::int64_t room = std::clamp<std::int64_t>(chunk.held, 0, 64);
    file.read(bytes_.data(), static_cast<std::size_t>(room), pos_);
}

bool DescribedStream::is(const char *type) const {
    return header && avi_fourcc_equal(header->fourcc(strh::kType), avi_fourcc_from_string(type));
}

double DescribedStream::unit() const {
    if (!header || header->u32(strh::kRate) == 0) return 0;
    return static_cast<double>(header->u32(strh::kScale)) / header->u32(strh::kRate);
}

std::uint32_t DescribedStream::sample_size() const {
    return header ? header->u32(strh::kSampleSize) : 0;
}

bool in_stream_list(Parents parents) {
    return in_header_list(parents) && parents.size() == 3 && is_list(parents[2], "strl");
}

void Described::enter(const Chunk &list, Parents parents) {
    if (!media_ && is_list(list, "movi")) media_ = list;
    const bool stream = !media_ && is_list(list, "strl") && in_header_list(parents);
    if (stream && streams_.size() < kMostStreams) streams_.push_back({list, {}, {}});
}

void Described::visit(const Chunk &chunk, Parents parents) {
    if (media_ || !in_header_list(parents)) return;
    if (!main_header_ && is_chunk(chunk, "avih")) main_header_.emplace(file_, chunk);
    if (!extended_header_ && is_chunk(chunk, "dmlh")) extended_header_.emplace(file_, chunk);
    if (streams_.empty() || !in_stream_list(parents)) return;
    DescribedStream &stream = streams_.back();
    if (!stream.header && is_chunk(chunk, "strh")) stream.header.emplace(file_, chunk);
    if (!stream.format && is_chunk(chunk, "strf")) stream.format.emplace(file_, chunk);
}

const DescribedStream *Described::stream(int number) const {
    const auto index = static_cast<std::size_t>(number);
    return number >= 0 && index < streams_.size() ? &streams_[index] : nullptr;
}

const DescribedStream *Described::first(const char *type) const {
    const auto found =
        std::find_if(streams_.begin(), streams_.end(),
                     [type](const DescribedStream &stream) { return stream.is(type); });
    return found == streams_.end() ? nullptr : &*found;
}
