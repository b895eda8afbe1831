#include "chunks/chunk_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <vector>

#include "terminal/text.h"

namespace {

constexpr std::int64_t kMostText = 65536;  // of a name, which has no more than 16 bits of length
constexpr std::int64_t kShownBytes = 16;
constexpr std::int64_t kMostExtra = 65536;
constexpr std::uint32_t kMostColours = 256;
constexpr int kChunksToHeader = 16;  // of a stream list, until its header is given up

// Hands out what stands one behind the other in a chunk.
class Reading {
public:
    Reading(const InputFile &file, const Chunk &chunk, const TakeRecord &take)
        : file_(file), take_(take), pos_(chunk.payload()), end_(chunk.end()) {}

    [[nodiscard]] std::int64_t pos() const { return pos_; }
    [[nodiscard]] std::int64_t left() const { return std::max<std::int64_t>(end_ - pos_, 0); }
    [[nodiscard]] std::span<const unsigned char> bytes() const { return bytes_; }

    // The fields of a layout. False when the chunk ends within them, or no more are wanted.
    bool fields(Layout layout) { return run(layout, static_cast<std::int64_t>(size_of(layout))); }

    // One field that takes so many bytes.
    bool run(Layout layout, std::int64_t size) {
        if (left() == 0 || size == 0) return size == 0 && !stopped_;
        bytes_.resize(static_cast<std::size_t>(std::min(size, left())));
        bytes_.resize(file_.read(bytes_.data(), bytes_.size(), pos_));
        stopped_ |= !take_({layout, pos_, bytes_});
        pos_ += static_cast<std::int64_t>(bytes_.size());
        return !stopped_ && static_cast<std::int64_t>(bytes_.size()) == size;
    }

    // Entries that the chunk holds whole, so many at most.
    bool table(Layout layout, std::uint64_t count) {
        const std::size_t size = size_of(layout);
        std::uint64_t number = 0;
        for (count = std::min(count, static_cast<std::uint64_t>(left()) / size); count > number;) {
            const auto some =
                static_cast<std::size_t>(std::min<std::uint64_t>(count - number, kEntriesAtOnce));
            bytes_.resize(some * size);
            const std::size_t got = file_.read(bytes_.data(), bytes_.size(), pos_) / size;
            for (std::size_t i = 0; i < got; ++i, ++number) {
                const Record entry{
                    layout, pos_, {&bytes_[i * size], size}, static_cast<std::int64_t>(number)};
                pos_ += static_cast<std::int64_t>(size);
                if (!take_(entry)) return false;
            }
            if (got < some) return false;
        }
        return true;
    }

private:
    static constexpr std::uint64_t kEntriesAtOnce = 4096;

