#include "repair/plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "chunks/visitors.h"
#include "findings/refusal_text.h"
#include "repair/count_mend.h"
#include "repair/form_mends.h"
#include "repair/header_mends.h"
#include "repair/index_mend.h"
#include "repair/media_mend.h"
#include "repair/size_mend.h"
#include "repair/skeleton.h"
#include "repair/super_index_mend.h"

namespace {

// Far more than any trouble takes: each walk mends all places of a kind.
constexpr int kMostWalks = 100;

// The rules that mends answer, and the refusals that go with them.
constexpr auto kAnswered = std::to_array<std::string_view>({"top_level_cut_short",
                                                            "not_a_form",
                                                            "header_list_too_short",
                                                            "no_main_header",
                                                            "header_list_cut_short",
                                                            "bad_stream_header",
                                                            "bad_video_format",
                                                            "stream_list_cut_short",
                                                            "movi_too_short",
                                                            "no_movi",
                                                            "form_cut_short",
                                                            "claims_too_much",
                                                            "never_finished",
                                                            "wrong_size",
                                                            "lost_bytes",
                                                            "zero_hole",
                                                            "behind_last_form",
                                                            "odd_form",
                                                            "stream_count_differs",
                                                            "no_headers",
                                                            "frames_differ",
                                                            "length_differs",
                                                            "buffer_too_small",
                                                            "undescribed_media",
                                                            "unknown_media_id",
                                                            "wrong_media_kind",
                                                            "media_outside_list",
                                                            "no_index",
                                                            "index_not_seen",
                                                            "index_cut_short",
                                                            "index_zeroed",
                                                            "index_wrong_origin",
                                                            "index_wrong_place",
                                                            "index_wrong_size",
                                                            "index_wrong_id",
                                                            "index_out_of_order",
                                                            "index_misses_chunks",
                                                            "index_has_too_many",
                                                            "index_flag_missing",
                                                            "super_index_wrong_place",
                                                            "super_index_wrong_size",
                                                            "super_index_misses_chunks",
                                                            "misspelt_type",
                                                            "menu_form_padded",
                                                            "odd_stream_chunk",
                                                            "stream_chunk_order"});

// In the order in which they are made: where a size or a name is wrong, what lies in it is seen
// right only after that is mended, and positions are told last.
std::vector<std::unique_ptr<Mend>> all_mends(const InputFile &file, const Described &described) {
    std::vector<std::unique_ptr<Mend>> mends;
    mends.push_back(std::make_unique<FrontMend>());
    mends.push_back(std::make_unique<SizeMend>(file));
    mends.push_back(std::make_unique<OutsideMend>());
    mends.push_back(std::make_unique<SpellingMend>());
    mends.push_back(std::make_unique<PadMend>());
    mends.push_back(std::make_unique<OrderMend>());
    mends.push_back(std::make_unique<LengthMend>());
    mends.push_back(std::make_unique<EndMend>());
    mends.push_back(std::make_unique<IdMend>(described));
    mends.push_back(std::make_unique<HoleMend>());
    mends.push_back(std::make_unique<IndexMend>());
    mends.push_back(std::make_unique<SuperIndexMend>(file));
    mends.push_back(std::make_unique<CountMend>());
    return mends;
}

bool is_flaw(const Finding &finding) {
    return finding.rule->severity != Severity::note;
}

}  // namespace

bool is_answered(std::string_view rule) {
    return std::find(kAnswered.begin(), kAnswered.end(), rule) != kAnswered.end();
}

bool Verdict::has(const Rule *rule) const {
    return std::any_of(findings.begin(), findings.end(),
                       [rule](const Finding &finding) { return finding.rule == rule; });
}

Verdict examined(const InputFile &file, const AviReaderState *reader, const AviRefusal &refusal,
                 const WalkOptions &options) {
    Examination examination(file, reader);
    walk_chunks(file, examination, options);
    return {refusal, examination.finish(refusal)};
}

Plan::Plan(const InputFile &file, Verdict before, WalkOptions options)
    : before_(std::move(before)), result_(file), options_(std::move(options)) {
    for (int walks = 0; walks < kMostWalks && !settled_ && !stopped_; ++walks) {
        std::vector<Edit> edits = next_edits();
        settled_ = edits.empty();
        result_.apply(std::move(edits));
        if (result_.edits().size() > EditedFile::kMostEdits) break;
    }
    if (!stopped_) judge();
}

std::vector<Edit> Plan::next_edits() {
    Examination examination(result_, nullptr);
    const std::vector<std::unique_ptr<Mend>> mends = all_mends(result_, examination.described());
    Visitors everyone{&examination};
    for (const auto &mend : mends) everyone.add(*mend);
    stopped_ = !walk_chunks(result_, everyone, options_);
    if (stopped_) return {};
    const std::vector<Finding> findings = examination.finish({});
    const bool refused = !before_.opens();
    const Seen seen{result_, examination.described(), examination.media(), findings,
                    refused ? std::string_view(reason_word(before_.refusal.reason)) : ""};
    for (const auto &mend : mends) {
        std::vector<Edit> edits = mend->edits(seen);
        if (!edits.empty()) return edits;
    }
    return {};
}

void Plan::judge() {
    if (result_.edits().empty()) {
        after_ = before_;
        return;
    }
    AviRefusal refusal{};
    const AviReader reader = open_skeleton(result_, refusal, options_);
    after_ = examined(result_, reader.get(), refusal, options_);
    stopped_ = options_.stop && options_.stop();
}

std::string Plan::obstacle() const {
    if (!after_.opens()) return refused_text(after_.refusal, result_);
    if (result_.edits().size() > EditedFile::kMostEdits) {
        return fmt::format("more than {} places would have to be changed", EditedFile::kMostEdits);
    }
    return settled_ ? "" : "what is mended in one place is wrong again in another";
}

std::vector<const Rule *> Plan::mended() const {
    std::vector<const Rule *> rules;
    for (const Rule &rule : all_rules()) {
        const bool gone = before_.has(&rule) && !after_.has(&rule);
        if (gone && is_answered(rule.id)) rules.push_back(&rule);
    }
    return rules;
}

std::vector<Finding> Plan::left() const {
    std::vector<Finding> left;
    std::copy_if(after_.findings.begin(), after_.findings.end(), std::back_inserter(left), is_flaw);
    return left;
}
