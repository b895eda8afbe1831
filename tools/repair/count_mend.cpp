#include "repair/count_mend.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace {

// Fields whose values a finding calls wrong, with the ones that they should have.
class Counts {
public:
    explicit Counts(const Seen &seen) : seen_(seen) {}

    void set(const std::optional<Fields> &fields, std::size_t field, std::uint64_t value,
             std::string_view rule, const std::string &what) {
        if (!fields || value > std::numeric_limits<std::uint32_t>::max()) return;
        const std::int64_t pos = fields->at(field);
        const auto count = static_cast<std::uint32_t>(value);
        if (!is_wrong(rule, pos) || fields->u32(field) == count) return;
        edits_.push_back(word_edit(pos, count, rule, what));
    }

    std::vector<Edit> take() { return std::move(edits_); }

private:
    [[nodiscard]] bool is_wrong(std::string_view rule, std::int64_t pos) const {
        return std::any_of(
            seen_.findings.begin(), seen_.findings.end(),
            [&](const Finding &finding) { return finding.rule->id == rule && finding.pos == pos; });
    }

    const Seen &seen_;
    std::vector<Edit> edits_;
};

std::uint64_t length_of(const DescribedStream &stream, const MediaTally &tally) {
    const bool by_chunk = stream.sample_size() == 0 || stream.is("vids");
    return by_chunk ? tally.chunks : tally.bytes / stream.sample_size();
}

}  // namespace

std::vector<Edit> CountMend::edits(const Seen &seen) {
    Counts counts(seen);
    const Described &described = seen.described;
    const std::vector<DescribedStream> &streams = described.streams();
    if (!streams.empty())
        counts.set(described.main_header(), avih::kStreams, streams.size(), "stream_count_differs",
                   "the number of streams");
    if (const DescribedStream *video = described.first("vids")) {
        const MediaTally &tally =
            seen.media.tally(static_cast<std::size_t>(video - streams.data()));
        counts.set(described.main_header(), avih::kFrames, tally.first_form_chunks, "frames_differ",
                   "the number of frames");
        counts.set(described.extended_header(), 0, tally.chunks, "frames_differ",
                   "the number of frames of all forms");
    }
    for (std::size_t i = 0; i < streams.size(); ++i) {
        const MediaTally &tally = seen.media.tally(i);
        counts.set(streams[i].header, strh::kLength, length_of(streams[i], tally), "length_differs",
                   fmt::format("the length of stream {}", i));
        counts.set(streams[i].header, strh::kBuffer, static_cast<std::uint64_t>(tally.largest),
                   "buffer_too_small", fmt::format("the buffer that stream {} suggests", i));
    }
    return counts.take();
}
