// A file that a command makes: it is there whole, or it is not there.
#ifndef TOOLS_TERMINAL_NEW_FILE_H
#define TOOLS_TERMINAL_NEW_FILE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

// Until it is published it lies beside the path, under another name, and a file that is there
// already stays as it is. What is not published is removed. All of it throws Failure (failed) when
// the file cannot be written.
class NewFile {
public:
    // A link is followed. What is there and is no regular file is left alone, and fails.
    explicit NewFile(const std::string &path);
    ~NewFile();
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    void write(std::span<const unsigned char> bytes);

    // Zeros. File systems that know holes keep one here.
    void skip(std::int64_t count);

    // So many bytes were written and skipped.
    [[nodiscard]] std::int64_t size() const { return size_; }

    // Where all that was written so far can be read until it is published.
    [[nodiscard]] const std::string &part();

    // Takes the place of what was there.
    void publish();

private:
    void create();
    void flush();
    [[noreturn]] void fail(int error) const;

    std::string path_;    // as given
    std::string target_;  // where it leads to
    std::string part_;    // until it is published
    int descriptor_ = -1;
    unsigned mode_ = 0;  // of the file that it replaces, 0 for none
    std::int64_t size_ = 0;
    std::vector<unsigned char> buffer_;
};

// Throws Failure (usage) when both paths lead to the same file: a command never writes to what it
// reads.
void require_other_file(const std::string &input, const std::string &output);

#endif
