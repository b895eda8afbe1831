#include "commands/given.h"

#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>

#include "terminal/text.h"

namespace {

namespace fs = std::filesystem;

bool is_film(const fs::path &path) {
    std::string ending = path.extension();
    for (char &c : ending) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return ending == ".avi";
}

class Search {
public:
    Search(std::vector<GivenFile> &files, CommonExit &status) : files_(files), status_(status) {}

    void folder(const fs::path &top) {
        const std::size_t before = files_.size();
        const bool listed = list(top, top);
        if (listed && files_.size() == before) files_.push_back({top, top.filename()});
    }

private:
    bool list(const fs::path &folder, const fs::path &top) {
        std::error_code error;
        std::vector<fs::directory_entry> entries;
        for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
             entry.increment(error)) {
            entries.push_back(*entry);
        }
        if (error) trouble(folder, error.message());
        std::sort(entries.begin(), entries.end());
        for (const fs::directory_entry &entry : entries) {
            std::error_code gone;
            const bool below = entry.is_directory(gone) && !entry.is_symlink(gone);
            if (below) {
                list(entry.path(), top);
            } else if (is_film(entry.path()) && entry.is_regular_file(gone)) {
                files_.push_back({entry.path(), entry.path().lexically_relative(top)});
            }
        }
        return !error;
    }

    void trouble(const fs::path &folder, const std::string &why) {
        complain(path_text(folder.native()) + ": " + why);
        status_.add(Exit::unreadable);
    }

    std::vector<GivenFile> &files_;
    CommonExit &status_;
};

}  // namespace

CLI::Option *add_files(CLI::App &command, Given &given) {
    return command.add_option("FILE", given.paths,
                              "AVI files, and folders for those that end in .avi in them");
}

CLI::Option *add_file(CLI::App &command, std::string &path) {
    return command.add_option("FILE", path, "An AVI file")->required();
}

void add_jobs(CLI::App &command, Given &given) {
    command.add_option("-j,--jobs", given.jobs, "So many files at once (1)")
        ->option_text("N")
        ->check(CLI::Range(1U, 256U));
}

void add_colour(CLI::App &command, Given &given) {
    const auto choose = [&given](const std::string &when) {
        const std::map<std::string, Colour> words = {
            {"auto", Colour::automatic}, {"always", Colour::always}, {"never", Colour::never}};
        const auto chosen = words.find(when);
        if (chosen == words.end()) {
            throw CLI::ValidationError("--color " + text_of(when), "say auto, always or never");
        }
        given.colour = chosen->second;
    };
    command
        .add_option_function<std::string>("--color", choose,
                                          "When to use colours: auto, always or never (auto)")
        ->option_text("WHEN");
}

CLI::Option *add_quiet(CLI::App &command, Given &given, const std::string &words) {
    return command.add_flag("-q,--quiet", given.quiet, words);
}

void add_no_progress(CLI::App &command, Given &given) {
    command.add_flag("--no-progress", given.no_progress, "Show no progress bar");
}

std::vector<GivenFile> files_of(const Given &given, CommonExit &status) {
    std::vector<GivenFile> files;
    for (const std::string &path : given.paths) {
        std::error_code error;
        if (fs::is_directory(path, error)) {
            Search(files, status).folder(path);
        } else {
            files.push_back({path, fs::path(path).filename()});
        }
    }
    return files;
}

std::int64_t position_from_text(const std::string &option, const std::string &text) {
    const bool hexadecimal = text.starts_with("0x");
    std::int64_t pos = -1;
    const char *digits = text.data() + (hexadecimal ? 2 : 0);
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(digits, end, pos, hexadecimal ? 16 : 10);
    if (result.ec == std::errc() && result.ptr == end && pos >= 0) return pos;
    throw Failure(Exit::usage,
                  option + " " + text_of(text) + ": a position is a number, like 1234 or 0x4d2");
}

void fail_interrupted(const std::string &path) {
    throw Failure(Exit::interrupted, path_text(path) + ": interrupted");
}
