#include "repair/key_frame.h"

#include <algorithm>
#include <array>
#include <span>

namespace {

// Every picture stands alone.
constexpr std::array kAlone{"MJPG", "jpeg", "AVRn", "dmb1", "HFYU", "FFVH", "DIB ", "RGB ", "RAW ",
                            "YUY2", "YUYV", "UYVY", "I420", "IYUV", "YV12", "Y800", "dvsd", "dvhd",
                            "dvsl", "dv25", "dv50", "apch", "apcn", "MJ2C", "PNG1", "mpng", "ULRG"};
constexpr std::array kMpeg4{"FMP4", "XVID", "DIVX", "DX50", "MP4V", "MP4S", "3IV2", "XviD", "M4S2"};
constexpr std::array kH264{"H264", "X264", "AVC1", "DAVC", "VSSH"};

bool is_one_of(FourCC compression, std::span<const char *const> known) {
    return std::any_of(known.begin(), known.end(), [compression](const char *name) {
        return avi_fourcc_equal(compression, avi_fourcc_from_string(name));
    });
}

// The byte behind the next start code (0, 0, 1) whose byte is wanted, and what follows that; empty
// for none.
template <typename Wanted>
std::string_view after_start_code(std::string_view bytes, Wanted wanted) {
    for (std::size_t i = 0; i + 3 < bytes.size(); ++i) {
        const bool code = bytes[i] == '\0' && bytes[i + 1] == '\0' && bytes[i + 2] == '\1';
        if (code && wanted(static_cast<unsigned char>(bytes[i + 3]))) return bytes.substr(i + 3);
    }
    return {};
}

}  // namespace

std::optional<bool> is_key_frame(FourCC compression, std::string_view bytes) {
    if (compression.value == 0 || is_one_of(compression, kAlone)) return true;
    if (is_one_of(compression, kMpeg4)) {
        const std::string_view picture =
            after_start_code(bytes, [](unsigned char code) { return code == 0xB6; });
        if (picture.size() < 2) return std::nullopt;
        return (static_cast<unsigned char>(picture[1]) & 0xC0) == 0;
    }
    if (is_one_of(compression, kH264)) {
        const auto slice = [](unsigned char code) {
            return (code & 0x1F) == 1 || (code & 0x1F) == 5;
        };
        const std::string_view found = after_start_code(bytes, slice);
        if (found.empty()) return std::nullopt;
        return (static_cast<unsigned char>(found[0]) & 0x1F) == 5;
    }
    return std::nullopt;
}
