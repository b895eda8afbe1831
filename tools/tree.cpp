// sorn-tool tree: every chunk and list of a file, with where it lies and what the reader kept of
// it.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "chunk_tree.h"
#include "command.h"
#include "interrupt.h"
#include "kept.h"
#include "progress.h"
#include "refusal_text.h"
#include "text.h"

namespace {

using Json = nlohmann::ordered_json;

struct Request {
    std::string file;
    bool all = false;
    bool json = false;
    bool no_progress = false;
};

enum class Tone { plain, faint, strong, kept, bad };

// Text for a terminal, or for what is none.
class Paint {
public:
    explicit Paint(bool on) : on_(on) {}

    [[nodiscard]] std::string operator()(Tone tone, const std::string &text) const {
        constexpr std::array<const char *, 5> kCodes{"", "2", "1", "32", "31"};
        if (!on_ || tone == Tone::plain || text.empty()) return text;
        return fmt::format("\033[{}m{}\033[0m", kCodes[static_cast<std::size_t>(tone)], text);
    }

private:
    bool on_;
};

bool wants_colour() {
    const char *no_color = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) == 1 && (no_color == nullptr || *no_color == '\0');
}

std::string name_of_chunk(const Chunk &chunk) {
    if (chunk.type.value == 0) return text_of(chunk.id);
    return fmt::format("{} {}", text_of(chunk.id), text_of(chunk.type));
}

std::string number_text(std::int64_t number) {
    return with_commas(static_cast<std::uint64_t>(std::max<std::int64_t>(number, 0)));
}

// Chunks that follow each other in a list and are shown as one line.
class Run {
public:
    [[nodiscard]] bool empty() const { return chunks_ == 0; }
    [[nodiscard]] std::uint64_t chunks() const { return chunks_; }
    [[nodiscard]] std::int64_t start() const { return start_; }
    [[nodiscard]] std::int64_t end() const { return end_; }

    void add(const Chunk &chunk) {
        if (chunks_++ == 0) start_ = chunk.pos;
        end_ = std::max(end_, chunk.end());
        const std::string name = name_of_chunk(chunk);
        for (auto &[id, count] : counts_) {
            if (id != name) continue;
            ++count;
            return;
        }
        // Garbage has as many ids as chunks.
        if (counts_.size() < kMostIds) {
            counts_.emplace_back(name, 1);
        } else {
            ++others_;
        }
    }

    [[nodiscard]] std::string counts_text() const {
        std::string text;
        for (const auto &[id, count] : counts_) {
            text += fmt::format("{}{} {}", text.empty() ? "" : ", ", with_commas(count), id);
        }
        if (others_ != 0) text += fmt::format(", {} others", with_commas(others_));
        return text;
    }

private:
    static constexpr std::size_t kMostIds = 24;

    std::uint64_t chunks_ = 0;
    std::uint64_t others_ = 0;
    std::int64_t start_ = 0;
    std::int64_t end_ = 0;
    std::vector<std::pair<std::string, std::uint64_t>> counts_;
};

class TextTree : public ChunkVisitor {
public:
    // The position is where the reader refused the file, or -1.
    TextTree(const AviReaderState *reader, std::int64_t refused_at, std::int64_t file_size,
             bool all)
        : paint_(wants_colour()),
          kept_(reader),
          refused_at_(refused_at),
          all_(all),
          digits_(fmt::formatted_size("{:x}", file_size)) {}

    void enter(const Chunk &list, Parents parents) override {
        const std::string mark = mark_of(list, parents);
        if (folds(list, parents)) {
            add_to_run(list, parents, mark);
            return;
        }
        end_run();
        print(list, parents, mark);
    }

    void leave(const Chunk &list, Parents parents) override {
        if (!folds(list, parents)) end_run();
    }

    void visit(const Chunk &chunk, Parents parents) override {
        const std::string mark = mark_of(chunk, parents);
        if (folds(chunk, parents)) {
            add_to_run(chunk, parents, mark);
        } else {
            end_run();
            print(chunk, parents, mark);
        }
    }

