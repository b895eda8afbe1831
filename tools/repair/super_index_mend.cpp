#include "repair/super_index_mend.h"

#include <algorithm>
#include <limits>
#include <string>

namespace {

constexpr std::size_t kHeader = 24;
constexpr std::size_t kEntry = 8;
constexpr std::size_t kSuperEntry = 16;
constexpr std::uint32_t kNoKeyFrame = 0x80000000;
constexpr std::uint16_t kStandardLongs = 2;
constexpr std::uint16_t kSuperLongs = 4;

std::uint32_t word(const std::string &bytes, std::size_t at) {
    return avi_get_u32le(reinterpret_cast<const unsigned char *>(bytes.data()) + at);
}

std::uint64_t long_word(const std::string &bytes, std::size_t at) {
    return word(bytes, at) | static_cast<std::uint64_t>(word(bytes, at + 4)) << 32;
}

std::string long_bytes(std::int64_t value) {
    return u32_bytes(static_cast<std::uint32_t>(value & 0xFFFFFFFF)) +
           u32_bytes(static_cast<std::uint32_t>(value >> 32));
}

bool fits(std::int64_t offset) {
    return offset >= 0 && offset <= std::numeric_limits<std::uint32_t>::max();
}

bool is_standard(FourCC id) {
    return avi_chunk_kind(id, true) == ChunkKind::index;
}

// The stream that a standard index is of.
int stream_of_index(FourCC id) {
    const auto trailing = avi_trailing_stream_number(id);
    return trailing && stream_number(id) < 0 ? static_cast<int>(*trailing) : stream_number(id);
}

// Longs of an entry, subtype and type, as the first word of an index has them.
std::uint32_t first_word(std::uint16_t longs, std::uint8_t type) {
    return longs | static_cast<std::uint32_t>(type) << 24;
}

}  // namespace

void SuperIndexMend::visit(const Chunk &chunk, Parents parents) {
    if (is_chunk(chunk, "indx") && in_stream_list(parents)) {
        if (supers_.size() < media_.size()) supers_.push_back(chunk);
    } else if (!supers_.empty() && holds_media(parents) && kept_ < kMostChunks) {
        if (is_id_of_media(chunk.id)) add_media(chunk);
        if (is_standard(chunk.id)) add_standard(chunk, parents);
    }
}

void SuperIndexMend::add_media(const Chunk &chunk) {
    std::vector<Media> &media = media_[static_cast<std::size_t>(stream_number(chunk.id))];
    media.push_back({chunk.pos, chunk.declared});
    ++kept_;
}

void SuperIndexMend::add_standard(const Chunk &chunk, Parents parents) {
    const int number = stream_of_index(chunk.id);
    if (number < 0 || chunk.held < static_cast<std::int64_t>(kHeader)) return;
    std::vector<Media> &media = media_[static_cast<std::size_t>(number)];
    std::vector<Standard> &standards = standards_[static_cast<std::size_t>(number)];
    if (standards.size() >= kMostIndexes) return;
    const Chunk *list = &parents.back();
    for (const Chunk &parent : parents) {
        if (is_list(parent, "movi")) list = &parent;
    }
    check_standard(chunk, *list, media);
    standards.push_back({chunk.pos, chunk.declared, u32_at(file_, chunk.payload() + 4)});
    kept_ -= media.size();
    ++kept_;
    media.clear();
}

