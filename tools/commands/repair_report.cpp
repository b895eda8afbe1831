#include "commands/repair_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "terminal/text.h"
#include "terminal/utf8.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kShown = 8;      // bytes of a change on a line
constexpr std::size_t kInJson = 4096;  // and in JSON

// The first bytes that a change takes away.
std::string old_bytes(const Plan &plan, const Edit &edit, std::size_t most) {
    const auto count =
        static_cast<std::size_t>(std::min(edit.removed, static_cast<std::int64_t>(most)));
    return bytes_of(plan.result().original(), edit.pos, count);
}

std::span<const unsigned char> as_bytes(const std::string &text) {
    return {reinterpret_cast<const unsigned char *>(text.data()), text.size()};
}

// "00 00 00 00", "49 44 58 31 ... (2,072 bytes)", "nothing"
std::string shown(const std::string &first, std::int64_t size) {
    if (size == 0) return "nothing";
    std::string text;
    for (const char c : first.substr(0, kShown)) {
        text += fmt::format("{}{:02x}", text.empty() ? "" : " ", static_cast<unsigned char>(c));
    }
    if (size > static_cast<std::int64_t>(kShown)) {
        text += fmt::format(" ... ({})", count_of(static_cast<std::uint64_t>(size), "byte"));
    }
    return text;
}

std::string change_text(const Plan &plan, const Edit &edit) {
    return fmt::format("  0x{:x}: {} -> {}, {} [{}]\n", edit.pos,
                       shown(old_bytes(plan, edit, kShown), edit.removed),
                       shown(edit.added, static_cast<std::int64_t>(edit.added.size())), edit.what,
                       edit.rule);
}

std::string first_line(const RepairReport &report, const Plan &plan) {
    const std::string count = count_of(plan.result().edits().size(), "change");
    const std::string to = report.output.empty() ? "" : path_text(report.output);
    if (outcome_of(plan) == RepairOutcome::beyond) return "cannot be mended: " + why_beyond(plan);
    if (outcome_of(plan) == RepairOutcome::sound) {
        return report.dry_run ? "needs nothing" : "needs nothing; copied to " + to;
    }
    return report.dry_run ? count + " would mend it" : fmt::format("{}, in {}", count, to);
}

const char *outcome_word(RepairOutcome outcome) {
    switch (outcome) {
    case RepairOutcome::sound:
        return "sound";
    case RepairOutcome::mended:
        return "mended";
    case RepairOutcome::beyond:
        return "beyond";
    }
    return "unknown";
}

Json change_json(const Plan &plan, const Edit &edit) {
    const std::string added = edit.added.substr(0, kInJson);
    return {{"offset", edit.pos},
            {"removed", edit.removed},
            {"added", edit.added.size()},
            {"old", hex_of(as_bytes(old_bytes(plan, edit, kInJson)))},
            {"new", hex_of(as_bytes(added))},
            {"rule", edit.rule},
            {"what", edit.what}};
}

bool is_loss(const Finding &finding) {
    return finding.rule->severity == Severity::refusal || finding.rule->severity == Severity::error;
}

}  // namespace

std::string why_beyond(const Plan &plan) {
    if (!plan.holds()) return plan.obstacle();
    if (!plan.result().edits().empty()) return {};
    const std::vector<Finding> left = plan.left();
    const auto lost = std::find_if(left.begin(), left.end(), is_loss);
    return lost == left.end() ? "" : fmt::format("{} [{}]", lost->sentence, lost->rule->id);
}

RepairOutcome outcome_of(const Plan &plan) {
    if (!why_beyond(plan).empty()) return RepairOutcome::beyond;
    return plan.result().edits().empty() ? RepairOutcome::sound : RepairOutcome::mended;
}

std::string repair_text(const RepairReport &report, const Plan &plan) {
    std::string text = fmt::format("{}: {}\n", path_text(report.file), first_line(report, plan));
    if (outcome_of(plan) == RepairOutcome::beyond) return text;
    for (const Edit &edit : plan.result().edits()) text += change_text(plan, edit);
    for (const Finding &finding : plan.left()) {
        text += fmt::format("  left: {}: {} [{}]\n", severity_word(finding.rule->severity),
                            finding.sentence, finding.rule->id);
    }
    return text;
}

std::string repair_json(const RepairReport &report, const Plan &plan) {
    const RepairOutcome outcome = outcome_of(plan);
    const bool written = outcome != RepairOutcome::beyond && !report.dry_run;
    Json changes = Json::array();
    Json mended = Json::array();
    Json left = Json::array();
    if (outcome != RepairOutcome::beyond) {
        for (const Edit &edit : plan.result().edits()) changes.push_back(change_json(plan, edit));
        for (const Rule *rule : plan.mended()) mended.push_back(rule->id);
    }
    for (const Finding &finding : plan.left()) {
        left.push_back({{"rule", finding.rule->id},
                        {"severity", severity_word(finding.rule->severity)},
                        {"offset", finding.pos >= 0 ? Json(finding.pos) : Json()},
                        {"sentence", finding.sentence}});
    }
    const Json json = {{"format_version", 1},
                       {"file", json_path(report.file)},
                       {"new", written ? Json(json_path(report.output)) : Json()},
                       {"outcome", outcome_word(outcome)},
                       {"sentence", first_line(report, plan)},
                       {"changes", changes},
                       {"mended", mended},
                       {"left", left}};
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}
