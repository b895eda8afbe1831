#include "findings/index_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "findings/sentences.h"
#include "terminal/text.h"

namespace {

constexpr std::size_t kEntry = size_of(layout::kIndexEntry);
constexpr std::size_t kSuperEntry = size_of(layout::kSuperEntry);
constexpr std::uint32_t kKeyFrame = 0x10;
constexpr std::size_t kProbes = 32;
constexpr std::size_t kMostSuperIndexes = 100;

bool is_standard_index(FourCC id) {
    return avi_chunk_kind(id, true) == ChunkKind::index;
}

std::uint64_t u64le(const unsigned char *bytes) {
    return avi_get_u32le(bytes) | static_cast<std::uint64_t>(avi_get_u32le(bytes + 4)) << 32;
}

bool all_zero(const unsigned char *bytes, std::size_t count) {
    return std::all_of(bytes, bytes + count, [](unsigned char byte) { return byte == 0; });
}

std::string entries_text(std::uint64_t count) {
    return fmt::format("{} {}", with_commas(count), count == 1 ? "entry" : "entries");
}

// The stream that an id of media or of a standard index names ("01wb", "ix01"), or -1.
int any_stream_number(FourCC id) {
    const auto trailing = avi_trailing_stream_number(id);
    return trailing && stream_number(id) < 0 ? static_cast<int>(*trailing) : stream_number(id);
}

}  // namespace

std::optional<IndexChecks::Header> IndexChecks::header_at(std::int64_t pos) const {
    unsigned char bytes[8];
    if (pos < 0 || file_.read(bytes, sizeof bytes, pos) != sizeof bytes) return std::nullopt;
    return Header{{avi_get_u32le(bytes)}, avi_get_u32le(bytes + 4)};
}

template <typename Use>
void IndexChecks::for_each_record(std::int64_t pos, std::uint64_t count, std::size_t size,
                                  Use use) const {
    std::vector<unsigned char> block(4096 * size);
    while (count > 0) {
        const auto records = static_cast<std::size_t>(std::min<std::uint64_t>(count, 4096));
        const std::size_t got = file_.read(block.data(), records * size, pos) / size;
        for (std::size_t i = 0; i < got; ++i) {
            use(&block[i * size], pos + static_cast<std::int64_t>(i * size));
        }
        if (got == 0) return;
        count -= got;
        pos += static_cast<std::int64_t>(got * size);
    }
}

void IndexChecks::visit(const Chunk &chunk, Parents parents) {
    if (is_index(chunk) && !first_index_ && !parents.empty() && parents.front().pos == 0) {
        first_index_ = chunk;
    } else if (is_chunk(chunk, "indx") && in_stream_list(parents)) {
        check_super_index(chunk);
    } else if (holds_media(parents) && is_standard_index(chunk.id)) {
        check_standard_index(chunk);
    }
}

void IndexChecks::finish() {
    if (first_index_) check_first_index();
    for (const SuperIndex &index : super_indexes_) {
        check_super_count(index.chunk, index.chunks, index.led_to);
    }
}

// ---- "idx1"

IndexChecks::Entry IndexChecks::entry_of(const unsigned char *bytes, std::int64_t pos,
                                         std::int64_t origin) {
    return {pos,
            {avi_get_u32le(bytes)},
            avi_get_u32le(bytes + 4),
            origin + avi_get_u32le(bytes + 8),
            avi_get_u32le(bytes + 12),
            all_zero(bytes, kEntry)};
}

bool IndexChecks::leads(const Entry &entry) const {
    const std::optional<Header> header = header_at(entry.target);
    if (!header) return false;
    const bool group = avi_fourcc_equal(entry.id, avi_fourcc_from_string("rec ")) &&
                       avi_fourcc_equal(header->id, kList);
    return group || avi_fourcc_equal(header->id, entry.id);
}

// Files count from their start, or from the type of their "movi" list.
std::optional<std::int64_t> IndexChecks::origin_of(const Chunk &index) const {
    const std::int64_t count = index.held / static_cast<std::int64_t>(kEntry);
    const std::int64_t step = std::max<std::int64_t>(count / static_cast<std::int64_t>(kProbes), 1);
    const std::int64_t movi = described_.media()->payload();
    std::uint64_t hits[2] = {0, 0};
    for (std::int64_t i = 0; i < count; i += step) {
        const std::int64_t pos = index.payload() + i * static_cast<std::int64_t>(kEntry);
        unsigned char bytes[kEntry];
        if (file_.read(bytes, kEntry, pos) != kEntry) break;
        if (all_zero(bytes, kEntry)) continue;
        if (leads(entry_of(bytes, pos, movi))) ++hits[0];
        if (leads(entry_of(bytes, pos, 0))) ++hits[1];
    }
    if (hits[0] == 0 && hits[1] == 0) return std::nullopt;
    return hits[0] >= hits[1] ? movi : 0;
}