// Its entries against the chunks since the one before it, if they are as many.
void SuperIndexMend::check_standard(const Chunk &chunk, const Chunk &list,
                                    const std::vector<Media> &media) {
    const std::size_t room = (static_cast<std::size_t>(chunk.held) - kHeader) / kEntry;
    if (media.empty() || media.size() > room || edits_.size() >= kMostAtOnce) return;
    const std::string old = bytes_of(file_, chunk.payload(), kHeader + media.size() * kEntry);
    const std::uint32_t count = old.size() < kHeader ? 0 : word(old, 4);
    if (old.size() < kHeader + media.size() * kEntry || count != media.size() ||
        word(old, 0) != first_word(kStandardLongs, 1)) {
        return;
    }
    auto base = static_cast<std::int64_t>(long_word(old, 12));
    const auto reaches = [&](std::int64_t from) {
        return fits(media.front().pos + 8 - from) && fits(media.back().pos + 8 - from);
    };
    if (!reaches(base)) base = list.pos;
    if (!reaches(base)) return;
    std::string made = old.substr(0, 12) + long_bytes(base) + old.substr(20, 4);
    bool moved = made != old.substr(0, kHeader);
    for (std::size_t i = 0; i < media.size(); ++i) {
        const std::size_t at = kHeader + i * kEntry;
        const auto offset = static_cast<std::uint32_t>(media[i].pos + 8 - base);
        moved |= offset != word(old, at);
        made += u32_bytes(offset) + u32_bytes(media[i].size | (word(old, at + 4) & kNoKeyFrame));
    }
    if (made == old) return;
    edits_.push_back({chunk.payload(), static_cast<std::int64_t>(made.size()), made,
                      moved ? "index_wrong_place" : "index_wrong_size", "a standard index"});
}

// Its entries against the standard indexes of its stream. What an entry says of a duration is kept
// where it leads to one of them, or has the turn of one.
void SuperIndexMend::check_super(const Chunk &chunk) {
    constexpr std::int64_t kLongest = kHeader + kMostIndexes * kSuperEntry;
    const std::string old =
        bytes_of(file_, chunk.payload(),
                 static_cast<std::size_t>(std::clamp<std::int64_t>(chunk.held, 0, kLongest)));
    if (old.size() < kHeader || word(old, 0) % 0x10000 != kSuperLongs || word(old, 0) >> 24 != 0) {
        return;
    }
    const int number = stream_number({word(old, 8)});
    const std::size_t there = (old.size() - kHeader) / kSuperEntry;
    const std::uint32_t count = word(old, 4);
    if (number < 0 || count == 0) return;
    const std::vector<Standard> &standards = standards_[static_cast<std::size_t>(number)];
    if (standards.size() > there) return;
    std::string made = old.substr(0, 4) + u32_bytes(static_cast<std::uint32_t>(standards.size())) +
                       old.substr(8, 16);
    std::string_view rule = count < standards.size()   ? "super_index_misses_chunks"
                            : count > standards.size() ? "super_index_wrong_place"
                                                       : "";
    for (std::size_t i = 0; i < standards.size(); ++i) {
        const Standard &standard = standards[i];
        const std::size_t at = kHeader + i * kSuperEntry;
        std::uint32_t size = i < count ? word(old, at + 8) : 0;
        // Writers count the 8 header bytes, or do not.
        const bool right = size == standard.size || size == standard.size + 8;
        if (!right && rule.empty()) rule = "super_index_wrong_size";
        if (!right) size = standard.size + 8;
        const bool leads = long_word(old, at) == static_cast<std::uint64_t>(standard.pos);
        if (!leads && (rule.empty() || rule == "super_index_wrong_size")) {
            rule = "super_index_wrong_place";
        }
        made += long_bytes(standard.pos) + u32_bytes(size) +
                (i < count ? old.substr(at + 12, 4) : u32_bytes(standard.entries));
    }
    if (rule.empty()) return;
    const std::size_t gone = std::min<std::size_t>(count, there);
    if (gone > standards.size()) made += std::string((gone - standards.size()) * kSuperEntry, '\0');
    edits_.push_back(
        {chunk.payload(), static_cast<std::int64_t>(made.size()), made, rule, "a super index"});
}

// Only what was found to lead nowhere is changed: writers have their ways.
std::vector<Edit> SuperIndexMend::edits(const Seen &seen) {
    for (const Chunk &chunk : supers_) check_super(chunk);
    const auto lies = [&](const Edit &edit) {
        return std::any_of(seen.findings.begin(), seen.findings.end(), [&](const Finding &finding) {
            const std::int64_t from = edit.pos - kChunkHeaderSize;
            return finding.pos >= from && finding.pos < edit.pos + edit.removed &&
                   finding.rule->id.find("index_") != std::string_view::npos;
        });
    };
    // Of many wrong ones only the first are told.
    if (std::none_of(edits_.begin(), edits_.end(), lies)) return {};
    return std::move(edits_);
}
