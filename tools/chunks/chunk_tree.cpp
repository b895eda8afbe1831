#include "chunks/chunk_tree.h"

#include <algorithm>
#include <array>
#include <vector>

#include "chunks/chunk_words.h"

namespace {

constexpr std::int64_t kHeader = kChunkHeaderSize;
constexpr std::int64_t kListHeader = kListHeaderSize;
constexpr std::int64_t kBlock = 4096;   // file systems keep no smaller holes
constexpr int kMostHops = 64;           // over the chunks of a list to see that they fill it
constexpr std::int64_t kMenuType = 20;  // where a menu form says what it is

// Whether it can be the name of a chunk: letters, digits, a space or an underscore.
bool is_name(FourCC id) {
    for (int i = 0; i < 4; ++i) {
        const auto c = static_cast<unsigned char>(id.value >> (8 * i));
        const bool letter = (c | 0x20) >= 'a' && (c | 0x20) <= 'z';
        if (!letter && !(c >= '0' && c <= '9') && c != ' ' && c != '_') return false;
    }
    return true;
}

// Headers lie close together or far apart: a small window serves both.
class Window {
public:
    explicit Window(const InputFile &file) : file_(file) { load(0); }

    unsigned char u8(std::int64_t pos) { return static_cast<unsigned char>(u32(pos)); }

    // The 4 bytes there; those that the file does not hold are 0.
    std::uint32_t u32(std::int64_t pos) {
        if (pos < start_ || pos + 4 > start_ + static_cast<std::int64_t>(bytes_.size())) load(pos);
        return avi_get_u32le(&bytes_[static_cast<std::size_t>(pos - start_)]);
    }

private:
    void load(std::int64_t pos) {
        bytes_.fill(0);
        file_.read(bytes_.data(), bytes_.size(), pos);
        start_ = pos;
    }

    const InputFile &file_;
    std::int64_t start_ = 0;
    std::array<unsigned char, 4096> bytes_{};
};

// A level that ends before its parent does because its size misleads.
bool cannot_hold(const Chunk &list, const Chunk &chunk) {
    if (is_form(chunk) || is_index(chunk)) return is_chunk(list, "LIST") || is_form(chunk);
    if (!is_chunk(chunk, "LIST") || is_form(list)) return false;
    if (is_list(list, "hdrl")) return !is_list(chunk, "strl") && !is_list(chunk, "odml");
    const bool media = is_list(list, "movi") || is_list(list, "rec ");
    return !media || !is_list(chunk, "rec ");
}

// Far more than a picture takes. A size that misleads by more hides what follows it.
constexpr std::int64_t kFarthestSearch = std::int64_t{64} << 20;

class Walk {
public:
    Walk(const InputFile &file, ChunkVisitor &visitor, const WalkOptions &options)
        : size_(file.size()), visitor_(visitor), options_(options), file_(file), window_(file) {}

    bool run() {
        for (leave_ended_lists(); pos_ + kHeader <= size_; leave_ended_lists()) {
            if (options_.stop && options_.stop()) return false;
            step();
            if (options_.on_progress) options_.on_progress(std::min(pos_, size_));
        }
        lose_bytes_before(size_);
        return true;
    }

private:
    [[nodiscard]] std::int64_t level_end() const {
        return parents_.empty() ? size_ : parents_.back().end();
    }

    void leave_ended_lists() {
        while (!parents_.empty() && pos_ + kHeader > parents_.back().end()) leave_list();
    }

    void leave_list() {
        const Chunk list = parents_.back();
        lose_bytes_before(list.end());
        parents_.pop_back();
        visitor_.leave(list, parents_);
        pos_ = after(list);
    }

    void lose_bytes_before(std::int64_t end) {
        if (pos_ < end) visitor_.lost(pos_, end - pos_, parents_);
        pos_ = std::max(pos_, end);
    }

