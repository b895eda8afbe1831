// sorn-tool repair: a copy of a file with the least change that makes it play.
#include <cstdio>
#include <memory>

#include "avi_reader/avi_reader.h"
#include "commands/command.h"
#include "commands/given.h"
#include "commands/repair_report.h"
#include "findings/refusal_text.h"
#include "plugin/player.h"
#include "repair/copy.h"
#include "repair/plan.h"
#include "terminal/interrupt.h"
#include "terminal/new_file.h"
#include "terminal/progress.h"
#include "terminal/text.h"

namespace {

struct Request {
    Given given;
    std::string file;
    std::string output;
    std::string plugin;
    bool dry_run = false;
    bool json = false;
};

// A bar over one pass over a file.
class Pass {
public:
    Pass(const InputFile &file, const Request &request)
        : progress_(file.size(), request.given.shows_progress()) {}

    [[nodiscard]] WalkOptions options() {
        return {.on_progress = [this](std::int64_t pos) { progress_.show(pos); },
                .stop = interrupted};
    }

private:
    Progress progress_;
};

Verdict verdict_on(const InputFile &file, const Request &request) {
    AviRefusal refusal{};
    const AviReader reader(aviin_open(request.file.c_str(), 0, &refusal));
    Pass pass(file, request);
    return examined(file, reader.get(), refusal, pass.options());
}

// The new file has to open, and every byte of it to come through the plug-in as it is there.
void prove(const std::string &path, const Request &request, const Plugin &plugin) {
    const InputFile file(path);
    AviRefusal refusal{};
    const AviReader reader(aviin_open(path.c_str(), 0, &refusal));
    if (reader == nullptr) {
        throw Failure(Exit::refused,
                      fmt::format("{}: cannot be mended: {}", path_text(request.file),
                                  refused_text(refusal, file)));
    }
    Pass pass(file, request);
    const WalkOptions options = pass.options();
    const Playback playback = play(plugin, {.path = path,
                                            .file = &file,
                                            .verify = true,
                                            .on_progress = options.on_progress,
                                            .stop = options.stop});
    if (playback.interrupted) fail_interrupted(request.file);
    if (playback.disagreements == 0) return;
    throw Failure(Exit::refused, fmt::format("{}: cannot be mended: {}", path_text(request.file),
                                             playback.first_disagreement));
}

void write(const Plan &plan, const Request &request, const Plugin &plugin) {
    NewFile out(request.output);
    bool whole = false;
    {
        Pass pass(plan.result(), request);
        whole = copy_file(plan.result(), out, pass.options());
    }
    if (!whole) fail_interrupted(request.file);
    prove(out.part(), request, plugin);
    if (interrupted()) fail_interrupted(request.file);
    out.publish();
}

Exit report(const Request &request, const Plan &plan) {
    const RepairReport report{request.file, request.output, request.dry_run};
    const bool beyond = outcome_of(plan) == RepairOutcome::beyond;
    if (request.json) {
        fmt::print("{}", repair_json(report, plan));
    } else if (!beyond) {
        fmt::print("{}", repair_text(report, plan));
    }
    flush_output();
    if (!beyond) return Exit::success;
    complain(fmt::format("{}: cannot be mended: {}", path_text(request.file), why_beyond(plan)));
    return Exit::refused;
}

Exit repair(const Request &request) {
    note_interrupts();
    const InputFile file(request.file);
    if (!request.output.empty()) require_other_file(request.file, request.output);
    Verdict before = verdict_on(file, request);
    Pass pass(file, request);
    const Plan plan(file, std::move(before), pass.options());
    if (interrupted() || plan.stopped()) fail_interrupted(request.file);
    if (outcome_of(plan) != RepairOutcome::beyond && !request.dry_run) {
        const Plugin plugin(request.plugin.empty() ? default_plugin() : request.plugin);
        write(plan, request, plugin);
    }
    return report(request, plan);
}

Exit run(const Request &request) {
    if (!request.output.empty() || request.dry_run) return repair(request);
    throw Failure(Exit::usage, "repair: name the new file with -o, or say --dry-run");
}

}  // namespace

void add_repair(CLI::App &app, Exit &status) {
    CLI::App *command =
        app.add_subcommand("repair", "Write a copy with the least change that makes it play");
    const auto request = std::make_shared<Request>();
    command->add_option("FILE", request->file, "The AVI file")->required();
    command->add_option("-o,--output", request->output, "The file to write");
    command->add_flag("--dry-run", request->dry_run,
                      "Say what would be changed, and write nothing");
    command->add_option("--plugin", request->plugin,
                        "The plug-in to prove it with (default: the one beside this program)");
    command->add_flag("--json", request->json, "Print a line of JSON");
    add_no_progress(*command, request->given);
    command->callback([request, &status] { status = run(*request); });
}
