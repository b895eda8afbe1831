// What the commands are given alike: files, and options that mean the same everywhere.
#ifndef TOOLS_COMMANDS_GIVEN_H
#define TOOLS_COMMANDS_GIVEN_H

#include <CLI/App.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "terminal/failure.h"
#include "terminal/paint.h"

struct Given {
    std::vector<std::string> paths;  // files and folders
    unsigned jobs = 1;
    Colour colour = Colour::automatic;
    bool quiet = false;
    bool no_progress = false;

    // A bar for each of several files at once would be one over the other.
    [[nodiscard]] bool shows_progress() const { return !no_progress && !quiet && jobs == 1; }
};

CLI::Option *add_files(CLI::App &command, Given &given);
// The one file of a command that takes no more.
CLI::Option *add_file(CLI::App &command, std::string &path);
void add_jobs(CLI::App &command, Given &given);
void add_colour(CLI::App &command, Given &given);
CLI::Option *add_quiet(CLI::App &command, Given &given, const std::string &words);
void add_no_progress(CLI::App &command, Given &given);

// The status of a command that was given several files: theirs if they have the same.
class CommonExit {
public:
    void add(Exit status) { status_ = !status_ || *status_ == status ? status : Exit::disagreed; }
    [[nodiscard]] Exit status() const { return status_.value_or(Exit::success); }

private:
    std::optional<Exit> status_;
};

struct GivenFile {
    std::string path;
    std::string within;  // its path from the folder that was given, or its name
};

// The files in the order given. A folder stands for the AVI files in it and in the folders below,
// by name; links to folders are not followed. One without any stands for itself, which no command
// can read; one that cannot be listed is complained of, and its status added.
std::vector<GivenFile> files_of(const Given &given, CommonExit &status);

// "1234" or "0x4d2". Throws Failure (usage), with the option's name, for what is no position.
[[nodiscard]] std::int64_t position_from_text(const std::string &option, const std::string &text);

// Ends each command that works on several files when Ctrl-C was pressed.
[[noreturn]] void fail_interrupted(const std::string &path);

#endif
