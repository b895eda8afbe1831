#include "commands/check_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "findings/refusal_text.h"
#include "repair/plan.h"
#include "terminal/text.h"
#include "terminal/utf8.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int kFormatVersion = 1;

std::string dumped(const Json &json, int indent = -1) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json offset_or_null(std::int64_t pos) {
    return pos >= 0 ? Json(pos) : Json();
}

// What to do about it; and that it need not be done by hand, where that is so in this file.
std::string remedy_text(const Diagnosis &diagnosis, const Finding &finding) {
    const std::vector<const Rule *> &mended = diagnosis.mended;
    const bool helps = std::find(mended.begin(), mended.end(), finding.rule) != mended.end();
    return finding.rule->remedy + std::string(helps ? " 'sorn-tool repair' mends it." : "");
}

Json as_json(const Diagnosis &diagnosis, const Finding &finding) {
    return {{"rule", finding.rule->id},
            {"severity", severity_word(finding.rule->severity)},
            {"offset", offset_or_null(finding.pos)},
            {"sentence", finding.sentence},
            {"remedy", remedy_text(diagnosis, finding)}};
}

// "2 errors, 1 warning"
std::string counts_text(const std::vector<Finding> &findings) {
    std::string text;
    for (const Severity severity : {Severity::error, Severity::warning, Severity::note}) {
        const auto count = std::count_if(
            findings.begin(), findings.end(),
            [severity](const Finding &finding) { return finding.rule->severity == severity; });
        if (count == 0) continue;
        if (!text.empty()) text += ", ";
        text += count_of(static_cast<std::uint64_t>(count), severity_word(severity));
    }
    return text;
}

std::string examined_text(const Examined &examined) {
    return fmt::format("{}, {} index {}", count_of(examined.chunks, "chunk"),
                       with_commas(examined.index_entries),
                       examined.index_entries == 1 ? "entry" : "entries");
}

// "  'sorn-tool repair' mends movi_too_short, never_finished"
std::string mended_text(const Diagnosis &diagnosis) {
    std::string rules;
    for (const Rule *rule : diagnosis.mended) {
        rules += (rules.empty() ? "" : ", ") + std::string(rule->id);
    }
    return rules.empty() ? "" : "  'sorn-tool repair' mends " + rules + "\n";
}

// The levels there have our words, but none is for a refusal.
const char *sarif_level(Severity severity) {
    return severity_word(severity == Severity::refusal ? Severity::error : severity);
}

// A path as a reference: bytes that a URI cannot hold are written as %NN.
std::string as_uri(const std::string &path) {
    constexpr std::string_view kPlain = "-._~/";
    std::string uri;
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain =
            (byte < 0x80 && std::isalnum(byte) != 0) || kPlain.find(c) != std::string_view::npos;
        uri += plain ? std::string(1, c) : fmt::format("%{:02X}", byte);
    }
    return path.starts_with('/') ? "file://" + uri : uri;
}

Json sarif_rule(const Rule &rule) {
    return {{"id", rule.id},
            {"shortDescription", {{"text", rule.meaning}}},
            {"fullDescription", {{"text", std::string(rule.meaning) + " " + rule.effect}}},
            {"help", {{"text", rule.remedy}}},
            {"defaultConfiguration", {{"level", sarif_level(rule.severity)}}}};
}

Json sarif_result(const Diagnosis &diagnosis, const Finding &finding) {
    Json location = {{"artifactLocation", {{"uri", as_uri(diagnosis.file)}}}};
    if (finding.pos >= 0) location["region"] = {{"byteOffset", finding.pos}, {"byteLength", 0}};
    return {{"ruleId", finding.rule->id},
            {"ruleIndex", finding.rule - all_rules().data()},
            {"level", sarif_level(finding.rule->severity)},
            {"message", {{"text", finding.sentence}}},
            {"locations", Json::array({{{"physicalLocation", location}}})}};
}

}  // namespace

