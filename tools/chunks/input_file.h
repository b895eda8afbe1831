// A file read directly, to know that it can be read, how long it is, and what its bytes are.
// What derives from it shows other bytes to whoever walks or examines a file: a file as it would
// be.
#ifndef TOOLS_CHUNKS_INPUT_FILE_H
#define TOOLS_CHUNKS_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "avi_reader/avi_reader.h"

class InputFile {
public:
    // Throws Failure (unreadable) for what is not a file that can be read at any position.
    explicit InputFile(const std::string &path);
    virtual ~InputFile();
    InputFile(const InputFile &) = delete;
    InputFile &operator=(const InputFile &) = delete;

    [[nodiscard]] virtual std::int64_t size() const { return size_; }

    // Whether the file holds exactly these bytes at that position.
    [[nodiscard]] bool holds(const unsigned char *bytes, std::size_t count, std::int64_t pos) const;

    // Reads up to `count` bytes from that position and returns how many there were.
    virtual std::size_t read(unsigned char *bytes, std::size_t count, std::int64_t pos) const;

    // The first position from there on that the file system keeps bytes for: those before it are
    // zeros. It may be the position itself, and is the end of the file when there is none.
    [[nodiscard]] virtual std::int64_t data_after(std::int64_t pos) const;

protected:
    InputFile() = default;  // of no file

private:
    int descriptor_ = -1;
    std::int64_t size_ = 0;
};

// What stands at a position; bytes that the file does not hold count as 0.
[[nodiscard]] std::uint32_t u32_at(const InputFile &file, std::int64_t pos);
[[nodiscard]] FourCC fourcc_at(const InputFile &file, std::int64_t pos);

#endif