void IndexChecks::check_first_index() {
    const Chunk &index = *first_index_;
    const auto count = static_cast<std::uint64_t>(std::max<std::int64_t>(index.held, 0)) / kEntry;
    entries_ += count;
    if (index.declared % kEntry != 0 || index.cut_short()) {
        findings_.add(
            "index_cut_short", index.pos,
            fmt::format("{} declares {}, of which {} are there: entries have {}", at(index),
                        count_of(index.declared, "byte"), bytes_text(index.held), kEntry));
    }
    if (described_.media() == nullptr) return;
    const std::optional<std::int64_t> origin = origin_of(index);
    if (origin || count == 0 || media_.indexed_chunks() == 0) {
        check_entries(index, origin.value_or(0));
    } else {
        findings_.add(
            "index_wrong_origin", index.pos,
            fmt::format("none of the {} of {} that were tried leads to its chunk, counted "
                        "from the start of the file or from 0x{:x} in the 'movi' list",
                        entries_text(count), at(index), described_.media()->payload()));
    }
    check_count(index);
}

void IndexChecks::check_entries(const Chunk &index, std::int64_t origin) {
    Progress progress;
    const auto count = static_cast<std::uint64_t>(std::max<std::int64_t>(index.held, 0)) / kEntry;
    for_each_record(index.payload(), count, kEntry,
                    [&](const unsigned char *bytes, std::int64_t pos) {
                        check_entry(entry_of(bytes, pos, origin), progress);
                    });
    if (progress.zeroed != 0) {
        findings_.add("index_zeroed", progress.first_zeroed,
                      fmt::format("{} of the {} of {} are zero, the first at 0x{:x}",
                                  with_commas(progress.zeroed), entries_text(count), at(index),
                                  progress.first_zeroed));
    }
    if (progress.video && !progress.key) {
        findings_.add("index_flag_missing", index.pos,
                      fmt::format("no entry of {} is marked as a key frame", at(index)));
    }
}

void IndexChecks::check_entry(const Entry &entry, Progress &progress) {
    if (entry.zero) {
        if (progress.zeroed++ == 0) progress.first_zeroed = entry.pos;
        return;
    }
    const DescribedStream *stream = described_.stream(stream_number(entry.id));
    if (stream != nullptr && stream->is("vids")) {
        progress.video = true;
        progress.key |= (entry.flags & kKeyFrame) != 0;
    }
    check_target(entry);
    check_order(entry, progress);
}

void IndexChecks::check_order(const Entry &entry, Progress &progress) {
    const int number = stream_number(entry.id);
    if (number < 0) return;
    std::int64_t &last = progress.last[static_cast<std::size_t>(number)];
    if (entry.target <= last) {
        findings_.add(
            "index_out_of_order", entry.pos,
            fmt::format("the index entry at 0x{:x} leads to 0x{:x}, and the one before it "
                        "of stream {} to 0x{:x}",
                        entry.pos, std::min(entry.target, file_.size()), number, last));
    }
    if (leads(entry)) last = entry.target;
}

void IndexChecks::check_target(const Entry &entry) {
    const std::optional<Header> header = header_at(entry.target);
    const std::string names =
        fmt::format("the index entry at 0x{:x} names a '{}' chunk", entry.pos, text_of(entry.id));
    if (!header) {
        findings_.add("index_wrong_place", entry.pos, names + " behind the end of the file");
    } else if (leads(entry)) {
        if (header->size == entry.size) return;
        findings_.add("index_wrong_size", entry.pos,
                      fmt::format("{} of {} at 0x{:x}, which declares {}", names,
                                  count_of(entry.size, "byte"), entry.target,
                                  count_of(header->size, "byte")));
    } else if (stream_number(header->id) >= 0 && header->size == entry.size) {
        findings_.add(
            "index_wrong_id", entry.pos,
            fmt::format("{} at 0x{:x}, where '{}' is", names, entry.target, text_of(header->id)));
    } else {
        findings_.add("index_wrong_place", entry.pos,
                      fmt::format("{} at 0x{:x}, where none begins", names, entry.target));
    }
}

void IndexChecks::check_count(const Chunk &index) {
    std::uint64_t count = 0;
    for_each_record(index.payload(),
                    static_cast<std::uint64_t>(std::max<std::int64_t>(index.held, 0)) / kEntry,
                    kEntry, [&](const unsigned char *bytes, std::int64_t) {
                        const FourCC id = {avi_get_u32le(bytes)};
                        const bool group = avi_fourcc_equal(id, avi_fourcc_from_string("rec "));
                        if (!group && !is_standard_index(id)) ++count;
                    });
    const std::uint64_t chunks = media_.indexed_chunks();
    if (count == chunks) return;
    findings_.add(count < chunks ? "index_misses_chunks" : "index_has_too_many", index.pos,
                  fmt::format("{} has {} for the {} of the first form", at(index),
                              entries_text(count), count_of(chunks, "media chunk")));
}

// ---- standard indexes

