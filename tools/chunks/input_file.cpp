#include "chunks/input_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "terminal/failure.h"
#include "terminal/text.h"

namespace {

[[noreturn]] void refuse(const std::string &path, const char *reason) {
    throw Failure(Exit::unreadable, fmt::format("{}: {}", path_text(path), reason));
}

// Opening a pipe would wait for a writer, so the kind of file is looked at first.
void require_seekable(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) refuse(path, std::strerror(errno));
    if (S_ISDIR(status.st_mode)) refuse(path, "Is a directory, and no file in it ends in .avi");
    if (!S_ISREG(status.st_mode) && !S_ISBLK(status.st_mode)) refuse(path, "Not a regular file");
}

}  // namespace

InputFile::InputFile(const std::string &path) {
    require_seekable(path);
    descriptor_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) refuse(path, std::strerror(errno));
    size_ = lseek(descriptor_, 0, SEEK_END);
    if (size_ < 0) {
        const int error = errno;
        close(descriptor_);
        refuse(path, error == 0 ? "Has no size" : std::strerror(error));
    }
}

InputFile::~InputFile() {
    if (descriptor_ >= 0) close(descriptor_);
}

bool InputFile::holds(const unsigned char *bytes, std::size_t count, std::int64_t pos) const {
    std::array<unsigned char, 65536> block;
    while (count > 0) {
        const std::size_t got = read(block.data(), std::min(count, block.size()), pos);
        if (got == 0 || std::memcmp(bytes, block.data(), got) != 0) return false;
        bytes += got;
        pos += static_cast<std::int64_t>(got);
        count -= got;
    }
    return true;
}

std::size_t InputFile::read(unsigned char *bytes, std::size_t count, std::int64_t pos) const {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got =
            pread(descriptor_, bytes + done, count - done, pos + static_cast<std::int64_t>(done));
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

std::int64_t InputFile::data_after(std::int64_t pos) const {
    const off_t found = lseek(descriptor_, pos, SEEK_DATA);
    if (found >= 0) return found;
    return errno == ENXIO ? size_ : pos;
}

std::uint32_t u32_at(const InputFile &file, std::int64_t pos) {
    unsigned char bytes[4]{};
    file.read(bytes, sizeof bytes, pos);
    return avi_get_u32le(bytes);
}

FourCC fourcc_at(const InputFile &file, std::int64_t pos) {
    return {u32_at(file, pos)};
}
