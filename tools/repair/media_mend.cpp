#include "repair/media_mend.h"

#include <limits>

#include "findings/sentences.h"
#include "repair/index_entries.h"

void IdMend::visit(const Chunk &chunk, Parents parents) {
    if (!index_ && is_index(chunk) && !parents.empty() && parents.front().pos == 0) index_ = chunk;
    if (!holds_media(parents) || media_id_rule(chunk.id, described_).empty()) return;
    if (odd_.size() < kMostAtOnce) odd_.emplace(chunk.pos, chunk);
}

std::vector<Edit> IdMend::edits(const Seen &seen) {
    std::vector<Edit> edits;
    if (!index_ || odd_.empty() || seen.described.media() == nullptr) return edits;
    const std::int64_t origin = seen.described.media()->payload();
    for (const auto &[pos, entry] : entries_for(seen.file, *index_, origin, odd_)) {
        const Chunk &chunk = odd_.at(pos);
        const bool sure = entry.size == chunk.declared && is_id_of_media(entry.id) &&
                          media_id_rule(entry.id, seen.described).empty();
        if (!sure) continue;
        edits.push_back(word_edit(pos, entry.id.value, media_id_rule(chunk.id, seen.described),
                                  "the id of a media chunk"));
    }
    return edits;
}

void HoleMend::hole(std::int64_t pos, std::int64_t size, Parents parents) {
    const std::int64_t payload = size - kChunkHeaderSize;
    // An odd one would have to have a pad byte.
    if (parents.empty() || edits_.size() >= kMostAtOnce || size % 2 != 0 || payload < 0 ||
        payload > std::numeric_limits<std::uint32_t>::max()) {
        return;
    }
    edits_.push_back({pos, kChunkHeaderSize,
                      "JUNK" + u32_bytes(static_cast<std::uint32_t>(payload)), "zero_hole",
                      "a filler over the zeros in " + name_of_chunk(parents.back())});
}
