// How a command fails: with a line for people, and a status for scripts.
#ifndef TOOLS_TERMINAL_FAILURE_H
#define TOOLS_TERMINAL_FAILURE_H

#include <stdexcept>
#include <string>

// Exit statuses. `--help` and the manual page list them; scripts depend on them.
enum class Exit : int {
    success = 0,     // everything agreed, or every file opened
    disagreed = 1,   // something did not agree, a file did not open (info), or files differ (check)
    failed = 1,      // what the command makes cannot be made: no memory, or no room to write it
    usage = 2,       // the command line is wrong
    refused = 3,     // the file is refused
    no_plugin = 4,   // the plug-in is missing or unusable
    cut_short = 5,   // the file ends before what it declares
    unreadable = 6,  // the path cannot be read
    interrupted = 130  // Ctrl-C, as shells count it
};

// A failure that ends a command. The text is one line, without the program's name.
class Failure : public std::runtime_error {
public:
    Failure(Exit status, const std::string &text) : std::runtime_error(text), status_(status) {}
    [[nodiscard]] Exit status() const { return status_; }

private:
    Exit status_;
};

// Writes one line to standard error, after the program's name. Where it cannot be written, the exit
// status alone tells.
void complain(const std::string &text) noexcept;

// Writes out what was printed so far. Throws std::system_error when that cannot be done.
void flush_output();

#endif
