// The media against the headers: which streams they name, how many there are, how large they are,
// and how far sound lies from its picture.
#ifndef TOOLS_FINDINGS_MEDIA_CHECKS_H
#define TOOLS_FINDINGS_MEDIA_CHECKS_H

#include <array>
#include <cstdint>
#include <string_view>

#include "findings/described.h"
#include "findings/finding.h"

// Whether an id is one of media, an index of them aside.
[[nodiscard]] bool is_id_of_media(FourCC id);

// The rule that the id of a chunk among the media breaks, or empty.
[[nodiscard]] std::string_view media_id_rule(FourCC id, const Described &described);

struct MediaTally {
    std::uint64_t chunks = 0;
    std::uint64_t first_form_chunks = 0;
    std::uint64_t bytes = 0;
    std::int64_t first = -1;  // position of the first
    std::int64_t largest = 0;
    std::int64_t largest_pos = 0;
};

class MediaChecks : public ChunkVisitor {
public:
    static constexpr std::size_t kStreams = 100;

    MediaChecks(const Described &described, Findings &findings)
        : described_(described), findings_(findings) {}

    void visit(const Chunk &chunk, Parents parents) override;
    void finish();

    [[nodiscard]] const MediaTally &tally(std::size_t stream) const { return tallies_[stream]; }
    // Chunks of the first form that its index has entries for.
    [[nodiscard]] std::uint64_t indexed_chunks() const { return indexed_chunks_; }
    // Seconds between sound and the picture that lies beside it, at most.
    [[nodiscard]] double farthest() const { return farthest_; }

private:
    void check_id(const Chunk &chunk);
    void count(const Chunk &chunk, Parents parents, std::size_t number);
    void follow_time(const Chunk &chunk, std::size_t number);
    void check_buffers();
    void check_lengths(std::size_t number);
    void check_frames();

    const Described &described_;
    Findings &findings_;
    std::array<MediaTally, kStreams> tallies_{};
    double picture_time_ = -1;  // of the chunk seen last
    double sound_time_ = -1;
    double farthest_ = 0;
    std::int64_t farthest_pos_ = -1;
    std::uint64_t indexed_chunks_ = 0;
    bool any_media_ = false;
};

#endif
