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

// The first that holds the fields; what the file does not hold is not judged.
void Described::read(std::optional<Fields> &fields, const Chunk &chunk, std::size_t size) {
    if (!fields && chunk.held >= static_cast<std::int64_t>(size)) fields.emplace(file_, chunk);
}

void Described::visit(const Chunk &chunk, Parents parents) {
    if (media_ || !in_header_list(parents)) return;
    if (!main_chunk_ && is_chunk(chunk, "avih")) {
        main_chunk_ = chunk;
        read(main_header_, chunk, avih::kHeight + 4);
    }
    if (is_chunk(chunk, "dmlh")) read(extended_header_, chunk, 4);
    if (streams_.empty() || !in_stream_list(parents)) return;
    DescribedStream &stream = streams_.back();
    if (is_chunk(chunk, "strh")) read(stream.header, chunk, strh::kSampleSize + 4);
    if (is_chunk(chunk, "strf")) read(stream.format, chunk, strf::kExtra);
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
