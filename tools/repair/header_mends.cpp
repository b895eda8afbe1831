#include "repair/header_mends.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <span>

#include "chunks/chunk_words.h"
#include "findings/sentences.h"
#include "repair/size_mend.h"
#include "terminal/text.h"

namespace {

constexpr std::uint32_t kWholeHeader = 56;  // of "avih" and "strh"
constexpr std::uint32_t kVideoFormat = 40;
constexpr std::int64_t kLongestMove = std::int64_t{1} << 20;

Edit name_edit(std::int64_t pos, const char *name, std::string_view rule, const std::string &what) {
    return word_edit(pos, avi_fourcc_from_string(name).value, rule, what);
}

bool is_stream_type(FourCC type) {
    constexpr std::array kTypes{"vids", "auds", "txts", "mids", "iavs"};
    return std::any_of(kTypes.begin(), kTypes.end(), [type](const char *known) {
        return avi_fourcc_equal(type, avi_fourcc_from_string(known));
    });
}

bool is_whole(const Chunk &chunk) {
    return !chunk.cut_short() && !chunk.misleads;
}

}  // namespace

// ---- spelling

void SpellingMend::look_at(const Chunk &chunk, Parents parents) {
    const char *name = meant_name(chunk, parents);
    const bool in_first_form = !parents.empty() && parents.front().pos == 0;
    if (name == nullptr || !in_first_form || edits_.size() >= kMostAtOnce) return;
    const std::int64_t pos = chunk.type.value != 0 ? chunk.payload() : chunk.pos;
    edits_.push_back(name_edit(pos, name, "misspelt_type", "the name of " + name_of_chunk(chunk)));
}

std::vector<Edit> SpellingMend::edits(const Seen &seen) {
    for (const DescribedStream &stream : seen.described.streams()) {
        if (!stream.header) continue;
        const char *name = meant_stream_type(stream.header->fourcc(strh::kType));
        if (name == nullptr) continue;
        edits_.push_back(name_edit(stream.header->at(strh::kType), name, "misspelt_type",
                                   "the type of a stream"));
    }
    return std::move(edits_);
}

// ---- order

namespace {

// The bytes of a list from a child up to what follows it, its pad byte included.
struct Slot {
    std::int64_t pos;
    std::int64_t end;
    int order;