bool Diagnosis::flawed() const {
    return std::any_of(findings.begin(), findings.end(), [](const Finding &finding) {
        return finding.rule->severity != Severity::note;
    });
}

std::string diagnosis_text(const Diagnosis &diagnosis) {
    const std::string counts = counts_text(diagnosis.findings);
    std::string text =
        fmt::format("{}: {}{}{} ({})\n", path_text(diagnosis.file), diagnosis.sentence,
                    counts.empty() ? "" : "; ", counts, examined_text(diagnosis.examined));
    for (const Finding &finding : diagnosis.findings) {
        if (finding.rule->severity == Severity::refusal) continue;  // is the first line
        text += fmt::format("  {}: {} [{}]\n", severity_word(finding.rule->severity),
                            finding.sentence, finding.rule->id);
    }
    return text + mended_text(diagnosis);
}

std::string diagnosis_json(const Diagnosis &diagnosis) {
    const AviRefusal &refusal = diagnosis.refusal;
    Json findings = Json::array();
    Json oddities = Json::array();
    for (const Finding &finding : diagnosis.findings) {
        findings.push_back(as_json(diagnosis, finding));
        if (finding.rule->severity == Severity::refusal) continue;
        oddities.push_back({{"kind", finding.rule->id},
                            {"offset", offset_or_null(finding.pos)},
                            {"sentence", finding.sentence}});
    }
    const bool opened = diagnosis.opened();
    return dumped({{"format_version", kFormatVersion},
                   {"file", json_path(diagnosis.file)},
                   {"opened", opened},
                   {"reason", opened ? Json() : Json(reason_word(refusal.reason))},
                   {"offset", offset_or_null(diagnosis.refused_at)},
                   {"found", refusal.found.value == 0 ? Json() : Json(text_of(refusal.found))},
                   {"sentence", diagnosis.sentence},
                   {"oddities", oddities},
                   {"findings", findings},
                   {"examined",
                    {{"chunks", diagnosis.examined.chunks},
                     {"index_entries", diagnosis.examined.index_entries},
                     {"seconds_between_sound_and_picture", diagnosis.examined.farthest}}}});
}

std::string diagnoses_sarif(const std::vector<Diagnosis> &diagnoses, const std::string &version) {
    Json rules = Json::array();
    for (const Rule &rule : all_rules()) rules.push_back(sarif_rule(rule));
    Json results = Json::array();
    for (const Diagnosis &diagnosis : diagnoses) {
        for (const Finding &finding : diagnosis.findings) {
            results.push_back(sarif_result(diagnosis, finding));
        }
    }
    const Json driver = {{"name", "sorn-tool"}, {"version", version}, {"rules", rules}};
    return dumped({{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
                   {"version", "2.1.0"},
                   {"runs", Json::array({{{"tool", {{"driver", driver}}}, {"results", results}}})}},
                  2);
}

std::string rules_text() {
    std::string text;
    for (const Rule &rule : all_rules()) {
        text +=
            fmt::format("{:<26} {:<8} {}\n", rule.id, severity_word(rule.severity), rule.meaning);
    }
    return text;
}

std::string rules_json() {
    std::string text;
    for (const Rule &rule : all_rules()) {
        text += dumped({{"rule", rule.id},
                        {"severity", severity_word(rule.severity)},
                        {"meaning", rule.meaning},
                        {"effect", rule.effect},
                        {"remedy", rule.remedy},
                        {"repair", is_answered(rule.id)}});
    }
    return text;
}

std::string rule_text(const Rule &rule) {
    const char *repair =
        is_answered(rule.id) ? " 'sorn-tool repair' can do that for many files." : "";
    return fmt::format("{} ({})\n\n{}\n\nWhen playing: {}\n\nRemedy: {}{}\n", rule.id,
                       severity_word(rule.severity), rule.meaning, rule.effect, rule.remedy,
                       repair);
}
