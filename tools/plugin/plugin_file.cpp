#include "plugin/plugin_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "terminal/failure.h"
#include "terminal/text.h"

PluginFile::PluginFile(const Plugin &plugin, const std::string &path, Disagree disagree)
    : plugin_(plugin), disagree_(std::move(disagree)) {
    const std::int64_t code = plugin_.open(path.c_str(), &handle_);
    if (code != DRM_SVC_SORN_OK) {
        throw Failure(Exit::refused,
                      fmt::format("{}: the plug-in refuses this file ({})", path_text(path), code));
    }
    check_position();
}

PluginFile::~PluginFile() {
    if (plugin_.close(handle_) != DRM_SVC_SORN_CLOSED) disagree_("close did not release");
}

bool PluginFile::read_at(std::int64_t pos, unsigned char *buffer, std::uint32_t size) {
    move_to(pos);
    std::uint32_t count = 0;
    const std::int64_t code = plugin_.read(handle_, buffer, size, &count);
    if (code != DRM_SVC_SORN_OK) disagree_(fmt::format("read at 0x{:x} returned {}", pos, code));
    position_ = pos + count;
    delivered_ += count;
    if (count == size) return true;
    disagree_(fmt::format("read at 0x{:x} delivered {} of {} bytes", pos, count, size));
    return false;
}

void PluginFile::check_position() {
    const std::int64_t expected = position_ <= kFarthestTold ? position_ : -1;
    const std::int64_t told = plugin_.tell(handle_);
    if (told != expected) {
        disagree_(fmt::format("tell answered {} at position 0x{:x}", told, position_));
    }
}

// Positions that a seek's offset cannot name are reached by steps from the present one.
void PluginFile::move_to(std::int64_t target) {
    if (target <= kFarthestTold) {
        seek(target, SEEK_SET);
        return;
    }
    do {
        const std::int64_t step = std::clamp(target - position_, -kFarthestTold, kFarthestTold);
        seek(step, SEEK_CUR);
        position_ += step;
    } while (position_ != target);
}

void PluginFile::seek(std::int64_t offset, int whence) {
    const std::int32_t code = plugin_.seek(handle_, static_cast<std::int32_t>(offset), whence);
    if (code != 1) disagree_(fmt::format("seek returned {}", code));
}