    [[nodiscard]] bool even() const { return (end - pos) % 2 == 0; }
};

std::vector<Slot> slots_of(const Family &family, int (*order)(const Chunk &)) {
    std::vector<Slot> slots;
    for (std::size_t i = 0; i < family.children.size(); ++i) {
        const bool last = i + 1 == family.children.size();
        const std::int64_t end = last ? family.list().end() : family.children[i + 1].pos;
        slots.push_back({family.children[i].pos, end, order(family.children[i])});
    }
    return slots;
}

// What is sought in a list comes in its order, and then all that is not.
bool comes_before(const Slot &a, const Slot &b) {
    const auto rank = [](const Slot &slot) { return static_cast<unsigned>(slot.order); };
    return rank(a) < rank(b);
}

// The first slot that stands elsewhere, up to the last.
std::vector<Edit> moved(const InputFile &file, const std::vector<Slot> &slots,
                        std::string_view rule, const std::string &what) {
    std::vector<Slot> sorted = slots;
    std::stable_sort(sorted.begin(), sorted.end(), comes_before);
    std::size_t first = 0;
    while (first < slots.size() && slots[first].pos == sorted[first].pos) ++first;
    std::size_t last = slots.size();
    while (last > first && slots[last - 1].pos == sorted[last - 1].pos) --last;
    const bool even =
        std::all_of(slots.begin(), slots.end(), [](const Slot &s) { return s.even(); });
    if (first == last || !even) return {};
    const std::int64_t from = slots[first].pos;
    const std::int64_t size = slots[last - 1].end - from;
    if (size > kLongestMove) return {};
    std::string bytes;
    for (std::size_t i = first; i < last; ++i) {
        const Slot &slot = sorted[i];
        bytes += bytes_of(file, slot.pos, static_cast<std::size_t>(slot.end - slot.pos));
    }
    return {{from, size, bytes, rule, what}};
}

int main_header_first(const Chunk &chunk) {
    return is_chunk(chunk, "avih") ? 0 : -1;
}

// A first chunk that can be no other than the one that is sought.
std::vector<Edit> renamed(const InputFile &file, const Family &family) {
    if (family.children.empty()) return {};
    const Chunk &first = family.children.front();
    const bool header = is_list(family.list(), "hdrl");
    if (first.pos != family.list().pos + kListHeaderSize || first.type.value != 0 ||
        first.declared < kWholeHeader || !is_whole(first) || is_known_id(first.id)) {
        return {};
    }
    if (header) {
        return {name_edit(first.pos, "avih", "no_main_header", "the name of the main header")};
    }
    if (!is_stream_type(fourcc_at(file, first.payload()))) return {};
    return {name_edit(first.pos, "strh", "bad_stream_header", "the name of a stream header")};
}

bool has(const Family &family, const char *id) {
    return std::any_of(family.children.begin(), family.children.end(),
                       [id](const Chunk &chunk) { return is_chunk(chunk, id); });
}

bool begins_with(const Family &family, const char *id) {
    return !family.children.empty() && is_chunk(family.children.front(), id);
}

std::vector<Edit> ordered(const InputFile &file, const Family &family) {
    const char *first = is_list(family.list(), "hdrl") ? "avih" : "strh";
    if (!has(family, first)) return renamed(file, family);
    if (is_list(family.list(), "hdrl")) {
        if (begins_with(family, first)) return {};
        return moved(file, slots_of(family, main_header_first), "no_main_header",
                     "the main header, put first");
    }
    // What is not sought may stand between, where the order of the others is right.
    std::vector<int> orders;
    for (const Chunk &chunk : family.children) {
        if (order_in_stream_list(chunk) >= 0) orders.push_back(order_in_stream_list(chunk));
    }
    if (begins_with(family, first) && std::is_sorted(orders.begin(), orders.end())) return {};
    return moved(file, slots_of(family, order_in_stream_list),
                 begins_with(family, first) ? "stream_chunk_order" : "bad_stream_header",
                 "the chunks of a stream list, in their order");
}

void append(std::vector<Edit> &edits, std::vector<Edit> more) {
    edits.insert(edits.end(), std::make_move_iterator(more.begin()),
                 std::make_move_iterator(more.end()));
}

bool is_header_list(const Family &family) {
    return family.in_first_form() &&
           (is_list(family.list(), "hdrl") || is_list(family.list(), "strl"));
}

}  // namespace

std::vector<Edit> OrderMend::edits(const Seen &seen) {
    std::vector<Edit> edits;
    for (const Family &family : families()) {
        // A list moves as a whole: what is in it is put in order in the next walk.
        if (edits.empty() && is_header_list(family)) append(edits, ordered(seen.file, family));
    }
    return edits;
}

// ---- pad bytes

namespace {

// Where the reader steps over chunks with their pad bytes.
bool counts_with_pads(const Family &family) {
    if (!family.in_first_form() || family.path.size() > 2) return false;
    const Chunk &list = family.list();
    return family.path.size() == 1 || is_list(list, "hdrl") || is_list(list, "QRDT") ||
           is_list(list, "QMNU");
}

// And where without.
bool counts_without_pads(const Family &family) {
    return !family.in_first_form() && is_list(family.list(), "QMNU") &&
           family.list().pos == family.path.front().pos + kListHeaderSize;
}

std::vector<Edit> padded(const Seen &seen, const Family &family, std::size_t i) {
    const Chunk &chunk = family.children[i];
    const bool last = i + 1 == family.children.size();
    if (has_stray_byte(chunk)) {
        return resized({chunk.payload() + chunk.declared, 1, "", "wrong_size",
                        "a byte too many behind " + name_of_chunk(chunk)},
                       family.path);
    }
    if (last || !is_whole(chunk) || chunk.declared % 2 == 0) return {};
    if (family.children[i + 1].pos != chunk.end()) return {};
    const bool index = is_index(family.children[i + 1]);
    const std::string_view rule = !seen.refusal.empty() ? seen.refusal
                                  : index               ? std::string_view("index_not_seen")
                                                        : std::string_view("wrong_size");
    return resized(
        {chunk.end(), 0, std::string(1, '\0'), rule, "the pad byte behind " + name_of_chunk(chunk)},
        family.path);
}

std::vector<Edit> unpadded(const InputFile &file, const Family &family, std::size_t i) {
    const Chunk &chunk = family.children[i];
    const bool last = i + 1 == family.children.size();
    if (last || !is_whole(chunk) || chunk.declared % 2 == 0) return {};
    if (family.children[i + 1].pos != chunk.end() + 1) return {};
    if (bytes_of(file, chunk.end(), 1) != std::string(1, '\0')) return {};
    return resized(
        {chunk.end(), 1, "", "menu_form_padded", "the pad byte behind " + name_of_chunk(chunk)},
        family.path);
}

}  // namespace