    void step() {
        if (is_zero(pos_)) {
            skip_hole();
            return;
        }
        Chunk chunk = chunk_here();
        if (ends_a_level(chunk)) return;
        if (chunk.type.value == 0 || parents_.size() >= kDeepestList) {
            if (chunk.type.value == 0 && !leads_to_a_chunk(chunk) && !is_cut_index(chunk)) {
                correct(chunk);
            }
            visitor_.visit(chunk, parents_);
            pos_ = after(chunk);
            return;
        }
        if (parents_.empty()) in_menu_form_ = is_menu_form(chunk);
        // The reader takes a menu form's chunks up to the form's end, whatever its list says.
        const bool menu_list = in_menu_form_ && parents_.size() == 1;
        if (!menu_list && !leads_to_a_chunk(chunk)) chunk.misleads = true;
        if (menu_list || chunk.misleads) chunk.held = level_end() - chunk.payload();
        visitor_.enter(chunk, parents_);
        parents_.push_back(chunk);
        pos_ = chunk.pos + kListHeader;
    }

    Chunk chunk_here() {
        Chunk chunk{pos_, {window_.u32(pos_)}, {}, window_.u32(pos_ + 4), 0};
        const std::int64_t room = level_end() - chunk.payload();
        chunk.held = std::min<std::int64_t>(chunk.declared, room);
        if (!may_have_type(chunk) || room < 4) return chunk;

        const FourCC type = {window_.u32(chunk.payload())};
        // A recording that was never finished: its sizes were to be filled in at the end.
        const bool unfinished = is_form(chunk) || avi_fourcc_equal(type, kMovi);
        if (chunk.held >= 4 || unfinished) chunk.type = type;
        return chunk;
    }

    [[nodiscard]] bool may_have_type(const Chunk &chunk) const {
        return is_form(chunk) ? parents_.empty() || parents_.back().misleads
                              : !parents_.empty() && is_chunk(chunk, "LIST");
    }

    bool is_menu_form(const Chunk &form) {
        return form.held >= kMenuType - kHeader + 4 &&
               avi_fourcc_equal({window_.u32(form.pos + kMenuType)}, kQmnu);
    }

    // A level whose size misleads ends where something stands that cannot be in it.
    bool ends_a_level(const Chunk &chunk) {
        if (parents_.empty() || !parents_.back().misleads) return false;
        if (!cannot_hold(parents_.back(), chunk)) return false;
        parents_.back().held = pos_ - parents_.back().payload();
        leave_list();
        return true;
    }

    // Chunks in lists are padded to an even size; forms and the chunks of a menu form are not.
    // Files do it both ways, so what is found there decides when only one way leads to a known
    // chunk.
    std::int64_t after(const Chunk &chunk) {
        if (chunk.held % 2 == 0 || chunk.cut_short() || chunk.misleads) return chunk.end();
        const bool pads = !parents_.empty() && !in_menu_form_;
        const bool plain_is_known = chunk_starts_at(chunk.end());
        const bool padded_is_known = chunk_starts_at(chunk.end() + 1);
        const bool padded = plain_is_known == padded_is_known ? pads : padded_is_known;
        return chunk.end() + (padded ? 1 : 0);
    }

    bool chunk_starts_at(std::int64_t pos) {
        return pos + kHeader <= level_end() && is_known_id({window_.u32(pos)});
    }

    // Whether 8 bytes there are zero.
    bool is_zero(std::int64_t pos) {
        return pos + kHeader <= level_end() && window_.u32(pos) == 0 && window_.u32(pos + 4) == 0;
    }

    // Whether a chunk of any name may begin there: one that fits, and is followed by another. Bytes
    // that are no name have to lead exactly to a known one.
    bool leads_on(std::int64_t pos) {
        const std::int64_t end = pos + kHeader + window_.u32(pos + 4);
        if (end > level_end()) return false;
        if (chunk_starts_at(end) || chunk_starts_at(end + end % 2)) return true;
        return is_name({window_.u32(pos)}) && (end + kHeader > level_end() || is_zero(end));
    }

    // Whether the chunk's size is taken for true: what follows it is a chunk, or nothing.
    bool leads_to_a_chunk(const Chunk &chunk) {
        if (chunk.declared < 4 && is_form(chunk)) return false;
        const std::int64_t end = chunk.payload() + chunk.declared;
        if (end > level_end()) return false;
        if (chunk.type.value != 0 && !is_list(chunk, "movi") && is_filled(chunk)) return true;
        for (std::int64_t next = end; next <= end + chunk.declared % 2; ++next) {
            if (next + kHeader > level_end()) return true;
            if (chunk.type.value != 0 ? may_follow(chunk, next)
                                      : chunk_starts_at(next) || leads_on(next)) {
                return true;
            }
        }
        return chunk.type.value == 0 && holds_media(parents_) && is_zero(end);
    }

