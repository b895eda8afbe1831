#include "commands/diff_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>

#include "chunks/chunk_fields.h"
#include "commands/field_text.h"
#include "terminal/interrupt.h"
#include "terminal/text.h"
#include "terminal/utf8.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::array<const char *, 4> kChanges{"changed", "missing", "added", "moved"};
constexpr std::size_t kShortRun = 4;       // so many chunks are still told one by one
constexpr std::uint64_t kFieldsTold = 16;  // of a chunk

std::size_t place_of(Change change) {
    return static_cast<std::size_t>(change);
}

std::string name_of(const ChunkList &list, std::size_t i) {
    if (list.is_lost(i)) return "lost";
    const Chunk chunk = list.chunk(i);
    return chunk.type.value == 0 ? text_of(chunk.id)
                                 : fmt::format("{} {}", text_of(chunk.id), text_of(chunk.type));
}

std::string words_of(const ChunkList &list, std::size_t i) {
    if (list.is_lost(i)) return "bytes that are no chunk";
    return chunk_words(list.chunk(i), list.parents(i));
}

std::string chunk_text(const ChunkList &list, std::size_t i) {
    const Chunk chunk = list.chunk(i);
    const auto held = static_cast<std::uint64_t>(std::max<std::int64_t>(chunk.held, 0));
    std::string size = count_of(list.is_lost(i) ? held : chunk.declared, "byte");
    if (!list.is_lost(i) && chunk.cut_short()) {
        size += fmt::format(" declared, {} there", with_commas(held));
    }
    return fmt::format("{}  {}  {}", name_of(list, i), size, words_of(list, i));
}

// A field that differs; where one file ends before it, that one has no bytes of it.
struct FieldPair {
    FieldValue first;
    FieldValue second;
};

// The bytes of the second file that lie where the first file's have been read.
class Beside {
public:
    Beside(const InputFile &file, std::int64_t end) : file_(file), end_(end) {}

    std::span<const unsigned char> at(std::int64_t pos, std::size_t size) {
        const auto room = static_cast<std::size_t>(std::max<std::int64_t>(end_ - pos, 0));
        const std::size_t there = std::min(size, room);
        const bool within = pos >= pos_ && pos + static_cast<std::int64_t>(there) <=
                                               pos_ + static_cast<std::int64_t>(bytes_.size());
        if (!within) {
            bytes_.resize(std::min(std::max<std::size_t>(there, 65536), room));
            bytes_.resize(file_.read(bytes_.data(), bytes_.size(), pos));
            pos_ = pos;
        }
        const auto from = static_cast<std::size_t>(pos - pos_);
        return std::span<const unsigned char>(bytes_).subspan(
            from, std::min(there, bytes_.size() - from));
    }

private:
    const InputFile &file_;
    std::int64_t end_;
    std::int64_t pos_ = 0;
    std::vector<unsigned char> bytes_;
};

// What of a chunk changed: its fields, then bytes whose layout is not known.
class ChunkDifference {
public:
    ChunkDifference(const ChunkList &a, const ChunkList &b, const Difference &difference)
        : a_(a),
          b_(b),
          i_(difference.first),
          j_(difference.second),
          header_alone_(difference.header_alone),
          beside_(b.file(), b.content_end(j_)) {}

    // Calls with each field that differs, and notes where fields end.
    void for_each_field_pair(const std::function<void(const FieldPair &)> &take) {
        rest_a_ = {a_.content(i_), a_.content_end(i_)};
        rest_b_ = {b_.content(j_), b_.content_end(j_)};
        if (a_.is_lost(i_)) return;
        const Chunk a = a_.chunk(i_);
        const Chunk b = b_.chunk(j_);
        const std::int64_t shift = b.pos - a.pos;
        const auto compare = [&](const Record &record) {
            compare_record(record, shift, take);
            return !interrupted();
        };
        take_header(a_.file(), a, compare);
        if (header_alone_) {
            rest_a_ = rest_b_ = {};
        } else if (a.type.value == 0) {
            rest_a_.begin = take_payload(a_.file(), a, a_.parents(i_), compare);
            rest_b_.begin = std::min(rest_a_.begin + shift + grown_, rest_b_.end);
        }
    }