    const InputFile &file_;
    const TakeRecord &take_;
    std::int64_t pos_;
    std::int64_t end_;
    std::vector<unsigned char> bytes_;
    bool stopped_ = false;
};

std::uint32_t field_of(std::span<const unsigned char> bytes, std::size_t offset,
                       std::size_t width) {
    return width == 2 ? avi_get_u16le(&bytes[offset]) : avi_get_u32le(&bytes[offset]);
}

// Entries of the palette: as many as are used, or as the depth calls for.
std::uint32_t colours_of(std::span<const unsigned char> format) {
    const std::uint32_t depth = field_of(format, offset_of(layout::kVideoFormat, "biBitCount"), 2);
    const std::uint32_t used = field_of(format, offset_of(layout::kVideoFormat, "biClrUsed"), 4);
    if (depth == 0 || depth > 8) return 0;
    return std::min(used == 0 ? 1U << depth : used, kMostColours);
}

void read_video_format(Reading &reading) {
    if (!reading.fields(layout::kVideoFormat)) return;
    if (!reading.table(layout::kColour, colours_of(reading.bytes()))) return;
    reading.run(layout::kExtra, std::min(reading.left(), kMostExtra));
}

void read_sound_format(Reading &reading) {
    if (!reading.fields(layout::kSoundFormat) || !reading.fields(layout::kSoundExtension)) return;
    reading.run(layout::kExtra,
                std::min<std::int64_t>(avi_get_u16le(reading.bytes().data()), reading.left()));
}

void read_video_properties(Reading &reading) {
    if (!reading.fields(layout::kVideoProperties)) return;
    reading.table(
        layout::kFieldProperties,
        field_of(reading.bytes(), offset_of(layout::kVideoProperties, "nbFieldPerFrame"), 4));
}

std::uint32_t entries_in_use(std::span<const unsigned char> header) {
    return field_of(header, offset_of(layout::kSuperIndex, "nEntriesInUse"), 4);
}

void read_standard_index(Reading &reading) {
    if (!reading.fields(layout::kStandardIndex)) return;
    const bool two_fields =
        reading.bytes()[offset_of(layout::kStandardIndex, "bIndexSubType")] == layout::kTwoFields;
    const Layout entry = two_fields ? Layout(layout::kFieldEntry) : Layout(layout::kStandardEntry);
    const std::uint32_t longs = avi_get_u16le(reading.bytes().data());
    if (std::size_t{4} * longs != size_of(entry)) return;
    reading.table(entry, entries_in_use(reading.bytes()));
}

void read_super_index(Reading &reading) {
    if (!reading.fields(layout::kSuperIndex)) return;
    reading.table(layout::kSuperEntry, entries_in_use(reading.bytes()));
}

bool is_index_of_chunks(const InputFile &file, const Chunk &chunk) {
    unsigned char type = 0;
    const auto offset = static_cast<std::int64_t>(offset_of(layout::kSuperIndex, "bIndexType"));
    return chunk.held > offset && file.read(&type, 1, chunk.payload() + offset) == 1 &&
           type == layout::kIndexOfChunks;
}

// The type of the stream whose list this is: its header comes first, or soon.
FourCC stream_type(const InputFile &file, const Chunk &list) {
    std::int64_t pos = list.pos + kListHeaderSize;
    for (int i = 0; i < kChunksToHeader; ++i) {
        unsigned char bytes[kListHeaderSize];
        if (pos + kListHeaderSize > list.end()) break;
        if (file.read(bytes, sizeof bytes, pos) != sizeof bytes) break;
        if (avi_fourcc_equal({avi_get_u32le(bytes)}, kStrh)) return {avi_get_u32le(bytes + 8)};
        const std::uint32_t size = avi_get_u32le(bytes + 4);
        pos += kChunkHeaderSize + std::int64_t{size} + size % 2;
    }
    return {0};
}

void read_format(const InputFile &file, const Chunk &list, Reading &reading) {
    const FourCC type = stream_type(file, list);
    if (avi_fourcc_equal(type, kVids)) read_video_format(reading);
    if (avi_fourcc_equal(type, kAuds)) read_sound_format(reading);
    if (avi_fourcc_equal(type, kTxts)) reading.fields(layout::kTextFormat);
}

bool is_text(const Chunk &chunk, Parents parents) {
    return is_chunk(chunk, "strn") || is_chunk(chunk, "IDIT") || is_chunk(chunk, "ISFT") ||
           (!parents.empty() && is_list(parents.back(), "INFO"));
}

bool is_standard_index(const Chunk &chunk) {
    return avi_chunk_kind(chunk.id, true) == ChunkKind::index;
}

struct SimpleLayout {
    const char *id;
    Layout layout;
};
constexpr auto kSimple = std::to_array<SimpleLayout>({
    {"avih", layout::kMainHeader},
    {"strh", layout::kStreamHeader},
    {"strd", layout::kStreamData},
    {"dmlh", layout::kExtendedHeader},
});

const SimpleLayout *find_simple(const Chunk &chunk) {
    const auto *const found =
        std::find_if(kSimple.begin(), kSimple.end(),
                     [&](const SimpleLayout &one) { return is_chunk(chunk, one.id); });
    return found == kSimple.end() ? nullptr : found;
}

std::string hex_text(std::span<const unsigned char> bytes) {
    const std::size_t shown = std::min<std::size_t>(bytes.size(), kShownBytes);
    return fmt::format(
        "{:02x}{}", fmt::join(bytes.first(shown), " "),
        shown < bytes.size() ? fmt::format(" ... {}", count_of(bytes.size(), "byte")) : "");
}

std::string flags_text(std::span<const Term> terms, std::uint32_t value) {
    std::string text;
    const auto add = [&text](std::string_view word) {
        text += fmt::format("{}{}", text.empty() ? "" : " | ", word);
    };
    for (const Term &term : terms) {
        if ((value & term.value) != 0) add(term.word);
        value &= ~term.value;
    }
    if (value != 0 && !text.empty()) add(fmt::format("0x{:x}", value));
    return text;
}

std::string_view as_text(std::span<const unsigned char> bytes) {
    const std::string_view text(reinterpret_cast<const char *>(bytes.data()), bytes.size());
    return text.substr(0, text.find_last_not_of('\0') + 1);
}

}  // namespace

