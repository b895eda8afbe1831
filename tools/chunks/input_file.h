// A file read directly, to know that it can be read, how long it is, and what its bytes are.
#ifndef TOOLS_CHUNKS_INPUT_FILE_H
#define TOOLS_CHUNKS_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

class InputFile {
public:
    // Throws Failure (unreadable) for what is not a file that can be read at any position.
    explicit InputFile(const std::string &path);
    ~InputFile();
    InputFile(const InputFile &) = delete;
    InputFile &operator=(const InputFile &) = delete;

    [[nodiscard]] std::int64_t size() const { return size_; }

    // Whether the file holds exactly these bytes at that position.
    [[nodiscard]] bool holds(const unsigned char *bytes, std::size_t count, std::int64_t pos) const;

    // Reads up to `count` bytes from that position and returns how many there were.
    std::size_t read(unsigned char *bytes, std::size_t count, std::int64_t pos) const;

    // The first position from there on that the file system keeps bytes for: those before it are
    // zeros. It may be the position itself, and is the end of the file when there is none.
    [[nodiscard]] std::int64_t data_after(std::int64_t pos) const;

private:
    int descriptor_;
    std::int64_t size_;
};

#endif