    void lost(std::int64_t pos, std::int64_t size, Parents parents) override {
        end_run();
        print_line(pos, depth_of(parents), paint_(Tone::bad, "lost"),
                   count_of(static_cast<std::uint64_t>(size), "byte"),
                   paint_(Tone::bad, "too few for a chunk"), "");
    }

    void finish() { end_run(); }

private:
    struct Line {
        Chunk chunk;
        std::size_t depth;
        const char *words;
        std::string mark;
    };
    // So many chunks are still told one by one.
    static constexpr std::size_t kShortRun = 4;

    // Media chunks fold, and outside the media chunks of one id that follow each other.
    [[nodiscard]] bool folds(const Chunk &chunk, Parents parents) const {
        if (all_) return false;
        if (holds_media(parents)) return chunk.type.value == 0 || is_list(chunk, "rec ");
        return chunk.type.value == 0;
    }

    std::string mark_of(const Chunk &chunk, Parents parents) {
        if (chunk.pos == refused_at_) return paint_(Tone::bad, "[refused here]");
        const std::string kept = kept_.of(chunk, parents);
        return kept.empty() ? "" : paint_(Tone::kept, "[kept: " + kept + "]");
    }

    static std::size_t depth_of(Parents parents) { return parents.size(); }

    void add_to_run(const Chunk &chunk, Parents parents, const std::string &mark) {
        const bool media = holds_media(parents);
        const bool goes_on = !run_.empty() && in_media_ == media &&
                             (media || last_id_.value == chunk.id.value) && mark.empty() &&
                             !chunk.cut_short();
        if (!goes_on) end_run();
        if (run_.empty()) {
            in_media_ = media;
            run_depth_ = depth_of(parents);
        }
        last_id_ = chunk.id;
        run_.add(chunk);
        if (first_.size() < kShortRun) {
            first_.push_back({chunk, depth_of(parents), chunk_words(chunk, parents), mark});
        }
        if (!mark.empty() || chunk.cut_short()) end_run();
    }

    void end_run() {
        if (run_.chunks() <= first_.size()) {
            for (const Line &line : first_) print(line.chunk, line.depth, line.words, line.mark);
        } else {
            print_line(run_.start(), run_depth_, paint_(Tone::strong, "..."),
                       count_of(static_cast<std::uint64_t>(run_.end() - run_.start()), "byte"),
                       fmt::format("{} up to 0x{:x}: {}", count_of(run_.chunks(), "chunk"),
                                   run_.end(), run_.counts_text()),
                       "");
        }
        run_ = {};
        first_.clear();
    }

    void print(const Chunk &chunk, Parents parents, const std::string &mark) {
        print(chunk, depth_of(parents), chunk_words(chunk, parents), mark);
    }

    void print(const Chunk &chunk, std::size_t depth, const char *words, const std::string &mark) {
        std::string size = count_of(chunk.declared, "byte");
        if (chunk.held != chunk.declared) {
            size = paint_(Tone::bad,
                          fmt::format("{} declared, {} there", size, number_text(chunk.held)));
        }
        print_line(chunk.pos, depth,
                   paint_(chunk.type.value != 0 ? Tone::strong : Tone::plain, name_of_chunk(chunk)),
                   size, words, mark);
    }

    void print_line(std::int64_t pos, std::size_t depth, const std::string &name,
                    const std::string &size, const std::string &words, const std::string &mark) {
        fmt::print("{}  {:{}}{}  {}  {}{}{}\n",
                   paint_(Tone::faint, fmt::format("0x{:0{}x}", pos, digits_)), "", depth * 2, name,
                   size, words, mark.empty() ? "" : "  ", mark);
    }

    Paint paint_;
    Kept kept_;
    std::int64_t refused_at_;
    bool all_;
    std::size_t digits_;
    Run run_;
    std::vector<Line> first_;  // of the run
    std::size_t run_depth_ = 0;
    bool in_media_ = false;
    FourCC last_id_{};
};