    // To be asked for after that.
    [[nodiscard]] Span rest_of_first() const { return rest_a_; }
    [[nodiscard]] Span rest_of_second() const { return rest_b_; }
    [[nodiscard]] ByteDifference rest() const {
        return compare_bytes(a_.file(), rest_a_, b_.file(), rest_b_, true);
    }

private:
    void compare_record(const Record &record, std::int64_t shift,
                        const std::function<void(const FieldPair &)> &take) {
        const std::int64_t pos = record.pos + shift;
        std::size_t size = record.bytes.size();
        // A text is as long as its chunk, in each of them.
        if (record.layout.front().shown == Shown::text) {
            size = static_cast<std::size_t>(
                std::clamp<std::int64_t>(b_.chunk(j_).end() - pos, 0, 65536));
            grown_ =
                static_cast<std::int64_t>(size) - static_cast<std::int64_t>(record.bytes.size());
        }
        const std::span<const unsigned char> other = beside_.at(pos, size);
        if (std::equal(record.bytes.begin(), record.bytes.end(), other.begin(), other.end()))
            return;
        std::size_t offset = 0;
        for_each_field(record, [&](const FieldValue &field) {
            const std::size_t width =
                field.field->width == 0 ? other.size() : std::size_t{field.field->width};
            const bool there = offset + width <= other.size();
            const FieldValue second{
                field.field, pos + static_cast<std::int64_t>(offset),
                there ? other.subspan(offset, width) : std::span<const unsigned char>(),
                field.entry};
            offset += field.bytes.size();
            if (!std::equal(field.bytes.begin(), field.bytes.end(), second.bytes.begin(),
                            second.bytes.end())) {
                take({field, second});
            }
        });
    }

    const ChunkList &a_;
    const ChunkList &b_;
    std::size_t i_;
    std::size_t j_;
    bool header_alone_;
    Beside beside_;
    Span rest_a_{};
    Span rest_b_{};
    std::int64_t grown_ = 0;
};

std::string value_text(const FieldValue &field) {
    return field.bytes.empty() && field.field->width != 0 ? "nothing" : field.text();
}

// One value where it lies in both files.
std::string places_text(std::int64_t first, std::int64_t second) {
    return first == second ? fmt::format("0x{:x}", first)
                           : fmt::format("0x{:x} -> 0x{:x}", first, second);
}

std::string sizes_text(std::int64_t first, std::int64_t second) {
    const auto text = [](std::int64_t size) {
        return count_of(static_cast<std::uint64_t>(std::max<std::int64_t>(size, 0)), "byte");
    };
    return fmt::format("{} -> {}", text(first), text(second));
}

unsigned byte_at(const InputFile &file, std::int64_t pos) {
    unsigned char byte = 0;
    file.read(&byte, 1, pos);
    return byte;
}

class TextReport {
public:
    TextReport(const ChunkList &a, const ChunkList &b, bool all) : a_(a), b_(b), all_(all) {}

    // A run of differences of one kind, whose chunks follow each other.
    void tell(std::span<const Difference> run, bool in_media) const {
        const bool folds = run.front().change != Change::changed || in_media;
        if (folds && run.size() > kShortRun && !all_) {
            tell_run(run, in_media);
            return;
        }
        for (const Difference &difference : run) tell_one(difference);
    }

private:
    [[nodiscard]] const ChunkList &list_of(const Difference &difference) const {
        return difference.change == Change::added ? b_ : a_;
    }
    static std::size_t number_of(const Difference &difference) {
        return difference.change == Change::added ? difference.second : difference.first;
    }

    void tell_run(std::span<const Difference> run, bool in_media) const {
        const ChunkList &list = list_of(run.front());
        const std::size_t first = number_of(run.front());
        const std::size_t last = number_of(run.back());
        std::map<std::string, std::uint64_t> counts;
        for (const Difference &difference : run) {
            const std::string name = name_of(list, number_of(difference));
            if (counts.size() < kMostIds || counts.contains(name))
                ++counts[name];
            else
                ++counts["others"];
        }
        std::string text;
        for (const auto &[id, count] : counts) {
            text += fmt::format("{}{} {}", text.empty() ? "" : ", ", with_commas(count), id);
        }
        fmt::print("  {}  0x{:x}  {}{} up to 0x{:x}: {}\n", kChanges[place_of(run.front().change)],
                   list.chunk(first).pos, in_media ? "the media bytes of " : "",
                   count_of(run.size(), "chunk"), list.content_end(last), text);
    }