std::string_view term_of(std::span<const Term> terms, std::uint32_t value) {
    for (const Term &term : terms) {
        if (term.value == value) return term.word;
    }
    return {};
}

std::string FieldValue::name() const {
    if (entry < 0) return std::string(field->name);
    return fmt::format("entry[{}].{}", entry, field->name);
}

bool FieldValue::is_number() const {
    return field->shown == Shown::number || field->shown == Shown::signed_number ||
           field->shown == Shown::flags;
}

std::uint64_t FieldValue::number() const {
    std::uint64_t value = 0;
    for (std::size_t i = bytes.size(); i > 0; --i) value = value << 8 | bytes[i - 1];
    return value;
}

std::int64_t FieldValue::signed_number() const {
    const std::uint64_t sign = std::uint64_t{1} << (8 * bytes.size() - 1);
    return static_cast<std::int64_t>((number() ^ sign) - sign);
}

std::string FieldValue::term() const {
    const auto value = static_cast<std::uint32_t>(number());
    return field->shown == Shown::flags ? flags_text(field->terms, value)
                                        : std::string(term_of(field->terms, value));
}

std::string FieldValue::text() const {
    const auto with_term = [this](const std::string &value) {
        const std::string word = field->terms.empty() ? "" : term();
        return word.empty() ? value : fmt::format("{} ({})", value, word);
    };
    switch (field->shown) {
    case Shown::number:
        return with_term(std::to_string(number()));
    case Shown::signed_number:
        return with_term(std::to_string(signed_number()));
    case Shown::flags:
        return with_term(fmt::format("0x{:x}", number()));
    case Shown::fourcc:
        return with_term(fmt::format("'{}'", text_of(FourCC{avi_get_u32le(bytes.data())})));
    case Shown::text:
        return fmt::format("\"{}\"", readable(as_text(bytes)));
    case Shown::bytes:
        break;
    }
    return hex_text(bytes);
}

void for_each_field(const Record &record, const std::function<void(const FieldValue &)> &take) {
    std::size_t offset = 0;
    for (const Field &field : record.layout) {
        const std::size_t width = field.width == 0 ? record.bytes.size() : field.width;
        if (width == 0 || offset + width > record.bytes.size()) return;
        take({&field, record.pos + static_cast<std::int64_t>(offset),
              record.bytes.subspan(offset, width), record.entry});
        offset += width;
    }
}

bool take_header(const InputFile &file, const Chunk &chunk, const TakeRecord &take) {
    const Layout layout =
        chunk.type.value != 0 ? Layout(layout::kListHeader) : Layout(layout::kChunkHeader);
    std::array<unsigned char, kListHeaderSize> bytes{};
    const std::size_t there = file.read(bytes.data(), size_of(layout), chunk.pos);
    return take({layout, chunk.pos, std::span(bytes).first(there)});
}

std::int64_t take_payload(const InputFile &file, const Chunk &chunk, Parents parents,
                          const TakeRecord &take) {
    Reading reading(file, chunk, take);
    if (chunk.type.value != 0) return chunk.pos + kListHeaderSize;
    if (const SimpleLayout *simple = find_simple(chunk)) {
        reading.fields(simple->layout);
    } else if (is_chunk(chunk, "strf") && !parents.empty()) {
        read_format(file, parents.back(), reading);
    } else if (is_chunk(chunk, "vprp")) {
        read_video_properties(reading);
    } else if (is_index(chunk)) {
        reading.table(layout::kIndexEntry, static_cast<std::uint64_t>(reading.left()));
    } else if (is_chunk(chunk, "indx") || is_standard_index(chunk)) {
        is_index_of_chunks(file, chunk) ? read_standard_index(reading) : read_super_index(reading);
    } else if (is_text(chunk, parents)) {
        reading.run(layout::kText, std::min(reading.left(), kMostText));
    }
    return reading.pos();
}

bool has_fields(const Chunk &chunk, Parents parents) {
    return chunk.type.value != 0 || find_simple(chunk) != nullptr || is_chunk(chunk, "strf") ||
           is_chunk(chunk, "vprp") || is_index(chunk) || is_chunk(chunk, "indx") ||
           is_standard_index(chunk) || is_text(chunk, parents);
}
