// sorn-tool check: whether each file opens, and if not, why; what is odd in those that do.
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "chunk_tree.h"
#include "command.h"
#include "interrupt.h"
#include "oddities.h"
#include "progress.h"
#include "refusal_text.h"
#include "text.h"

namespace {

using Json = nlohmann::ordered_json;

struct Request {
    std::vector<std::string> files;
    bool json = false;
    bool no_progress = false;
};

struct Verdict {
    Exit status = Exit::success;
    std::string sentence = "opens";
    AviRefusal refusal{};
    std::vector<Oddity> oddities;
};

std::vector<Oddity> find_oddities(const AviReaderState &reader, const InputFile &file,
                                  bool show_progress) {
    OddityFinder finder(reader);
    Progress progress(file.size(), show_progress);
    walk_chunks(
        file, finder,
        {.on_progress = [&](std::int64_t pos) { progress.show(pos); }, .stop = interrupted});
    return finder.finish();
}

Verdict judge(const std::string &path, bool show_progress) {
    Verdict verdict;
    try {
        const InputFile file(path);
        const AviReader record(aviin_open(path.c_str(), 0, &verdict.refusal));
        if (record != nullptr) {
            verdict.oddities = find_oddities(*record, file, show_progress);
        } else {
            verdict.status = Exit::refused;
            verdict.sentence = refused_text(verdict.refusal, file);
        }
    } catch (const Failure &failure) {
        verdict.status = failure.status();
        verdict.sentence = failure.what();
        verdict.refusal.reason = AviReason::cannot_open;
    }
    return verdict;
}

Json offset_or_null(std::int64_t pos, bool known) {
    return known ? Json(pos) : Json();
}

Json as_json(const std::string &path, const Verdict &verdict) {
    const AviRefusal &refusal = verdict.refusal;
    const bool opened = verdict.status == Exit::success;
    Json oddities = Json::array();
    for (const Oddity &oddity : verdict.oddities) {
        oddities.push_back({{"kind", oddity.kind},
                            {"offset", offset_or_null(oddity.pos, oddity.pos >= 0)},
                            {"sentence", oddity.text}});
    }
    return {{"file", path},
            {"opened", opened},
            {"reason", opened ? Json() : Json(reason_word(refusal.reason))},
            {"offset", offset_or_null(refusal.pos, has_position(refusal.reason))},
            {"found", refusal.found.value == 0 ? Json() : Json(text_of(refusal.found))},
            {"sentence", verdict.sentence},
            {"oddities", oddities}};
}

void print(const std::string &path, const Verdict &verdict) {
    if (verdict.status == Exit::unreadable) {
        complain(verdict.sentence);
        return;
    }
    fmt::print("{}: {}{}\n", path_text(path), verdict.sentence,
               verdict.oddities.empty() ? "" : ", but is odd:");
    for (const Oddity &oddity : verdict.oddities) fmt::print("  {}\n", oddity.text);
}

Exit run(const Request &request) {
    note_interrupts();
    std::optional<Exit> status;
    for (const std::string &path : request.files) {
        const Verdict verdict = judge(path, !request.no_progress);
        if (interrupted()) {
            complain(path_text(path) + ": interrupted");
            return Exit::interrupted;
        }
        if (request.json) {
            fmt::print("{}\n",
                       as_json(path, verdict).dump(-1, ' ', false, Json::error_handler_t::replace));
        } else {
            print(path, verdict);
        }
        std::fflush(stdout);
        status = !status || *status == verdict.status ? verdict.status : Exit::disagreed;
    }
    return status.value_or(Exit::success);
}

}  // namespace

void add_check(CLI::App &app, Exit &status) {
    CLI::App *command =
        app.add_subcommand("check", "Say why files do not open, or what is odd in those that do");
    const auto request = std::make_shared<Request>();
    command->add_option("FILE", request->files, "AVI files")->required();
    command->add_flag("--json", request->json, "Print a line of JSON for each file");
    command->add_flag("--no-progress", request->no_progress, "Show no progress bar");
    command->callback([request, &status] { status = run(*request); });
}
