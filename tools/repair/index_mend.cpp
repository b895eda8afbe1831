#include "repair/index_mend.h"

#include <algorithm>
#include <limits>

#include "findings/sentences.h"
#include "repair/key_frame.h"

namespace {

constexpr std::uint32_t kKeyFrame = 0x10;
constexpr std::size_t kLooked = 512;   // bytes of a picture
constexpr std::size_t kMostRuns = 64;  // of entries that are changed one by one

bool is_about_entries(std::string_view rule) {
    return rule.starts_with("index_") && rule != "index_not_seen";
}

bool is_sound(const Described &described, FourCC id) {
    const DescribedStream *stream = described.stream(stream_number(id));
    return stream != nullptr && stream->is("auds");
}

}  // namespace

void IndexMend::leave(const Chunk &list, Parents parents) {
    if (parents.empty() && list.pos == 0) form_ = list;
    if (parents.size() == 1 && parents[0].pos == 0) last_end_ = list.end();
}

void IndexMend::visit(const Chunk &chunk, Parents parents) {
    if (parents.empty() || parents.front().pos != 0) return;
    if (parents.size() == 1) last_end_ = chunk.end();
    if (parents.size() == 1 && !index_ && is_index(chunk)) index_ = chunk;
    if (!holds_media(parents) || !is_id_of_media(chunk.id)) return;
    too_many_ |= media_.size() >= kMostChunks;
    if (!too_many_) media_.push_back({chunk.pos, chunk.id, chunk.declared});
}

// The rule that the index breaks, or empty.
std::string_view IndexMend::trouble(const Seen &seen) const {
    for (const Finding &finding : seen.findings) {
        if (!index_ && finding.rule->id == "no_index") return "no_index";
        const bool inside = index_ && finding.pos >= index_->pos && finding.pos < index_->end();
        if (inside && is_about_entries(finding.rule->id)) return finding.rule->id;
    }
    return {};
}

const IndexMend::Media *IndexMend::at(std::int64_t pos) const {
    const auto found = std::lower_bound(
        media_.begin(), media_.end(), pos,
        [](const Media &media, std::int64_t wanted) { return media.pos < wanted; });
    return found == media_.end() || found->pos != pos ? nullptr : &*found;
}

// What most entries count from: the list's type, or the start of the file.
std::int64_t IndexMend::origin(const Seen &seen) const {
    const std::int64_t list = seen.described.media()->payload();
    if (!index_) return list;
    std::int64_t from_list = 0;
    for_each_entry(seen.file, *index_, [&](const IndexEntry &entry) {
        from_list += at(list + entry.offset) != nullptr ? 1 : 0;
        from_list -= at(entry.offset) != nullptr ? 1 : 0;
    });
    return from_list >= 0 ? list : 0;
}

// Of each chunk, from the entry that leads to it, or from the one whose turn it would be.
std::vector<std::optional<std::uint32_t>> IndexMend::kept_flags(const Seen &seen,
                                                                std::int64_t origin) const {
    std::vector<std::optional<std::uint32_t>> by_place(media_.size());
    std::vector<std::optional<std::uint32_t>> by_turn(media_.size());
    if (!index_) return by_place;
    bool leads = false;
    std::size_t turn = 0;
    for_each_entry(seen.file, *index_, [&](const IndexEntry &entry) {
        const Media *media = at(origin + entry.offset);
        if (media != nullptr && avi_fourcc_equal(media->id, entry.id)) {
            leads = true;
            by_place[static_cast<std::size_t>(media - media_.data())] = entry.flags;
        }
        const bool its_turn = turn < media_.size() && avi_fourcc_equal(media_[turn].id, entry.id) &&
                              media_[turn].size == entry.size;
        if (its_turn) by_turn[turn] = entry.flags;
        ++turn;
    });
    // One that leads elsewhere may still have its turn.
    if (leads && turn != media_.size()) return by_place;
    for (std::size_t i = 0; i < media_.size(); ++i) {
        if (!by_place[i]) by_place[i] = by_turn[i];
    }
    return by_place;
}

