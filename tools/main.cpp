// sorn-tool: what the plug-in does with a file, for those who integrate it and those who wonder.
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cstdio>
#include <new>

#include "commands/command.h"

namespace {

constexpr const char *kStatuses = R"(Exit status:
  0    everything agreed; with info and check, every file opened
  1    something disagreed; with info, a file did not open; with check, files differ
  2    wrong usage
  3    the file is refused; with check, every file was
  4    the plug-in is missing or unusable
  5    the file is cut short
  6    the path cannot be read
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
};

int usage_error(const CLI::ParseError &error) {
    std::string text = error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    complain(text + " (see sorn-tool --help)");
    return static_cast<int>(Exit::usage);
}

// A full disk must not look like success.
Exit finish_output(Exit status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    complain("cannot write to standard output");
    return status == Exit::success ? Exit::disagreed : status;
}

}  // namespace

int main(int argc, char **argv) {
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
    for (const auto &[name, example] : kExamples) {
        app.get_subcommand(name)->footer(fmt::format("Example:\n  {}\n\n{}", example, kStatuses));
    }

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return error.get_exit_code() == 0 ? app.exit(error) : usage_error(error);
    } catch (const Failure &failure) {
        complain(failure.what());
        status = failure.status();
    } catch (const std::bad_alloc &) {
        complain("out of memory");
        status = Exit::disagreed;
    }
    return static_cast<int>(finish_output(status));
}
