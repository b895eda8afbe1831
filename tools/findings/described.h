// What the headers of a file say, read from the file itself: also of a file that the reader
// refuses, or of which it keeps less.
#ifndef TOOLS_FINDINGS_DESCRIBED_H
#define TOOLS_FINDINGS_DESCRIBED_H

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "chunks/chunk_tree.h"
#include "chunks/layouts.h"

// The first bytes of a chunk's payload, as its fields; what the chunk does not hold is 0.
class Fields {
public:
    Fields(const InputFile &file, const Chunk &chunk);

    [[nodiscard]] std::uint16_t u16(std::size_t offset) const {
        return avi_get_u16le(&bytes_[offset]);
    }
    [[nodiscard]] std::uint32_t u32(std::size_t offset) const {
        return avi_get_u32le(&bytes_[offset]);
    }
    [[nodiscard]] FourCC fourcc(std::size_t offset) const { return {u32(offset)}; }

    // Where a field lies in the file.
    [[nodiscard]] std::int64_t at(std::size_t offset) const {
        return pos_ + static_cast<std::int64_t>(offset);
    }
    // Of the payload, as declared.
    [[nodiscard]] std::uint32_t size() const { return size_; }

private:
    std::int64_t pos_;
    std::uint32_t size_;
    std::array<unsigned char, 64> bytes_{};
};

// Offsets of fields in their chunks' payloads.
namespace avih {
inline constexpr std::size_t kMicroseconds = offset_of(layout::kMainHeader, "dwMicroSecPerFrame"),
                             kFrames = offset_of(layout::kMainHeader, "dwTotalFrames"),
                             kStreams = offset_of(layout::kMainHeader, "dwStreams"),
                             kBuffer = offset_of(layout::kMainHeader, "dwSuggestedBufferSize"),
                             kWidth = offset_of(layout::kMainHeader, "dwWidth"),
                             kHeight = offset_of(layout::kMainHeader, "dwHeight");
}
namespace strh {
inline constexpr std::size_t kType = offset_of(layout::kStreamHeader, "fccType"),
                             kScale = offset_of(layout::kStreamHeader, "dwScale"),
                             kRate = offset_of(layout::kStreamHeader, "dwRate"),
                             kLength = offset_of(layout::kStreamHeader, "dwLength"),
                             kBuffer = offset_of(layout::kStreamHeader, "dwSuggestedBufferSize"),
                             kSampleSize = offset_of(layout::kStreamHeader, "dwSampleSize");
}
namespace strf {
inline constexpr std::size_t kWidth = offset_of(layout::kVideoFormat, "biWidth"),
                             kHeight = offset_of(layout::kVideoFormat, "biHeight"),
                             kPlanes = offset_of(layout::kVideoFormat, "biPlanes"),
                             kDepth = offset_of(layout::kVideoFormat, "biBitCount"),
                             kCompression = offset_of(layout::kVideoFormat, "biCompression");
inline constexpr std::size_t kTag = offset_of(layout::kSoundFormat, "wFormatTag"),
                             kChannels = offset_of(layout::kSoundFormat, "nChannels"),
                             kSampleRate = offset_of(layout::kSoundFormat, "nSamplesPerSec"),
                             kByteRate = offset_of(layout::kSoundFormat, "nAvgBytesPerSec"),
                             kAlign = offset_of(layout::kSoundFormat, "nBlockAlign"),
                             kBits = offset_of(layout::kSoundFormat, "wBitsPerSample"),
                             kExtra = size_of(layout::kSoundFormat);
}  // namespace strf

struct DescribedStream {
    Chunk list;
    std::optional<Fields> header;  // "strh"
    std::optional<Fields> format;  // "strf"

    [[nodiscard]] bool is(const char *type) const;
    // Seconds that a unit of its length lasts, 0 where the header has none.
    [[nodiscard]] double unit() const;
    // Bytes of such a unit; 0 where a chunk is one.
    [[nodiscard]] std::uint32_t sample_size() const;
};

// Collects, and is asked at any time for what was seen so far.
class Described : public ChunkVisitor {
public:
    explicit Described(const InputFile &file) : file_(file) {}

    void enter(const Chunk &list, Parents parents) override;
    void visit(const Chunk &chunk, Parents parents) override;

    [[nodiscard]] const std::optional<Fields> &main_header() const { return main_header_; }
    // The chunk of it, also of one that is too short for its fields.
    [[nodiscard]] const std::optional<Chunk> &main_chunk() const { return main_chunk_; }
    [[nodiscard]] const std::optional<Fields> &extended_header() const { return extended_header_; }
    [[nodiscard]] const std::vector<DescribedStream> &streams() const { return streams_; }
    // The stream of that number, or null.
    [[nodiscard]] const DescribedStream *stream(int number) const;
    // The first of that type, or null.
    [[nodiscard]] const DescribedStream *first(const char *type) const;
    // The first "movi" list, or null.
    [[nodiscard]] const Chunk *media() const { return media_ ? &*media_ : nullptr; }

private:
    void read(std::optional<Fields> &fields, const Chunk &chunk, std::size_t size);

    static constexpr std::size_t kMostStreams = 100;  // as many as ids can name

    const InputFile &file_;
    std::optional<Chunk> main_chunk_;
    std::optional<Fields> main_header_;
    std::optional<Fields> extended_header_;
    std::vector<DescribedStream> streams_;
    std::optional<Chunk> media_;
};

// Whether these parents are a stream list of the first form's header list.
[[nodiscard]] bool in_stream_list(Parents parents);

#endif
