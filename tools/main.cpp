// sorn-tool: what the plug-in does with a file, for those who integrate it and those who wonder.
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <new>
#include <system_error>

#include "commands/command.h"
#include "terminal/text.h"

namespace {

constexpr const char *kStatuses = R"(Exit status, of every command:
  0    play, every byte and position agreed; info and check, every file opened;
       tree, map and dump, the file was shown, whether it opens or not; extract,
       all of it was delivered; diff, the files are the same; repair, the new file
       plays
  1    play and extract, something disagreed; info, a file did not open; check,
       files differ, or with --strict a file that opens has an error or a warning;
       dump and extract, the file has no such thing; diff, the files differ; all,
       the output cannot be written, or memory ran out
  2    wrong usage
  3    play and extract, the file is refused; check, every file is; repair, it
       cannot be mended
  4    play, extract and repair, the plug-in is missing or unusable
  5    play and extract, the file is cut short
  6    the path cannot be read; check, none can be; info, see 1
  130  interrupted)";

struct Example {
    const char *command;
    const char *line;
};
constexpr Example kExamples[] = {
    {"play", "sorn-tool play --verify film.avi"},
    {"info", "sorn-tool info --json *.avi | jq -r 'select(.opened) | .file'"},
    {"check", "sorn-tool check *.avi"},
    {"tree", "sorn-tool tree broken.avi | less"},
    {"map", "sorn-tool map film.avi -o film.html"},
    {"dump", "sorn-tool dump film.avi 0x18"},
    {"extract", "sorn-tool extract film.avi --stream 1 -o sound.mp3"},
    {"diff", "sorn-tool diff film.avi broken.avi"},
    {"repair", "sorn-tool repair broken.avi -o mended.avi"},
};

Exit usage_error(const CLI::ParseError &error) {
    std::string text = error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    complain(text + " (see sorn-tool --help)");
    return Exit::usage;
}

// CLI11 asks for a command where it should say that it does not know this one.
void require_known_command(const CLI::App &app, const std::vector<std::string> &words) {
    if (words.empty()) throw Failure(Exit::usage, "name a command (see sorn-tool --help)");
    const std::string &first = words.front();
    const auto is_named = [&](const CLI::App *command) { return command->get_name() == first; };
    const bool option = first.starts_with('-');
    const bool known = option ? first == "-h" || first == "--help" || first == "--version"
                              : !app.get_subcommands(is_named).empty();
    if (known) return;
    throw Failure(Exit::usage, fmt::format("{} is no {} (see sorn-tool --help)", path_text(first),
                                           option ? "option of sorn-tool" : "command"));
}

// A full disk must not look like success.
Exit cannot_write(const char *reason) {
    complain(fmt::format("cannot write to standard output: {}", reason));
    return Exit::failed;
}

Exit finish_output(Exit status) {
    errno = 0;
    std::cout.flush();
    const bool flushed = std::fflush(stdout) == 0;
    const int error = errno;
    if (flushed && std::ferror(stdout) == 0 && std::cout.good()) return status;
    const Exit failed =
        cannot_write(error == 0 ? "the output is incomplete" : std::strerror(error));
    return status == Exit::success ? failed : status;
}

// Nothing that a command throws ends the program otherwise than with a line and a status.
template <typename Command>
Exit guarded(Command command) {
    try {
        return finish_output(command());
    } catch (const Failure &failure) {
        complain(failure.what());
        return finish_output(failure.status());
    } catch (const std::bad_alloc &) {
        complain("out of memory");
    } catch (const std::system_error &error) {  // what fmt throws when it cannot write
        return cannot_write(std::strerror(error.code().value()));
    } catch (const std::exception &error) {
        complain(error.what());
    }
    return Exit::failed;
}

Exit run(int argc, char **argv) {
    CLI::App app(
        "Plays AVI files through the libdrm-sorn plug-in, and shows what it knows of them.",
        "sorn-tool");
    app.set_version_flag("--version", "sorn-tool " SORN_TOOL_VERSION);
    app.require_subcommand(1);
    app.footer(kStatuses);

    Exit status = Exit::success;
    add_play(app, status);
    add_info(app, status);
    add_check(app, status);
    add_tree(app, status);
    add_map(app, status);
    add_dump(app, status);
    add_extract(app, status);
    add_diff(app, status);
    add_repair(app, status);
    for (const auto &[name, example] : kExamples) {
        app.get_subcommand(name)->footer(fmt::format("Example:\n  {}\n\n{}", example, kStatuses));
    }
    try {
        require_known_command(app, {argv + 1, argv + argc});
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() != 0) return usage_error(error);
        app.exit(error);
    }
    return status;
}

}  // namespace

int main(int argc, char **argv) {
    // A closed pipe or a file at its limit is an output that cannot be written, no reason to die.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    return static_cast<int>(guarded([&] { return run(argc, argv); }));
}