std::uint32_t IndexMend::new_flags(const Seen &seen, const Media &media) {
    const int number = stream_number(media.id);
    const DescribedStream *stream = seen.described.stream(number);
    if (stream == nullptr || !stream->is("vids") || !stream->format) return kKeyFrame;
    const std::size_t size = std::min<std::size_t>(media.size, kLooked);
    const std::string bytes = bytes_of(seen.file, media.pos + kChunkHeaderSize, size);
    const std::optional<bool> key = is_key_frame(stream->format->fourcc(strf::kCompression), bytes);
    const bool first = seen.media.tally(static_cast<std::size_t>(number)).first == media.pos;
    return key.value_or(first) ? kKeyFrame : 0;
}

// Of the whole index. None where it cannot be made.
std::optional<std::string> IndexMend::content(const Seen &seen) const {
    const std::int64_t from = origin(seen);
    const auto flags = kept_flags(seen, from);
    const bool no_keys = seen.found("index_flag_missing");
    std::string content;
    for (std::size_t i = 0; i < media_.size(); ++i) {
        const Media &media = media_[i];
        const std::int64_t offset = media.pos - from;
        if (offset < 0 || offset > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
        const bool kept = flags[i] && (!no_keys || is_sound(seen.described, media.id));
        content += fourcc_bytes(media.id) + u32_bytes(kept ? *flags[i] : new_flags(seen, media)) +
                   u32_bytes(static_cast<std::uint32_t>(offset)) + u32_bytes(media.size);
    }
    return content;
}

std::vector<Edit> IndexMend::inserted(const std::string &content) const {
    const std::string pad(form_->held % 2 == 1 ? 1 : 0, '\0');
    const auto size = static_cast<std::uint32_t>(content.size());
    return resized({form_->end(), 0, pad + "idx1" + u32_bytes(size) + content, "no_index",
                    "an index of the first form"},
                   std::span(&*form_, 1));
}

std::vector<Edit> IndexMend::replaced(const Seen &seen, const std::string &content,
                                      std::string_view rule) const {
    const bool last = last_end_ == index_->end();
    const std::int64_t room = (last ? form_->end() : index_->end()) - index_->payload();
    const auto size = static_cast<std::uint32_t>(content.size());
    if (room != static_cast<std::int64_t>(content.size())) {
        return resized({index_->pos + 4, 4 + room, u32_bytes(size) + content, rule, "the index"},
                       std::span(&*form_, 1));
    }
    std::vector<Edit> edits;
    if (index_->declared != size) edits.push_back(size_edit(*index_, size, rule));
    const std::string old = bytes_of(seen.file, index_->payload(), content.size());
    const std::size_t entry = kIndexEntry;
    for (std::size_t i = 0; i < content.size() && i < old.size(); i += entry) {
        const std::string wanted = content.substr(i, entry);
        if (old.compare(i, entry, wanted) == 0) continue;
        const std::int64_t pos = index_->payload() + static_cast<std::int64_t>(i);
        const bool goes_on = !edits.empty() && edits.back().pos + edits.back().removed == pos &&
                             edits.back().removed % kIndexEntry == 0;
        if (goes_on) {
            edits.back().added += wanted;
            edits.back().removed += kIndexEntry;
        } else {
            edits.push_back({pos, kIndexEntry, wanted, rule, "entries of the index"});
        }
    }
    if (edits.size() <= kMostRuns) return edits;
    return {{index_->pos + 4, 4 + room, u32_bytes(size) + content, rule, "the index"}};
}

std::vector<Edit> IndexMend::edits(const Seen &seen) {
    const std::string_view rule = trouble(seen);
    const bool can = form_ && !too_many_ && seen.described.media() != nullptr;
    if (rule.empty() || !can) return {};
    const std::optional<std::string> made = content(seen);
    if (!made || (media_.empty() && !index_)) return {};
    return index_ ? replaced(seen, *made, rule) : inserted(*made);
}