// One at a time, since all that lie behind it move.
std::vector<Edit> PadMend::edits(const Seen &seen) {
    for (const Family &family : families()) {
        for (std::size_t i = 0; i < family.children.size(); ++i) {
            std::vector<Edit> edits;
            if (counts_with_pads(family)) edits = padded(seen, family, i);
            if (counts_without_pads(family)) edits = unpadded(seen.file, family, i);
            if (!edits.empty()) return edits;
        }
    }
    return {};
}

// ---- lengths

namespace {

// Odd data have a pad byte, which the chunk counts and the format does not. The chunk is made to
// agree, so that the data stay as long as they are; else the format is.
std::vector<Edit> format_edits(const InputFile &file, const Chunk &format) {
    if (!is_whole(format) || format.declared < kVideoFormat) return {};
    const std::uint32_t own = u32_at(file, format.payload());
    if (own == format.declared) return {};
    const bool counts_pad = own >= kVideoFormat && own % 2 == 1 && own + 1 == format.declared &&
                            bytes_of(file, format.end() - 1, 1)[0] == '\0';
    if (counts_pad) return {size_edit(format, own, "bad_video_format")};
    return {word_edit(format.payload(), format.declared, "bad_video_format",
                      "the video format's own size")};
}

// A name may end in a 0 byte: its pad byte becomes that.
std::vector<Edit> name_edits(const InputFile &file, const Chunk &name, std::int64_t next) {
    if (!is_whole(name) || name.declared % 2 == 0 || next != name.end() + 1) return {};
    std::vector<Edit> edits{size_edit(name, name.declared + 1, "odd_stream_chunk")};
    if (bytes_of(file, name.end(), 1) != std::string(1, '\0')) {
        edits.push_back({name.end(), 1, std::string(1, '\0'), "odd_stream_chunk",
                         "the pad byte of the 'strn' chunk"});
    }
    return edits;
}

std::vector<Edit> stream_list_edits(const InputFile &file, const Family &family) {
    std::vector<Edit> edits;
    if (!begins_with(family, "strh")) return edits;
    const bool video = avi_fourcc_equal(fourcc_at(file, family.children[0].payload()), kVids);
    for (std::size_t i = 1; i < family.children.size(); ++i) {
        const Chunk &chunk = family.children[i];
        if (video && i == 1 && is_chunk(chunk, "strf")) append(edits, format_edits(file, chunk));
        const bool sought =
            i + 1 < family.children.size() && order_in_stream_list(family.children[i + 1]) >=
                                                  order_in_stream_list({0, kStrd, {}, 0, 0});
        if (sought && is_chunk(chunk, "strn")) {
            append(edits, name_edits(file, chunk, family.children[i + 1].pos));
        }
    }
    return edits;
}

}  // namespace

std::vector<Edit> LengthMend::edits(const Seen &seen) {
    std::vector<Edit> edits;
    for (const Family &family : families()) {
        const bool streams = family.in_first_form() && is_list(family.list(), "strl");
        if (streams) append(edits, stream_list_edits(seen.file, family));
    }
    return edits;
}
