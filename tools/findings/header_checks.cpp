#include "findings/header_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "findings/sentences.h"
#include "terminal/text.h"

namespace {

constexpr std::uint32_t kMainHeaderSize = size_of(layout::kMainHeader);
constexpr std::uint16_t kPcm = 1;

bool differ(double a, double b, double tolerance) {
    return std::abs(a - b) > tolerance * std::max(std::abs(a), std::abs(b));
}

void check_main_header(const Described &described, Findings &findings) {
    const auto &chunk = described.main_chunk();
    if (chunk && chunk->declared < kMainHeaderSize) {
        findings.add("short_main_header", chunk->pos,
                     fmt::format("{} declares {}: the reader reads {}, the last of them from what "
                                 "follows",
                                 at(*chunk), count_of(chunk->declared, "byte"), kMainHeaderSize));
    }
    const auto &header = described.main_header();
    const std::size_t streams = described.streams().size();
    if (!header || header->u32(avih::kStreams) == streams) return;
    findings.add("stream_count_differs", header->at(avih::kStreams),
                 fmt::format("the main header counts {} at 0x{:x}, the file has {}",
                             count_of(header->u32(avih::kStreams), "stream"),
                             header->at(avih::kStreams), streams));
}

void check_picture(const Described &described, const DescribedStream &stream, std::size_t number,
                   Findings &findings) {
    const Fields &format = *stream.format;
    const std::uint32_t width = format.u32(strf::kWidth);
    const auto height = static_cast<std::int32_t>(format.u32(strf::kHeight));
    if (width == 0 || height == 0) {
        findings.add("no_picture_size", format.at(strf::kWidth),
                     fmt::format("stream {} has pictures of {}x{} at 0x{:x}", number, width, height,
                                 format.at(strf::kWidth)));
    }
    const std::uint16_t depth = format.u16(strf::kDepth);
    const std::uint16_t planes = format.u16(strf::kPlanes);
    constexpr std::array<std::uint16_t, 13> kDepths{0, 1, 4, 8, 9, 12, 15, 16, 20, 24, 32, 48, 64};
    if (std::find(kDepths.begin(), kDepths.end(), depth) == kDepths.end() || planes > 3) {
        findings.add("video_format_odd", format.at(strf::kPlanes),
                     fmt::format("stream {} has {} of {} a pixel at 0x{:x}", number,
                                 count_of(planes, "plane"), count_of(depth, "bit"),
                                 format.at(strf::kPlanes)));
    }
    const auto &main = described.main_header();
    if (!main || described.first("vids") != &stream || width == 0 || height == 0) return;
    const std::uint32_t main_width = main->u32(avih::kWidth);
    const auto main_height = static_cast<std::int32_t>(main->u32(avih::kHeight));
    if (main_width != width ||
        std::abs(std::int64_t{main_height}) != std::abs(std::int64_t{height})) {
        findings.add("picture_sizes_differ", main->at(avih::kWidth),
                     fmt::format("the main header has pictures of {}x{} at 0x{:x}, stream {} of "
                                 "{}x{} at 0x{:x}",
                                 main_width, main_height, main->at(avih::kWidth), number, width,
                                 height, format.at(strf::kWidth)));
    }
}

void check_frame_rate(const Described &described, const DescribedStream &stream, std::size_t number,
                      Findings &findings) {
    const auto &main = described.main_header();
    if (!main || described.first("vids") != &stream || stream.unit() == 0) return;
    const std::uint32_t microseconds = main->u32(avih::kMicroseconds);
    if (!differ(microseconds, stream.unit() * 1e6, 0.01)) return;
    findings.add("frame_rates_differ", main->at(avih::kMicroseconds),
                 fmt::format("the main header has {} microseconds a frame at 0x{:x}, and stream {} "
                             "{} by its scale and rate at 0x{:x}",
                             microseconds, main->at(avih::kMicroseconds), number,
                             short_number(stream.unit() * 1e6), stream.header->at(strh::kScale)));
}

void check_pcm(const DescribedStream &stream, std::size_t number, Findings &findings) {
    const Fields &format = *stream.format;
    const std::uint32_t align = format.u16(strf::kAlign);
    const std::uint32_t rate = format.u32(strf::kSampleRate);
    const std::uint32_t wanted = format.u16(strf::kChannels) * ((format.u16(strf::kBits) + 7U) / 8);
    if (align != wanted) {
        findings.add("audio_format_inconsistent", format.at(strf::kAlign),
                     fmt::format("stream {} has blocks of {} at 0x{:x}: {} of {} make {}", number,
                                 count_of(align, "byte"), format.at(strf::kAlign),
                                 count_of(format.u16(strf::kChannels), "channel"),
                                 count_of(format.u16(strf::kBits), "bit"), wanted));
    } else if (differ(format.u32(strf::kByteRate), static_cast<double>(rate) * align, 0.01)) {
        findings.add(
            "audio_format_inconsistent", format.at(strf::kSampleRate),
            fmt::format("stream {} has {} bytes/s at 0x{:x}: {} samples/s of {} make others",
                        number, with_commas(format.u32(strf::kByteRate)),
                        format.at(strf::kByteRate), with_commas(rate), count_of(align, "byte")));
    }
    const double bytes_per_second = stream.unit() == 0 ? 0 : stream.sample_size() / stream.unit();
    if (bytes_per_second != 0 &&
        differ(bytes_per_second, static_cast<double>(rate) * align, 0.02)) {
        findings.add(
            "audio_rate_differs", stream.header->at(strh::kScale),
            fmt::format("stream {} plays {} bytes/s by its scale and rate at 0x{:x}, and {} "
                        "by its format at 0x{:x}",
                        number, short_number(bytes_per_second), stream.header->at(strh::kScale),
                        with_commas(static_cast<std::uint64_t>(rate) * align),
                        format.at(strf::kSampleRate)));
    }
}

void check_sound(const DescribedStream &stream, std::size_t number, Findings &findings) {
    const Fields &format = *stream.format;
    if (format.u16(strf::kChannels) == 0 || format.u32(strf::kSampleRate) == 0) {
        findings.add("no_sound_format", format.at(strf::kChannels),
                     fmt::format("stream {} has {} and {} samples/s at 0x{:x}", number,
                                 count_of(format.u16(strf::kChannels), "channel"),
                                 format.u32(strf::kSampleRate), format.at(strf::kChannels)));
    } else if (format.u16(strf::kTag) == kPcm) {
        check_pcm(stream, number, findings);
    }
}

void check_stream(const Described &described, std::size_t number, Findings &findings) {
    const DescribedStream &stream = described.streams()[number];
    const bool video = stream.is("vids");
    if (!video && !stream.is("auds")) return;
    if (stream.unit() == 0) {
        findings.add("no_frame_rate", stream.header->at(strh::kScale),
                     fmt::format("stream {} has a scale of {} and a rate of {} at 0x{:x}", number,
                                 stream.header->u32(strh::kScale), stream.header->u32(strh::kRate),
                                 stream.header->at(strh::kScale)));
    }
    if (!stream.format) return;
    if (video) {
        check_picture(described, stream, number, findings);
        check_frame_rate(described, stream, number, findings);
    } else {
        check_sound(stream, number, findings);
    }
}

}  // namespace

void check_headers(const Described &described, Findings &findings) {
    check_main_header(described, findings);
    for (std::size_t i = 0; i < described.streams().size(); ++i) {
        check_stream(described, i, findings);
    }
}
