#include "repair/size_mend.h"

#include <limits>

#include "chunks/chunk_words.h"
#include "repair/index_entries.h"

namespace {

constexpr std::int64_t kMainHeader = 56;

}  // namespace

bool has_stray_byte(const Chunk &chunk) {
    return chunk.type.value == 0 && chunk.misleads && chunk.declared % 2 == 0 &&
           chunk.held == std::int64_t{chunk.declared} + 1;
}

void SizeMend::look_at(const Chunk &chunk, Parents parents) {
    const std::string_view rule = size_rule(chunk, parents, file_.size());
    if (rule.empty() || has_stray_byte(chunk)) return;
    const bool media = chunk.type.value == 0 && holds_media(parents);
    if (media && of_media_.size() < kMostAtOnce) of_media_.emplace(chunk.pos, Wrong{chunk, rule});
    if (!media && wrong_.size() < kMostAtOnce) wrong_.push_back({chunk, rule});
}

void SizeMend::leave(const Chunk &list, Parents parents) {
    look_at(list, parents);
}

// A main header that swallows what begins the first stream list leaves nothing to be seen of it.
bool SizeMend::swallows_a_list(const Chunk &chunk) const {
    const std::int64_t end = chunk.payload() + kMainHeader;
    return is_chunk(chunk, "avih") && chunk.held > kMainHeader &&
           avi_fourcc_equal(fourcc_at(file_, end), kList) &&
           avi_fourcc_equal(fourcc_at(file_, end + kChunkHeaderSize), kStrl);
}

void SizeMend::visit(const Chunk &chunk, Parents parents) {
    if (parents.empty()) return;  // bytes outside the forms
    if (swallows_a_list(chunk)) swallower_ = chunk;
    if (!index_ && is_index(chunk) && parents.front().pos == 0) index_ = chunk;
    look_at(chunk, parents);
}

// What lies in a list is judged only when the sizes of the lists are right, and media last.
std::vector<Edit> SizeMend::edits(const Seen &seen) {
    std::vector<Edit> edits;
    const auto set = [&](const Wrong &wrong, std::int64_t size) {
        if (size == wrong.chunk.declared || size > std::numeric_limits<std::uint32_t>::max()) {
            return;
        }
        edits.push_back(size_edit(wrong.chunk, static_cast<std::uint32_t>(size), wrong.rule));
    };
    if (swallower_) {
        set({*swallower_, "wrong_size"}, kMainHeader);
        return edits;
    }
    for (const bool lists : {true, false}) {
        for (const Wrong &wrong : wrong_) {
            if ((wrong.chunk.type.value != 0) == lists) set(wrong, wrong.chunk.held);
        }
        if (!edits.empty()) return edits;
    }
    std::map<std::int64_t, IndexEntry> told;
    if (index_ && seen.described.media() != nullptr && !of_media_.empty()) {
        told = entries_for(seen.file, *index_, seen.described.media()->payload(), of_media_);
    }
    for (const auto &[pos, wrong] : of_media_) {
        const auto entry = told.find(pos);
        const bool fits = entry != told.end() && entry->second.size <= wrong.chunk.held;
        if (fits) {
            set(wrong, entry->second.size);
        } else if (wrong.chunk.declared > wrong.chunk.held) {
            set(wrong, wrong.chunk.held);
        }
    }
    return edits;
}
