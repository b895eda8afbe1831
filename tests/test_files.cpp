#include "test_files.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

TempFile::TempFile(const avi_builder::Bytes &content)
    : path_((std::filesystem::temp_directory_path() / "drm-sorn-XXXXXX").string()) {
    const int descriptor = mkstemp(path_.data());
    if (descriptor < 0) throw std::runtime_error("cannot make a temporary file");
    std::FILE *file = fdopen(descriptor, "wb");
    const bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    if (std::fclose(file) != 0 || !written) throw std::runtime_error("cannot write " + path_);
}

TempFile::~TempFile() {
    unlink(path_.c_str());
}

Record open_bytes(const avi_builder::Bytes &content, std::uint32_t open_option) {
    const TempFile file(content);
    return Record(aviin_open(file.path(), open_option));
}
