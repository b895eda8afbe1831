#include "chunks/named_chunk.h"

#include <algorithm>

namespace {

class HolderSearch : public ChunkVisitor {
public:
    HolderSearch(std::int64_t pos, std::int64_t file_size) : pos_(pos), holder_{{}, file_size} {}

    void enter(const Chunk &list, Parents parents) override {
        meet(list, parents, list.pos + kListHeaderSize);
    }
    void visit(const Chunk &chunk, Parents parents) override { meet(chunk, parents, chunk.end()); }
    void lost(std::int64_t pos, std::int64_t size, Parents /*parents*/) override {
        if (ended() || pos + size <= pos_) return;
        end(pos > pos_ ? pos : pos + size);
    }

    [[nodiscard]] bool ended() const { return ended_; }
    [[nodiscard]] const Holder &holder() const { return holder_; }

private:
    void meet(const Chunk &chunk, Parents parents, std::int64_t own_end) {
        if (ended() || own_end <= pos_) return;
        if (chunk.pos <= pos_) holder_.chunk = {chunk, {parents.begin(), parents.end()}};
        end(chunk.pos <= pos_ ? own_end : chunk.pos);
    }

    void end(std::int64_t at) {
        holder_.end = at;
        ended_ = true;
    }

    std::int64_t pos_;
    Holder holder_;
    bool ended_ = false;
};

class PartSearch : public ChunkVisitor {
public:
    // The list is that of the stream, as the reader's record tells, or -1.
    PartSearch(Part part, int number, std::int64_t list_pos)
        : part_(part), number_(number), list_pos_(list_pos) {}

    void enter(const Chunk &list, Parents parents) override {
        if (is_list(list, "strl") && in_first_form(parents)) {
            const int number = streams_++;
            in_stream_ = list_pos_ < 0 ? number == number_ : list.pos == list_pos_;
        }
        // The headers of the first form are in front of its media.
        ended_ |= is_list(list, "movi") && in_headers();
    }
    void leave(const Chunk &list, Parents /*parents*/) override {
        if (is_list(list, "strl")) in_stream_ = false;
    }
    void visit(const Chunk &chunk, Parents parents) override {
        if (ended_ || !is_it(chunk, parents)) return;
        if (replaces()) found_.clear();
        found_.push_back({chunk, {parents.begin(), parents.end()}});
    }

    [[nodiscard]] bool ended() const { return ended_; }
    [[nodiscard]] std::vector<FoundChunk> take() { return std::move(found_); }

private:
    static bool in_first_form(Parents parents) { return !parents.empty() && parents[0].pos == 0; }

    [[nodiscard]] bool in_headers() const {
        return part_ == Part::main_header || part_ == Part::stream_header ||
               part_ == Part::stream_data;
    }
    // Of those that the reader loads it keeps the last.
    [[nodiscard]] bool replaces() const {
        return part_ == Part::data || part_ == Part::menu || part_ == Part::form_menu;
    }
    [[nodiscard]] bool is_first() const { return found_.empty(); }

    [[nodiscard]] bool is_it(const Chunk &chunk, Parents parents) const {
        switch (part_) {
        case Part::main_header:
            return is_first() && is_chunk(chunk, "avih");
        case Part::stream_header:
            return in_stream_ && (is_chunk(chunk, "strh") || is_chunk(chunk, "strf"));
        case Part::stream_data:
            return in_stream_ && is_first() && is_chunk(chunk, "strd");
        case Part::data:
            return is_chunk(chunk, "MTDA");
        case Part::menu:
            return is_chunk(chunk, "MENU") && in_first_form(parents);
        case Part::form_menu:
            return is_chunk(chunk, "MENU") && !parents.empty() && !in_first_form(parents);
        case Part::index:
            return is_first() && is_index(chunk) && in_first_form(parents);
        }
        return false;
    }

    Part part_;
    int number_;
    std::int64_t list_pos_;
    int streams_ = 0;
    bool in_stream_ = false;
    bool ended_ = false;
    std::vector<FoundChunk> found_;
};

// Where the reader has the chunk, or -1.
std::int64_t kept_at(const AviReaderState &reader, Part part) {
    const auto before = [](std::int64_t pos, std::int64_t header) {
        return pos == 0 ? -1 : pos - header;
    };
    switch (part) {
    case Part::data:
        return before(reader.data_blob.pos, kChunkHeaderSize);
    case Part::menu:
        return before(reader.menu_blob.pos, 0);
    case Part::form_menu:
        return before(reader.form_menu_blob.pos, 0);
    case Part::index:
        return before(reader.index_pos, 0);
    default:
        return -1;
    }
}

Chunk chunk_at(const InputFile &file, std::int64_t pos) {
    unsigned char header[kChunkHeaderSize]{};
    file.read(header, sizeof header, pos);
    Chunk chunk{pos, {avi_get_u32le(header)}, {}, avi_get_u32le(header + 4), 0};
    chunk.held = std::clamp<std::int64_t>(file.size() - chunk.payload(), 0, chunk.declared);
    return chunk;
}

template <typename Search>
void walk(const InputFile &file, Search &search, const WalkOptions &options) {
    walk_chunks(file, search, {.on_progress = options.on_progress, .stop = [&] {
                                   return search.ended() || (options.stop && options.stop());
                               }});
}

}  // namespace

Holder holder_of(const InputFile &file, std::int64_t pos, const WalkOptions &options) {
    HolderSearch search(pos, file.size());
    walk(file, search, options);
    return search.holder();
}

std::vector<FoundChunk> find_part(const InputFile &file, const AviReaderState *reader, Part part,
                                  int number, const WalkOptions &options) {
    const std::int64_t kept = reader == nullptr ? -1 : kept_at(*reader, part);
    if (kept >= 0) return {{chunk_at(file, kept), {}}};
    const bool listed = reader != nullptr && number >= 0 && number < reader->stream_count;
    PartSearch search(part, number, listed ? reader->streams[number].list_pos : -1);
    walk(file, search, options);
    return search.take();
}
