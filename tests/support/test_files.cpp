#include "tests/support/test_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace {

std::string path_for_a_file() {
    return (std::filesystem::temp_directory_path() / "drm-sorn-XXXXXX").string();
}

}  // namespace

TempFile::TempFile(const avi_builder::Bytes &content) : path_(path_for_a_file()) {
    const int descriptor = mkstemp(path_.data());
    if (descriptor < 0) throw std::runtime_error("cannot make a temporary file");
    close(descriptor);
    write(0, content);
}

TempFile::~TempFile() {
    unlink(path_.c_str());
}

void TempFile::write(std::int64_t position, const avi_builder::Bytes &bytes) const {
    const int file = ::open(path(), O_WRONLY | O_LARGEFILE);
    const ssize_t written = pwrite64(file, bytes.data(), bytes.size(), position);
    if (::close(file) != 0 || written != avi_builder::length(bytes)) {
        throw std::runtime_error("cannot write " + path_);
    }
}

void TempFile::resize(std::int64_t size) const {
    if (truncate64(path(), size) != 0) throw std::runtime_error("cannot resize " + path_);
}

Pipe::Pipe(const avi_builder::Bytes &content) : path_(path_for_a_file()) {
    close(mkstemp(path_.data()));  // a name that nobody else has
    unlink(path());
    const bool made = mkfifo(path(), 0600) == 0;
    // To be both ends of it keeps an open from waiting for the other.
    writer_ = ::open(path(), O_RDWR);
    if (!made || ::write(writer_, content.data(), content.size()) != avi_builder::length(content)) {
        throw std::runtime_error("cannot make a pipe");
    }
}

Pipe::~Pipe() {
    ::close(writer_);
    unlink(path());
}

AviReader open_bytes(const avi_builder::Bytes &content, std::uint32_t open_option) {
    const TempFile file(content);
    return AviReader(aviin_open(file.path(), open_option));
}

AviRefusal refusal_of(const avi_builder::Bytes &content) {
    const TempFile file(content);
    AviRefusal refusal{};
    AviReader(aviin_open(file.path(), 0, &refusal));
    return refusal;
}