    // Media directly behind a 'movi' list belong into it.
    bool may_follow(const Chunk &list, std::int64_t pos) {
        const bool media = is_list(list, "movi") && is_media_id({window_.u32(pos)});
        const bool named = is_name({window_.u32(pos)}) && leads_on(pos);
        return (chunk_starts_at(pos) || named) && !media;
    }

    // Whether a form's or list's few chunks end where it does.
    bool is_filled(const Chunk &list) {
        std::int64_t pos = list.pos + kListHeader;
        const std::int64_t end = list.payload() + list.declared;
        for (int i = 0; i < kMostHops && pos + kHeader <= end; ++i) {
            pos += kHeader + window_.u32(pos + 4);
            pos += pos % 2 == list.pos % 2 ? 0 : 1;
        }
        return pos == end || pos == end + 1;
    }

    // Entries of an index look like chunks: what is left of one is not searched for any.
    static bool is_cut_index(const Chunk &chunk) { return is_index(chunk) && chunk.cut_short(); }

    // A chunk whose size misleads ends where the next one is found. Where none is, its size stands.
    void correct(Chunk &chunk) {
        const std::int64_t next = find_chunk(chunk.payload());
        if (next < 0) return;
        chunk.held = next - chunk.payload();
        chunk.misleads = true;
    }

    // The first place from there on at which a known chunk begins that leads on; -1 for none.
    std::int64_t find_chunk(std::int64_t from) {
        const std::int64_t end = std::min(level_end() - kHeader, from + kFarthestSearch);
        for (std::int64_t pos = from; pos <= end; ++pos) {
            const FourCC id = {window_.u32(pos)};
            if (is_name(id) && is_known_id(id) && (leads_on(pos) || leads_to_lists(pos)))
                return pos;
        }
        return -1;
    }

    // A list may misdeclare its size, too.
    bool leads_to_lists(std::int64_t pos) {
        return avi_fourcc_equal({window_.u32(pos)}, kList) && pos + kListHeader <= level_end() &&
               is_known_list({window_.u32(pos + kHeader)});
    }

    void skip_hole() {
        const std::int64_t start = pos_;
        const std::int64_t end = level_end();
        while (pos_ < end && window_.u8(pos_) == 0) {
            pos_ += is_zero(pos_) ? kHeader : 1;
            if (pos_ % kBlock < kHeader) pos_ = std::max(pos_, file_.data_after(pos_));
        }
        pos_ = std::min(pos_, end);
        if (pos_ + kHeader <= end && !chunk_starts_at(pos_)) {
            const std::int64_t next = find_chunk(pos_);
            pos_ = next < 0 ? end : next;
        }
        visitor_.hole(start, pos_ - start, parents_);
    }

    std::int64_t size_;
    ChunkVisitor &visitor_;
    const WalkOptions &options_;
    const InputFile &file_;
    Window window_;
    std::int64_t pos_ = 0;
    std::vector<Chunk> parents_;
    bool in_menu_form_ = false;
};

}  // namespace

bool walk_chunks(const InputFile &file, ChunkVisitor &visitor, const WalkOptions &options) {
    return Walk(file, visitor, options).run();
}

bool is_chunk(const Chunk &chunk, const char *id) {
    return avi_fourcc_equal(chunk.id, avi_fourcc_from_string(id));
}

bool is_list(const Chunk &chunk, const char *type) {
    return is_chunk(chunk, "LIST") && avi_fourcc_equal(chunk.type, avi_fourcc_from_string(type));
}

bool is_form(const Chunk &chunk) {
    return is_chunk(chunk, "RIFF") || is_chunk(chunk, "MRIF");
}

bool is_index(const Chunk &chunk) {
    return is_chunk(chunk, "idx1") || is_chunk(chunk, "1idx");
}

bool holds_media(Parents parents) {
    return !parents.empty() && (is_list(parents.back(), "movi") || is_list(parents.back(), "rec "));
}
