// Files on disk for tests, and records opened from them.
#ifndef TESTS_TEST_FILES_H
#define TESTS_TEST_FILES_H

#include <memory>
#include <string>

#include "avi_builder.h"
#include "avi_reader/avi_reader.h"

// A file that exists as long as the object.
class TempFile {
public:
    explicit TempFile(const avi_builder::Bytes &content);
    ~TempFile();
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;

    [[nodiscard]] const char *path() const { return path_.c_str(); }

private:
    std::string path_;
};

struct CloseRecord {
    void operator()(AviReaderState *reader) const { aviin_close(reader); }
};
using Record = std::unique_ptr<AviReaderState, CloseRecord>;

// Opens a file with that content; null when it is refused.
Record open_bytes(const avi_builder::Bytes &content, std::uint32_t open_option = 0);

#endif
