#include "plugin/player.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "plugin/plugin_file.h"
#include "terminal/text.h"

namespace {

constexpr FourCC kRec = avi_fourcc_from_string("rec ");

struct Chunk {
    std::int64_t pos;  // of its header
    FourCC id;
    std::uint32_t size;

    [[nodiscard]] std::int64_t payload() const { return pos + kChunkHeaderSize; }
    [[nodiscard]] std::int64_t end() const { return payload() + size; }
    [[nodiscard]] std::int64_t padded_end() const { return end() + size % 2; }
};

// The position only ever moves forward, past what was read, and the ends of the lists around it
// only tell what a chunk is part of. So no byte is read twice, whatever sizes the file declares.
class Walk {
public:
    Walk(const Plugin &plugin, const PlayOptions &options, Playback &result)
        : options_(options),
          result_(result),
          file_(plugin, options.path, [this](const std::string &what) { disagree(what); }) {}

    void run() {
        while (!result_.interrupted) {
            leave_ended_lists();
            if (pos_ + kChunkHeaderSize > file_size()) break;
            if (options_.stop && options_.stop()) {
                result_.interrupted = true;
                break;
            }
            visit();
            if (options_.on_progress) options_.on_progress(std::min(pos_, file_size()));
        }
        result_.delivered = file_.delivered();
    }

private:
    enum class Inside { form, movi };
    struct Level {
        Inside inside;
        std::int64_t end;
    };

    [[nodiscard]] std::int64_t file_size() const { return options_.file->size(); }

    void disagree(const std::string &what) {
        if (result_.disagreements++ == 0) result_.first_disagreement = what;
    }

    bool read_at(std::int64_t pos, unsigned char *buffer, std::uint32_t size) {
        if (!file_.read_at(pos, buffer, size)) return false;
        if (options_.verify && !options_.file->holds(buffer, size, pos)) {
            disagree(
                fmt::format("read at 0x{:x} delivered other bytes than the file's {}", pos, size));
        }
        return true;
    }

    // Fewer bytes than a header has room for are no chunk.
    void leave_ended_lists() {
        while (!levels_.empty() && pos_ + kChunkHeaderSize > levels_.back().end) {
            pos_ = std::max(pos_, levels_.back().end);
            levels_.pop_back();
        }
    }

    void visit() {
        unsigned char header[kChunkHeaderSize]{};
        read_at(pos_, header, kChunkHeaderSize);
        const Chunk chunk{pos_, {avi_get_u32le(header)}, avi_get_u32le(header + 4)};
        if (levels_.empty()) {
            visit_top_level(chunk);
        } else if (levels_.back().inside == Inside::form) {
            visit_in_form(chunk);
        } else {
            visit_in_movi(chunk);
        }
    }

    // Forms follow each other without a pad byte.
    void visit_top_level(const Chunk &chunk) {
        if (avi_fourcc_equal(chunk.id, kRiff) || avi_fourcc_equal(chunk.id, kMrif)) {
            ++result_.forms;
            expect_whole(chunk);
            enter(chunk, Inside::form, chunk.end());
        } else {
            pos_ = chunk.end();
        }
    }

    void visit_in_form(const Chunk &chunk) {
        expect_whole(chunk);
        const FourCC type = list_type(chunk);
        if (avi_fourcc_equal(type, kMovi)) {
            enter(chunk, Inside::movi, chunk.padded_end());
            return;
        }
        if (avi_fourcc_equal(type, kHdrl)) read_payload(chunk, result_.headers);
        pos_ = chunk.padded_end();
    }

    void visit_in_movi(const Chunk &chunk) {
        expect_whole(chunk);
        if (avi_fourcc_equal(chunk.id, kList)) {
            if (avi_fourcc_equal(list_type(chunk), kRec)) {
                enter(chunk, Inside::movi, chunk.padded_end());
                return;
            }
        } else {
            const auto stream = avi_stream_number(chunk.id);
            read_payload(chunk, stream ? result_.streams[*stream] : result_.other);
        }
        pos_ = chunk.padded_end();
    }

    // The innermost size is the one that is trusted, also where it disagrees with those around it.
    void enter(const Chunk &chunk, Inside inside, std::int64_t end) {
        levels_.push_back({inside, std::min(end, file_size())});
        pos_ = chunk.pos + kListHeaderSize;
    }

    // The type of a list, or 0 for what is none or has no room for a type.
    FourCC list_type(const Chunk &chunk) {
        const bool has_type = avi_fourcc_equal(chunk.id, kList) && chunk.size >= 4 &&
                              chunk.pos + kListHeaderSize <= file_size();
        if (!has_type) return {0};
        unsigned char type[4]{};
        read_at(chunk.payload(), type, 4);
        return {avi_get_u32le(type)};
    }

    // Remembers the innermost chunk that the file does not hold whole: it is what went missing.
    void expect_whole(const Chunk &chunk) {
        if (chunk.end() <= file_size()) return;
        result_.missing =
            fmt::format("the {} chunk at {} declares {} and the file ends after {}",
                        text_of(chunk.id), chunk.pos, count_of(chunk.size, "byte"),
                        with_commas(static_cast<std::uint64_t>(file_size() - chunk.payload())));
    }

    void read_payload(const Chunk &chunk, ChunkTally &tally) {
        const std::int64_t held = file_size() - chunk.payload();
        const auto size = static_cast<std::uint32_t>(std::min<std::int64_t>(chunk.size, held));
        const Heard before = heard();
        if (read_at(chunk.payload(), buffer_of(size), size)) {
            ++tally.chunks;
            tally.bytes += size;
        }
        file_.check_position();
        count_recognised(chunk, size, before);
    }

    unsigned char *buffer_of(std::uint32_t size) {
        if (buffer_ == nullptr || size > room_) {
            buffer_.reset();
            buffer_ = std::make_unique_for_overwrite<unsigned char[]>(size);
            room_ = size;
        }
        return buffer_.get();
    }

    // A read of a whole audio or compressed video chunk is recognised, as far as positions reach.
    void count_recognised(const Chunk &chunk, std::uint32_t size, const Heard &before) {
        const std::uint64_t audio = heard().audio_reads - before.audio_reads;
        const std::uint64_t video = heard().video_reads - before.video_reads;
        result_.audio_reads += audio;
        result_.video_reads += video;

        const bool can_be = avi_stream_number(chunk.id).has_value() && size == chunk.size &&
                            chunk.payload() <= kFarthestTold;
        const ChunkKind kind = can_be ? avi_chunk_kind(chunk.id, false) : ChunkKind::unknown;
        const std::uint64_t audio_due = kind == ChunkKind::audio ? 1 : 0;
        const std::uint64_t video_due = kind == ChunkKind::compressed_video ? 1 : 0;
        if (audio != audio_due || video != video_due) {
            disagree(fmt::format("the {} chunk at {} was not taken for what it is",
                                 text_of(chunk.id), chunk.pos));
        }
    }

    const PlayOptions &options_;
    Playback &result_;
    PluginFile file_;
    std::int64_t pos_ = 0;
    std::vector<Level> levels_;
    std::unique_ptr<unsigned char[]> buffer_;
    std::size_t room_ = 0;
};

}  // namespace

Playback play(const Plugin &plugin, const PlayOptions &options) {
    Playback result;
    Walk(plugin, options, result).run();
    return result;
}