bool IndexChecks::read_index_header(const Chunk &chunk, unsigned char (&header)[kIndexHeader]) {
    const bool whole = chunk.held >= static_cast<std::int64_t>(kIndexHeader) &&
                       file_.read(header, kIndexHeader, chunk.payload()) == kIndexHeader;
    if (whole) return true;
    findings_.add("index_cut_short", chunk.pos,
                  fmt::format("{} declares {}, and its header alone has {}", at(chunk),
                              count_of(chunk.declared, "byte"), kIndexHeader));
    return false;
}

void IndexChecks::check_standard_index(const Chunk &chunk) {
    unsigned char header[kIndexHeader];
    if (!read_index_header(chunk, header)) return;
    const auto held = static_cast<std::uint64_t>(chunk.held);
    const std::size_t size = std::size_t{4} * avi_get_u16le(header);
    const std::uint64_t count = avi_get_u32le(header + 4);
    const FourCC id = {avi_get_u32le(header + 8)};
    const std::uint64_t base = u64le(header + 12);
    if (size < 8 || kIndexHeader + count * size > held) {
        findings_.add("index_cut_short", chunk.pos,
                      fmt::format("{} declares {} of {}, and has room for {}", at(chunk),
                                  entries_text(count), count_of(size, "byte"),
                                  bytes_text(static_cast<std::int64_t>(held - kIndexHeader))));
        if (size < 8) return;
    }
    const std::uint64_t there = std::min(count, (held - kIndexHeader) / size);
    entries_ += there;
    for_each_record(chunk.payload() + static_cast<std::int64_t>(kIndexHeader), there, size,
                    [&](const unsigned char *bytes, std::int64_t pos) {
                        // Entries lead to payloads.
                        const auto target =
                            static_cast<std::int64_t>(base + avi_get_u32le(bytes) - 8);
                        check_target({pos, id, 0, target,
                                      avi_get_u32le(bytes + 4) & ~layout::kNotKeyFrame, false});
                    });
}

// ---- super indexes

void IndexChecks::check_super_index(const Chunk &chunk) {
    unsigned char header[kIndexHeader];
    if (!read_index_header(chunk, header)) return;
    const auto held = static_cast<std::uint64_t>(chunk.held);
    const std::uint64_t count = avi_get_u32le(header + 4);
    const FourCC chunks = {avi_get_u32le(header + 8)};
    if (header[3] != layout::kIndexOfIndexes || count == 0) return;
    if (kIndexHeader + count * kSuperEntry > held) {
        findings_.add(
            "index_cut_short", chunk.pos,
            fmt::format("{} declares {} of {}, and has room for {}", at(chunk), entries_text(count),
                        kSuperEntry, bytes_text(static_cast<std::int64_t>(held - kIndexHeader))));
    }
    const std::uint64_t there = std::min(count, (held - kIndexHeader) / kSuperEntry);
    entries_ += there;
    std::uint64_t led_to = 0;
    for_each_record(chunk.payload() + static_cast<std::int64_t>(kIndexHeader), there, kSuperEntry,
                    [&](const unsigned char *bytes, std::int64_t pos) {
                        led_to += check_super_entry(bytes, pos, chunks);
                    });
    if (super_indexes_.size() < kMostSuperIndexes)
        super_indexes_.push_back({chunk, chunks, led_to});
}

// Returns how many chunks the standard index that the entry leads to has.
std::uint32_t IndexChecks::check_super_entry(const unsigned char *bytes, std::int64_t pos,
                                             FourCC chunks) {
    const auto target = static_cast<std::int64_t>(u64le(bytes));
    const std::uint32_t size = avi_get_u32le(bytes + 8);
    const std::optional<Header> header = header_at(target);
    if (!header || !is_standard_index(header->id) ||
        any_stream_number(header->id) != stream_number(chunks)) {
        const std::string where = target >= 0 && target < file_.size()
                                      ? fmt::format("0x{:x}, where no index of stream {} begins",
                                                    target, stream_number(chunks))
                                      : "behind the end of the file";
        findings_.add("super_index_wrong_place", pos,
                      fmt::format("the super index entry at 0x{:x} leads to {}", pos, where));
        return 0;
    }
    // Writers count the index's 8 header bytes, or do not.
    if (size != header->size && size != header->size + std::uint64_t{8}) {
        findings_.add(
            "super_index_wrong_size", pos,
            fmt::format("the super index entry at 0x{:x} gives the index at 0x{:x} {}, "
                        "which declares {}",
                        pos, target, count_of(size, "byte"), count_of(header->size, "byte")));
    }
    unsigned char count[4];
    return file_.read(count, sizeof count, target + 12) == sizeof count ? avi_get_u32le(count) : 0;
}

void IndexChecks::check_super_count(const Chunk &chunk, FourCC chunks, std::uint64_t led_to) {
    const int number = stream_number(chunks);
    if (number < 0) return;
    const std::uint64_t there = media_.tally(static_cast<std::size_t>(number)).chunks;
    if (led_to >= there) return;
    findings_.add("super_index_misses_chunks", chunk.pos,
                  fmt::format("{} leads to {} of the {} of stream {}", at(chunk),
                              with_commas(led_to), count_of(there, "chunk"), number));
}
