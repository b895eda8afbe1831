// sorn-tool diff: how two files differ, by chunks and fields.
#include <CLI/Option.hpp>
#include <memory>
#include <vector>

#include "chunks/comparison.h"
#include "commands/command.h"
#include "commands/diff_report.h"
#include "commands/given.h"
#include "terminal/interrupt.h"
#include "terminal/progress.h"

namespace {

struct Request {
    Given given;
    std::string first;
    std::string second;
    bool all = false;
    bool json = false;
};

Exit run(const Request &request) {
    note_interrupts();
    const InputFile first(request.first);
    const InputFile second(request.second);
    ChunkList a(first);
    ChunkList b(second);
    std::vector<Difference> differences;
    {
        Progress progress(2 * first.size() + second.size(), request.given.shows_progress());
        std::int64_t before = 0;
        const WalkOptions options = {
            .on_progress = [&](std::int64_t pos) { progress.show(before + pos); },
            .stop = interrupted};
        walk_chunks(first, a, options);
        before = first.size();
        walk_chunks(second, b, options);
        before += second.size();
        differences = compare_chunks(a, b, options);
    }
    if (interrupted()) fail_interrupted(request.first);
    const DiffReport report(a, b, differences);
    request.json ? report.print_json(request.first, request.second)
                 : report.print_text(request.first, request.second, request.all);
    flush_output();
    if (interrupted()) fail_interrupted(request.first);
    return differences.empty() ? Exit::success : Exit::disagreed;
}

}  // namespace

void add_diff(CLI::App &app, Exit &status) {
    CLI::App *command = app.add_subcommand("diff", "Tell how two files differ, chunk by chunk");
    const auto request = std::make_shared<Request>();
    command->add_option("FILE", request->first, "An AVI file")->required();
    command->add_option("OTHER", request->second, "The one to hold it against")->required();
    command->add_flag("--all", request->all, "Tell of each chunk and field");
    command->add_flag("--json", request->json, "Print a line of JSON for each difference");
    add_no_progress(*command, request->given);
    command->callback([request, &status] { status = run(*request); });
}
