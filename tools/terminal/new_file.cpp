#include "terminal/new_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "terminal/failure.h"
#include "terminal/text.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBuffer = 65536;

Failure not_written(const std::string &path, const std::string &why) {
    return {Exit::failed, fmt::format("{}: cannot be written: {}", path_text(path), why)};
}

// A dangling link is replaced itself.
std::string followed(const std::string &path) {
    std::error_code error;
    const fs::path target = fs::canonical(path, error);
    return error ? path : target.native();
}

}  // namespace

NewFile::NewFile(const std::string &path) : path_(path), target_(followed(path)) {
    struct stat status {};
    if (stat(target_.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode)) throw not_written(path, "Not a regular file");
        if (access(target_.c_str(), W_OK) != 0) fail(errno);
        mode_ = status.st_mode & 0777;
    }
    buffer_.reserve(kBuffer);
    create();
}

NewFile::~NewFile() {
    if (descriptor_ < 0) return;
    close(descriptor_);
    unlink(part_.c_str());
}

// Its name is short, whatever the length of the other.
void NewFile::create() {
    const fs::path folder = fs::path(target_).parent_path();
    for (unsigned i = 0; descriptor_ < 0; ++i) {
        part_ = (folder / fmt::format(".sorn-tool-{}-{}.part", getpid(), i)).native();
        descriptor_ = open(part_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor_ < 0 && errno != EEXIST) fail(errno);
    }
    if (mode_ != 0) static_cast<void>(fchmod(descriptor_, mode_));
}

void NewFile::write(std::span<const unsigned char> bytes) {
    size_ += static_cast<std::int64_t>(bytes.size());
    while (!bytes.empty()) {
        if (buffer_.size() == kBuffer) flush();
        const std::span<const unsigned char> some =
            bytes.first(std::min(bytes.size(), kBuffer - buffer_.size()));
        buffer_.insert(buffer_.end(), some.begin(), some.end());
        bytes = bytes.subspan(some.size());
    }
}

void NewFile::skip(std::int64_t count) {
    flush();
    if (lseek(descriptor_, count, SEEK_CUR) < 0) fail(errno);
    size_ += count;
}

void NewFile::flush() {
    for (std::size_t done = 0; done < buffer_.size();) {
        const ssize_t count = ::write(descriptor_, &buffer_[done], buffer_.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(errno);
        done += static_cast<std::size_t>(count);
    }
    buffer_.clear();
}

const std::string &NewFile::part() {
    flush();
    if (ftruncate(descriptor_, size_) != 0) fail(errno);
    return part_;
}

// Some disks say only when they have stored all of it that they could not.
void NewFile::publish() {
    flush();
    const bool stored = ftruncate(descriptor_, size_) == 0 && fsync(descriptor_) == 0;
    if (!stored || std::rename(part_.c_str(), target_.c_str()) != 0) fail(errno);
    close(descriptor_);
    descriptor_ = -1;
}

void NewFile::fail(int error) const {
    throw not_written(path_, std::strerror(error));
}

void require_other_file(const std::string &input, const std::string &output) {
    std::error_code error;
    if (!fs::equivalent(input, output, error)) return;
    throw Failure(Exit::usage, path_text(output) + ": is the file that is read");
}
