#include "chunk_tree.h"

#include <algorithm>
#include <array>
#include <vector>

#include "chunk_words.h"

namespace {

constexpr std::int64_t kHeader = 8;
constexpr std::int64_t kListHeader = 12;
constexpr std::int64_t kMenuType = 20;  // where a menu form says what it is

// Headers lie close together or far apart: a small window serves both.
class Window {
public:
    explicit Window(const InputFile &file) : file_(file) { load(0); }

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

class Walk {
public:
    Walk(const InputFile &file, ChunkVisitor &visitor, const WalkOptions &options)
        : size_(file.size()), visitor_(visitor), options_(options), window_(file) {}

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
        while (!parents_.empty() && pos_ + kHeader > parents_.back().end()) {
            const Chunk list = parents_.back();
            lose_bytes_before(list.end());
            parents_.pop_back();
            visitor_.leave(list, parents_);
            pos_ = after(list);
        }
    }

    void lose_bytes_before(std::int64_t end) {
        if (pos_ < end) visitor_.lost(pos_, end - pos_, parents_);
        pos_ = std::max(pos_, end);
    }

    void step() {
        const Chunk chunk = chunk_here();
        const bool has_chunks = chunk.type.value != 0 && parents_.size() < kDeepestList;
        if (!has_chunks) {
            visitor_.visit(chunk, parents_);
            pos_ = after(chunk);
            return;
        }
        if (parents_.empty()) in_menu_form_ = is_menu_form(chunk);
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
        if (chunk.held >= 4) {
            chunk.type = type;
        } else if (is_form(chunk) || avi_fourcc_equal(type, avi_fourcc_from_string("movi"))) {
            // A recording that was never finished: its sizes were to be filled in at the end.
            chunk.type = type;
            chunk.held = room;
        }
        // The reader takes a menu form's chunks up to the form's end, whatever its list says.
        if (in_menu_form_ && parents_.size() == 1) chunk.held = room;
        return chunk;
    }

    [[nodiscard]] bool may_have_type(const Chunk &chunk) const {
        return parents_.empty() ? is_form(chunk) : is_chunk(chunk, "LIST");
    }

    bool is_menu_form(const Chunk &form) {
        return form.held >= kMenuType - kHeader + 4 &&
               avi_fourcc_equal({window_.u32(form.pos + kMenuType)}, kQmnu);
    }

    // Chunks in lists are padded to an even size; forms and the chunks of a menu form are not.
    // Files do it both ways, so what is found there decides when only one way leads to a known
    // chunk.
    std::int64_t after(const Chunk &chunk) {
        if (chunk.held % 2 == 0 || chunk.cut_short()) return chunk.end();
        const bool pads = !parents_.empty() && !in_menu_form_;
        const bool plain_is_known = chunk_starts_at(chunk.end());
        const bool padded_is_known = chunk_starts_at(chunk.end() + 1);
        const bool padded = plain_is_known == padded_is_known ? pads : padded_is_known;
        return chunk.end() + (padded ? 1 : 0);
    }

    bool chunk_starts_at(std::int64_t pos) {
        return pos + kHeader <= level_end() && is_known_id({window_.u32(pos)});
    }

    std::int64_t size_;
    ChunkVisitor &visitor_;
    const WalkOptions &options_;
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

bool holds_media(Parents parents) {
    return !parents.empty() && (is_list(parents.back(), "movi") || is_list(parents.back(), "rec "));
}
