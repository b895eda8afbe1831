// sorn-tool check: whether each file opens, and everything that is wrong with it.
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "commands/check_report.h"
#include "commands/command.h"
#include "commands/given.h"
#include "findings/examination.h"
#include "findings/refusal_text.h"
#include "repair/plan.h"
#include "terminal/in_order.h"
#include "terminal/interrupt.h"
#include "terminal/progress.h"
#include "terminal/text.h"

namespace {

struct Request {
    Given given;
    std::string explain;
    bool rules = false;
    bool json = false;
    bool sarif = false;
    bool strict = false;
};

// Whether it helps is told of this file, not of all that break the same rule.
void find_what_repair_mends(Diagnosis &diagnosis, const InputFile &file) {
    if (!diagnosis.flawed()) return;
    try {
        const Plan plan(file, {diagnosis.refusal, diagnosis.findings},
                        {.on_progress = {}, .stop = interrupted});
        if (plan.holds()) diagnosis.mended = plan.mended();
    } catch (const Failure &) {  // it cannot be tried out here, and what was found is true
        diagnosis.mended.clear();
    }
}

Diagnosis examine(const std::string &path, bool show_progress) {
    Diagnosis diagnosis;
    diagnosis.file = path;
    const InputFile file(path);
    const AviReader record(aviin_open(path.c_str(), 0, &diagnosis.refusal));
    if (record == nullptr) {
        diagnosis.status = Exit::refused;
        diagnosis.sentence = refused_text(diagnosis.refusal, file);
        diagnosis.refused_at = refusal_place(diagnosis.refusal, file);
    }
    Examination examination(file, record.get());
    {
        Progress progress(file.size(), show_progress);
        walk_chunks(
            file, examination,
            {.on_progress = [&](std::int64_t pos) { progress.show(pos); }, .stop = interrupted});
    }
    diagnosis.findings = examination.finish(diagnosis.refusal);
    diagnosis.examined = examination.examined();
    find_what_repair_mends(diagnosis, file);
    return diagnosis;
}

Diagnosis unreadable(const std::string &path, const Failure &failure) {
    Diagnosis diagnosis;
    diagnosis.file = path;
    diagnosis.status = failure.status();
    diagnosis.sentence = failure.what();
    diagnosis.refusal.reason = AviReason::cannot_open;
    diagnosis.findings = {{find_rule("cannot_open"), -1, failure.what()}};
    return diagnosis;
}

Diagnosis diagnose(const std::string &path, bool show_progress) {
    try {
        return examine(path, show_progress);
    } catch (const Failure &failure) {
        return unreadable(path, failure);
    }
}

void report(const Request &request, const Diagnosis &diagnosis) {
    if (request.given.quiet && diagnosis.opened() && !diagnosis.flawed()) return;
    if (request.json) {
        fmt::print("{}", diagnosis_json(diagnosis));
    } else if (diagnosis.status == Exit::unreadable) {
        complain(diagnosis.sentence);
    } else if (!request.sarif) {
        fmt::print("{}", diagnosis_text(diagnosis));
    }
    flush_output();
}

Exit status_of(const Request &request, const Diagnosis &diagnosis) {
    const bool flawed = request.strict && diagnosis.opened() && diagnosis.flawed();
    return flawed ? Exit::disagreed : diagnosis.status;
}

Exit check(const Request &request) {
    note_interrupts();
    CommonExit status;
    const std::vector<GivenFile> files = files_of(request.given, status);
    std::vector<Diagnosis> diagnoses;
    const auto diagnose_one = [&](std::size_t i) {
        return diagnose(files[i].path, request.given.shows_progress());
    };
    const auto take = [&](Diagnosis diagnosis) {
        if (interrupted()) fail_interrupted(diagnosis.file);
        report(request, diagnosis);
        status.add(status_of(request, diagnosis));
        if (request.sarif) diagnoses.push_back(std::move(diagnosis));
        return true;
    };
    in_order(files.size(), request.given.jobs, diagnose_one, take);
    if (request.sarif) fmt::print("{}", diagnoses_sarif(diagnoses, SORN_TOOL_VERSION));
    return status.status();
}

Exit explain(const std::string &id) {
    const Rule *rule = find_rule(id);
    if (rule == nullptr) {
        throw Failure(Exit::usage, text_of(id) + " is no rule (see sorn-tool check --rules)");
    }
    fmt::print("{}", rule_text(*rule));
    return Exit::success;
}

Exit run(const Request &request) {
    if (!request.explain.empty()) return explain(request.explain);
    if (request.rules) {
        fmt::print("{}", request.json ? rules_json() : rules_text());
        return Exit::success;
    }
    if (request.given.paths.empty()) {
        throw Failure(Exit::usage, "check: FILE is required (see sorn-tool --help)");
    }
    return check(request);
}

}  // namespace

void add_check(CLI::App &app, Exit &status) {
    CLI::App *command = app.add_subcommand(
        "check", "Say why files do not open, and what is wrong in those that do");
    const auto request = std::make_shared<Request>();
    add_files(*command, request->given);
    CLI::Option *json =
        command->add_flag("--json", request->json, "Print a line of JSON for each file");
    command->add_flag("--sarif", request->sarif, "Print a SARIF log, for code reviews")
        ->excludes(json);
    command->add_flag("--strict", request->strict,
                      "Exit with 1 when a file that opens has an error or a warning");
    command->add_flag("--rules", request->rules, "Print the catalogue of what is looked for");
    command->add_option("--explain", request->explain, "Print what a rule means, and the remedy")
        ->option_text("RULE");
    add_quiet(*command, request->given,
              "Say nothing of files that open without an error or a warning");
    add_jobs(*command, request->given);
    add_no_progress(*command, request->given);
    command->callback([request, &status] { status = run(*request); });
}
