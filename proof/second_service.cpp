#include "proof/second_service.h"

#include <cstdio>
#include <limits>

namespace second {
namespace {

constexpr std::string_view kOpenName = "drm_svc_sorn_open_file";
constexpr std::string_view kCloseName = "drm_svc_sorn_close_file";
constexpr std::string_view kReadName = "drm_svc_sorn_read_file";
constexpr std::string_view kSeekName = "drm_svc_sorn_seek_file";
constexpr std::string_view kTellName = "drm_svc_sorn_tell_file";

constexpr std::string_view kStartsWithHandle = "  starts : hfile = <handle>, handle = <reader>\n";

constexpr std::int64_t kSuccess = 0;
constexpr std::int64_t kFailure = -999;

constexpr int kAudio = 1;
constexpr int kVideo = 3;

bool is_digit(std::uint32_t c) {
    return c >= '0' && c <= '9';
}

}  // namespace

Player::Player() {
    messages_.resize(32);
}

// The slots are used again from call to call.
void Player::log(std::uint32_t category, std::uint32_t level,
                 std::initializer_list<std::string_view> parts) {
    if (used_ == messages_.size()) messages_.emplace_back();
    Message &message = messages_[used_++];
    message.category = category;
    message.level = level;
    message.text.clear();
    for (const std::string_view part : parts) message.text.append(part);
}

std::int64_t Player::open(const char *path, std::span<const std::uint8_t> file) {
    used_ = 0;
    has_reader_ = false;
    // The start is logged before the path is looked at; a null one is printed as printf prints it.
    log(kLogApi, kLevelInfo, {kOpenName, " starts. filepath:", path ? path : "(null)", "\n"});
    if (!path) {
        log(kLogError, kLevelError, {"[DRM-ERROR]No input fileame specified.\n"});
        return kFailure;
    }
    answer_ = second::read(file, 0);
    if (!answer_.opened) {
        log(kLogError, kLevelError, {"[DRM-ERROR]", kOpenName, " : aviin_open is failed.\n"});
        return kFailure;
    }
    // Audio and video need no word; the stream data of a video track is asked for and not kept.
    for (std::int32_t i = 0; i < answer_.record.stream_count; ++i) {
        const std::int32_t kind = answer_.record.streams.at(static_cast<std::size_t>(i)).kind;
        if (kind != kAudio && kind != kVideo)
            log(kLogDetail, kLevelInfo, {kOpenName, " : Found unknown chynk type, ignoring.\n"});
    }
    stream_ = Stream{file};
    stream_.seek(0, kFromStart);
    has_reader_ = true;
    log(kLogApi, kLevelInfo, {kOpenName, "  success: *hfile = <handle>, handle = <reader>\n"});
    return kSuccess;
}

// The position as a signed 32-bit value; one that does not fit is a failure, -1.
std::int32_t Player::tell_long() const {
    const std::int64_t pos = stream_.tell();
    return pos > std::numeric_limits<std::int32_t>::max() ? -1 : static_cast<std::int32_t>(pos);
}

Delivery Player::read(std::uint32_t size) {
    used_ = 0;
    log(kLogDetail, kLevelInfo, {kReadName, kStartsWithHandle});
    const std::int32_t pos = tell_long();
    // No chunk header fits before the position; a position that cannot be told lands here too.
    if (pos <= 7)
        log(kLogDetail, kLevelInfo, {kReadName, " : This is not data frame area\n"});
    else
        look_back(pos, size);
    // However the look-back went, the bytes come from where it left the stream.
    const auto bytes = stream_.read(size);
    return {kSuccess, static_cast<std::uint32_t>(bytes.size()), bytes};
}

// Looks at the 8 bytes before the position and says whether just the payload of an audio or video
// chunk is asked for. What cannot be read stays 0. Reading the 8 bytes brings the stream back to
// the position, except past the end of the file.
void Player::look_back(std::int32_t pos, std::uint32_t size) {
    std::uint32_t id = 0;
    std::uint32_t chunk_size = 0;
    stream_.seek(-8, kFromCurrent);
    read_fourcc(stream_, id);
    read_u32(stream_, chunk_size);
    const int kind = chunk_kind(id, answer_.record.open_option != 0);
    if (kind == 0 || !is_digit(id & 0xFF) || !is_digit(id >> 8 & 0xFF) ||
        (kind != kAudio && kind != kVideo) || chunk_size != size) {
        char digits[16];
        std::snprintf(digits, sizeof digits, "%x", static_cast<unsigned>(pos));
        log(kLogDetail, kLevelInfo, {"unknown chunk type : offset - ", digits, "\n"});
    } else if (kind == kAudio) {
        log(kLogDetail, kLevelInfo, {"CHUNK_TYPE_AUDIO STARTS\n"});
    } else {
        log(kLogDetail, kLevelInfo, {"CHUNK_TYPE_VIDEO STARTS\n"});
    }
}

// A refused seek leaves the position alone and is not told.
std::int32_t Player::seek(std::int32_t offset, int whence) {
    used_ = 0;
    log(kLogDetail, kLevelInfo, {kSeekName, " start\n"});
    stream_.seek(offset, whence);
    return 1;
}

std::int32_t Player::tell() {
    used_ = 0;
    log(kLogDetail, kLevelInfo, {kTellName, " start\n"});
    return tell_long();
}

std::int32_t Player::close() {
    used_ = 0;
    log(kLogApi, kLevelInfo, {kCloseName, kStartsWithHandle});
    if (!has_reader_) return 0;
    has_reader_ = false;
    answer_ = {};
    stream_ = {};
    log(kLogApi, kLevelInfo, {kCloseName, "  success. \n"});
    return 1;
}

}  // namespace second