    void tell_one(const Difference &difference) const {
        const char *word = kChanges[place_of(difference.change)];
        const ChunkList &list = list_of(difference);
        const std::size_t i = number_of(difference);
        const bool in_both =
            difference.change == Change::changed || difference.change == Change::moved;
        const std::string place =
            in_both ? places_text(a_.chunk(difference.first).pos, b_.chunk(difference.second).pos)
                    : fmt::format("0x{:x}", list.chunk(i).pos);
        fmt::print("  {}  {}  {}\n", word, place, chunk_text(list, i));
        if (difference.change == Change::changed) tell_details(difference);
    }

    void tell_details(const Difference &difference) const {
        ChunkDifference details(a_, b_, difference);
        std::uint64_t fields = 0;
        details.for_each_field_pair([&](const FieldPair &pair) {
            if (fields++ >= kFieldsTold && !all_) return;
            fmt::print("    {}  {}: {} -> {}\n", places_text(pair.first.pos, pair.second.pos),
                       pair.first.name(), value_text(pair.first), value_text(pair.second));
        });
        if (fields > kFieldsTold && !all_) {
            fmt::print("    and {}\n", count_of(fields - kFieldsTold, "field") + " more");
        }
        tell_rest(details);
    }

    void tell_rest(const ChunkDifference &details) const {
        const Span a = details.rest_of_first();
        const Span b = details.rest_of_second();
        const ByteDifference rest = details.rest();
        if (rest.bytes != 0) {
            const std::int64_t at_a = a.begin + rest.offset;
            const std::int64_t at_b = b.begin + rest.offset;
            fmt::print("    {}  {} differ{}{:02x} -> {:02x}\n", places_text(at_a, at_b),
                       count_of(rest.bytes, "byte"),
                       rest.bytes == 1 ? "s: " : ", the first: ", byte_at(a_.file(), at_a),
                       byte_at(b_.file(), at_b));
        }
        if (a.size() != b.size()) {
            fmt::print("    {}  the rest: {}\n", places_text(a.begin, b.begin),
                       sizes_text(a.size(), b.size()));
        }
    }

    static constexpr std::size_t kMostIds = 24;

    const ChunkList &a_;
    const ChunkList &b_;
    bool all_;
};

Json chunk_json(const ChunkList &list, std::size_t i) {
    const Chunk chunk = list.chunk(i);
    const bool lost = list.is_lost(i);
    return {{"offset", chunk.pos},
            {"id", lost ? Json() : Json(text_of(chunk.id))},
            {"type", chunk.type.value == 0 ? Json() : Json(text_of(chunk.type))},
            {"declared", lost ? Json() : Json(chunk.declared)},
            {"held", chunk.held},
            {"what", words_of(list, i)}};
}

Json side_json(const FieldValue &field) {
    const bool none = field.bytes.empty() && field.field->width != 0;
    return {{"offset", field.pos}, {"value", none ? Json() : value_json(field)}};
}

// An index may have a million fields that differ: they are written one by one.
void print_details(const ChunkList &a, const ChunkList &b, const Difference &difference) {
    ChunkDifference details(a, b, difference);
    bool first = true;
    details.for_each_field_pair([&](const FieldPair &pair) {
        const Json json = {{"name", pair.first.name()},
                           {"first", side_json(pair.first)},
                           {"second", side_json(pair.second)}};
        fmt::print("{}{}", first ? "" : ",", json.dump());
        first = false;
    });
    const Span rest_a = details.rest_of_first();
    const Span rest_b = details.rest_of_second();
    const ByteDifference rest = details.rest();
    Json json;
    if (rest.bytes != 0 || rest_a.size() != rest_b.size()) {
        json = {{"differ", rest.bytes},
                {"first_differs_at", rest.bytes == 0 ? Json() : Json(rest_a.begin + rest.offset)},
                {"first_size", rest_a.size()},
                {"second_size", rest_b.size()}};
    }
    fmt::print("],\"bytes\":{}}}\n", json.dump());
}