// A line of JSON for every chunk: nothing is folded, and nothing is stored.
class JsonTree : public ChunkVisitor {
public:
    explicit JsonTree(const AviReaderState *reader) : kept_(reader) {}

    void enter(const Chunk &list, Parents parents) override { print(list, parents); }
    void leave(const Chunk &, Parents) override {}
    void visit(const Chunk &chunk, Parents parents) override { print(chunk, parents); }

    void lost(std::int64_t pos, std::int64_t size, Parents parents) override {
        print({{"offset", pos},
               {"depth", parents.size()},
               {"id", nullptr},
               {"type", nullptr},
               {"declared", nullptr},
               {"held", size},
               {"what", "lost bytes"},
               {"kept", nullptr}});
    }

private:
    void print(const Chunk &chunk, Parents parents) {
        const std::string kept = kept_.of(chunk, parents);
        print({{"offset", chunk.pos},
               {"depth", parents.size()},
               {"id", text_of(chunk.id)},
               {"type", chunk.type.value == 0 ? Json() : Json(text_of(chunk.type))},
               {"declared", chunk.declared},
               {"held", chunk.held},
               {"what", chunk_words(chunk, parents)},
               {"kept", kept.empty() ? Json() : Json(kept)}});
    }

    static void print(const Json &line) { fmt::print("{}\n", line.dump()); }

    Kept kept_;
};

void print_file(const Request &request, const InputFile &file, bool opened,
                const std::string &sentence) {
    const auto size = static_cast<std::uint64_t>(file.size());
    if (request.json) {
        const Json line = {{"file", request.file},
                           {"file_size", size},
                           {"opened", opened},
                           {"sentence", sentence}};
        fmt::print("{}\n", line.dump(-1, ' ', false, Json::error_handler_t::replace));
    } else {
        fmt::print("{}: {}, {}\n", path_text(request.file), count_of(size, "byte"), sentence);
    }
}

// False when it was interrupted.
bool show(const Request &request, const InputFile &file, const AviReaderState *reader,
          const AviRefusal &refusal) {
    // Lines on the same terminal show how far it is.
    Progress progress(file.size(), !request.no_progress && isatty(STDOUT_FILENO) == 0);
    const WalkOptions options = {.on_progress = [&](std::int64_t pos) { progress.show(pos); },
                                 .stop = interrupted};
    if (request.json) {
        JsonTree tree(reader);
        return walk_chunks(file, tree, options);
    }
    const std::int64_t refused_at = has_position(refusal.reason) ? refusal.pos : -1;
    TextTree tree(reader, refused_at, file.size(), request.all);
    const bool whole = walk_chunks(file, tree, options);
    tree.finish();
    return whole;
}

Exit run(const Request &request) {
    const InputFile file(request.file);
    AviRefusal refusal{};
    const AviReader record(aviin_open(request.file.c_str(), 0, &refusal));
    print_file(request, file, record != nullptr,
               record != nullptr ? "opens" : refused_text(refusal, file));

    note_interrupts();
    if (show(request, file, record.get(), refusal)) return Exit::success;
    std::fflush(stdout);
    complain(path_text(request.file) + ": interrupted");
    return Exit::interrupted;
}

}  // namespace

void add_tree(CLI::App &app, Exit &status) {
    CLI::App *command =
        app.add_subcommand("tree", "Show every chunk of a file, and what the reader kept of it");
    const auto request = std::make_shared<Request>();
    command->add_option("FILE", request->file, "The file, whether it opens or not")->required();
    command->add_flag("--all", request->all, "Show runs of chunks one by one");
    command->add_flag("--json", request->json, "Print a line of JSON for each chunk");
    command->add_flag("--no-progress", request->no_progress, "Show no progress bar");
    command->callback([request, &status] { status = run(*request); });
}
