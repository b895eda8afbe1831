// Files on disk for tests, and records opened from them.
#ifndef TESTS_SUPPORT_TEST_FILES_H
#define TESTS_SUPPORT_TEST_FILES_H

#include <string>

#include "avi_reader/avi_reader.h"
#include "tests/support/avi_builder.h"

// A file that exists as long as the object.
class TempFile {
public:
    explicit TempFile(const avi_builder::Bytes &content);
    ~TempFile();
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;

    [[nodiscard]] const char *path() const { return path_.c_str(); }

    // Puts bytes anywhere, also far behind the end: the file is then sparse and takes no room.
    void write(std::int64_t position, const avi_builder::Bytes &bytes) const;
    // Cuts the file, or has it end behind a hole.
    void resize(std::int64_t size) const;

private:
    std::string path_;
};

// A named pipe in which `content` waits, and which never ends.
class Pipe {
public:
    explicit Pipe(const avi_builder::Bytes &content);
    ~Pipe();
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    [[nodiscard]] const char *path() const { return path_.c_str(); }

private:
    std::string path_;
    int writer_;
};

// Opens a file with that content; null when it is refused.
AviReader open_bytes(const avi_builder::Bytes &content, std::uint32_t open_option = 0);

// Why a file with that content is refused.
AviRefusal refusal_of(const avi_builder::Bytes &content);

#endif