void print_difference(const ChunkList &a, const ChunkList &b, const Difference &difference) {
    const Json line = {
        {"change", kChanges[place_of(difference.change)]},
        {"first", difference.change == Change::added ? Json() : chunk_json(a, difference.first)},
        {"second",
         difference.change == Change::missing ? Json() : chunk_json(b, difference.second)}};
    std::string open = line.dump();
    open.back() = ',';
    fmt::print("{}\"fields\":[", open);
    if (difference.change == Change::changed) {
        print_details(a, b, difference);
    } else {
        fmt::print("],\"bytes\":null}}\n");
    }
}

// Whether both are told in one: a chunk that is missing, or was added, and the next one too, or two
// of which the contents changed.
bool goes_on(const Difference &difference, const Difference &next) {
    if (difference.change != next.change) return false;
    switch (difference.change) {
    case Change::missing:
        return next.first == difference.first + 1;
    case Change::added:
        return next.second == difference.second + 1;
    default:
        return difference.change == Change::changed;
    }
}

}  // namespace

DiffReport::DiffReport(const ChunkList &first, const ChunkList &second,
                       const std::vector<Difference> &differences)
    : first_(first), second_(second), differences_(differences) {
    for (const Difference &difference : differences) {
        ++counts_[place_of(difference.change)];
        media_alone_ &= in_media_alone(difference);
    }
}

// Headers and pads are the same, and so is everything that is no media.
bool DiffReport::in_media_alone(const Difference &difference) const {
    if (difference.change != Change::changed) return false;
    const std::size_t i = difference.first;
    const std::size_t j = difference.second;
    const Chunk a = first_.chunk(i);
    const Chunk b = second_.chunk(j);
    if (a.type.value != 0 || a.id.value != b.id.value || a.declared != b.declared ||
        a.held != b.held || first_.is_lost(i) || second_.is_lost(j)) {
        return false;
    }
    const std::vector<Chunk> parents = first_.parents(i);
    if (!holds_media(parents) || has_fields(a, parents)) return false;
    const Span pad_a{a.end(), first_.content_end(i)};
    const Span pad_b{b.end(), second_.content_end(j)};
    return pad_a.size() == pad_b.size() &&
           compare_bytes(first_.file(), pad_a, second_.file(), pad_b, false).bytes == 0;
}

std::string DiffReport::counts_text() const {
    std::string text;
    for (std::size_t i = 0; i < counts_.size(); ++i) {
        if (counts_[i] == 0) continue;
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count_of(counts_[i], "chunk"),
                            kChanges[i]);
    }
    return text;
}

void DiffReport::print_text(const std::string &first, const std::string &second, bool all) const {
    const std::string names = fmt::format("{} and {}", path_text(first), path_text(second));
    if (differences_.empty()) {
        fmt::print("{} are the same\n", names);
        return;
    }
    fmt::print("{} differ{}: {}\n", names, media_alone_ ? " in media bytes alone" : "",
               counts_text());
    const TextReport report(first_, second_, all);
    for (std::size_t i = 0; i < differences_.size() && !interrupted();) {
        const bool media = in_media_alone(differences_[i]);
        std::size_t end = i + 1;
        while (end < differences_.size() && goes_on(differences_[end - 1], differences_[end]) &&
               in_media_alone(differences_[end]) == media) {
            ++end;
        }
        report.tell(std::span(differences_).subspan(i, end - i), media);
        i = end;
    }
}

void DiffReport::print_json(const std::string &first, const std::string &second) const {
    const char *outcome = differences_.empty() ? "same" : media_alone_ ? "media" : "different";
    const Json line = {{"format_version", 1},         {"first", json_path(first)},
                       {"second", json_path(second)}, {"outcome", outcome},
                       {"changed", counts_[0]},       {"missing", counts_[1]},
                       {"added", counts_[2]},         {"moved", counts_[3]}};
    fmt::print("{}\n", line.dump());
    for (const Difference &difference : differences_) {
        if (interrupted()) return;
        print_difference(first_, second_, difference);
    }
}
