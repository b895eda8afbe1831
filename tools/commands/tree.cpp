// sorn-tool tree: every chunk and list of a file, with where it lies and what the reader kept of
// it.
#include <unistd.h>

#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "chunks/chunk_fields.h"
#include "chunks/chunk_tree.h"
#include "commands/command.h"
#include "commands/field_text.h"
#include "commands/given.h"
#include "commands/tree_filter.h"
#include "findings/kept.h"
#include "findings/refusal_text.h"
#include "terminal/interrupt.h"
#include "terminal/progress.h"
#include "terminal/text.h"
#include "terminal/utf8.h"

namespace {

using Json = nlohmann::ordered_json;

struct Request {
    Given given;
    std::optional<std::string> id;
    std::optional<std::string> at;
    TreeChoice choice;
    bool all = false;
    bool fields = false;
    bool json = false;
};

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
    TextTree(const InputFile &file, const AviReaderState *reader, std::int64_t refused_at,
             const Request &request)
        : file_(file),
          paint_(request.given.colour),
          kept_(reader),
          refused_at_(refused_at),
          // What is asked for by its id or place is told one by one.
          all_(request.all || request.choice.id || request.choice.at),
          fields_(request.fields),
          digits_(fmt::formatted_size("{:x}", file.size())) {}

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
        if (all_ || (fields_ && chunk.type.value == 0 && has_fields(chunk, parents))) return false;
        if (holds_media(parents)) return chunk.type.value == 0 || is_list(chunk, "rec ");
        return chunk.type.value == 0;
    }

    std::string mark_of(const Chunk &chunk, Parents parents) {
        if (chunk.pos == refused_at_) return paint_(Tone::bad, "[refused here]");
        const std::string kept = kept_.of(chunk, parents);
        if (!kept.empty()) return paint_(Tone::kept, "[kept: " + kept + "]");
        return kept_.passed_over(chunk, parents) ? paint_(Tone::bad, "[not visited]") : "";
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
        if (fields_ && has_fields(chunk, parents)) print_fields(chunk, parents);
    }

    void print_fields(const Chunk &chunk, Parents parents) {
        const auto print_record = [&](const Record &record) {
            for_each_line(record, [&](std::int64_t pos, const std::string &line) {
                print_offset(pos, depth_of(parents) + 1);
                fmt::print("{}\n", line);
            });
            return !interrupted();
        };
        take_header(file_, chunk, print_record);
        take_payload(file_, chunk, parents, print_record);
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
        print_offset(pos, depth);
        fmt::print("{}  {}  {}{}{}\n", name, size, words, mark.empty() ? "" : "  ", mark);
    }

    void print_offset(std::int64_t pos, std::size_t depth) {
        fmt::print("{}  {:{}}", paint_(Tone::faint, fmt::format("0x{:0{}x}", pos, digits_)), "",
                   depth * 2);
    }

    const InputFile &file_;
    Paint paint_;
    Kept kept_;
    std::int64_t refused_at_;
    bool all_;
    bool fields_;
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
    JsonTree(const InputFile &file, const AviReaderState *reader, bool entries)
        : file_(file), kept_(reader), entries_(entries) {}

    void enter(const Chunk &list, Parents parents) override { print(list, parents); }
    void visit(const Chunk &chunk, Parents parents) override { print(chunk, parents); }

    void lost(std::int64_t pos, std::int64_t size, Parents parents) override {
        print_line({{"offset", pos},
                    {"depth", parents.size()},
                    {"id", nullptr},
                    {"type", nullptr},
                    {"declared", nullptr},
                    {"held", size},
                    {"what", "lost bytes"},
                    {"kept", nullptr},
                    {"not_visited", false},
                    {"fields", Json::array()}});
    }

private:
    void print(const Chunk &chunk, Parents parents) {
        const std::string kept = kept_.of(chunk, parents);
        const Json line = {{"offset", chunk.pos},
                           {"depth", parents.size()},
                           {"id", text_of(chunk.id)},
                           {"type", chunk.type.value == 0 ? Json() : Json(text_of(chunk.type))},
                           {"declared", chunk.declared},
                           {"held", chunk.held},
                           {"what", chunk_words(chunk, parents)},
                           {"kept", kept.empty() ? Json() : Json(kept)},
                           {"not_visited", kept.empty() && kept_.passed_over(chunk, parents)},
                           {"fields", fields_of(chunk, parents)}};
        if (entries_ && has_fields(chunk, parents)) {
            print_with_entries(line, chunk, parents);
        } else {
            print_line(line);
        }
    }

    [[nodiscard]] Json fields_of(const Chunk &chunk, Parents parents) const {
        Json fields = Json::array();
        const auto add = [&fields](const Record &record) {
            if (record.entry < 0) {
                for_each_field(record, [&fields](const FieldValue &field) {
                    fields.push_back(field_json(field));
                });
            }
            return !interrupted();
        };
        if (!has_fields(chunk, parents)) return fields;
        take_header(file_, chunk, add);
        take_payload(file_, chunk, parents, add);
        return fields;
    }

    // An index has a million entries: they are written one by one.
    void print_with_entries(const Json &line, const Chunk &chunk, Parents parents) {
        std::string open = line.dump();
        open.back() = ',';
        fmt::print("{}\"entries\":[", open);
        take_payload(file_, chunk, parents, [](const Record &record) {
            if (record.entry < 0) return true;
            fmt::print("{}{}", record.entry == 0 ? "" : ",", entry_json(record).dump());
            return !interrupted();
        });
        fmt::print("]}}\n");
    }

    static void print_line(const Json &line) { fmt::print("{}\n", line.dump()); }

    const InputFile &file_;
    Kept kept_;
    bool entries_;
};

void print_file(const Request &request, const std::string &path, const InputFile &file, bool opened,
                const std::string &sentence) {
    const auto size = static_cast<std::uint64_t>(file.size());
    if (request.json) {
        const Json line = {{"file", json_path(path)},
                           {"file_size", size},
                           {"opened", opened},
                           {"sentence", sentence}};
        fmt::print("{}\n", line.dump());
    } else {
        fmt::print("{}: {}, {}\n", path_text(path), count_of(size, "byte"), sentence);
    }
}

// False when it was interrupted.
bool show(const Request &request, const InputFile &file, const AviReaderState *reader,
          const AviRefusal &refusal) {
    // Lines on the same terminal show how far it is.
    Progress progress(file.size(), request.given.shows_progress() && isatty(STDOUT_FILENO) == 0);
    const WalkOptions options = {.on_progress = [&](std::int64_t pos) { progress.show(pos); },
                                 .stop = interrupted};
    if (request.json) {
        JsonTree tree(file, reader, request.fields);
        TreeFilter shown(request.choice, tree);
        return walk_chunks(file, shown, options);
    }
    const std::int64_t refused_at = refusal_place(refusal, file);
    TextTree tree(file, reader, refused_at, request);
    TreeFilter shown(request.choice, tree);
    const bool whole = walk_chunks(file, shown, options);
    tree.finish();
    return whole;
}

void show(const Request &request, const std::string &path, bool first) {
    const InputFile file(path);
    if (request.choice.at && *request.choice.at >= file.size()) {
        throw Failure(Exit::usage, fmt::format("{}: ends at 0x{:x}, before 0x{:x}", path_text(path),
                                               file.size(), *request.choice.at));
    }
    AviRefusal refusal{};
    const AviReader record(aviin_open(path.c_str(), 0, &refusal));
    if (!first && !request.json) fmt::print("\n");
    print_file(request, path, file, record != nullptr,
               record != nullptr ? "opens" : refused_text(refusal, file));
    if (show(request, file, record.get(), refusal)) return;
    flush_output();
    fail_interrupted(path);
}

Exit run(Request request) {
    if (request.id) request.choice.id = id_from_text(*request.id);
    if (request.at) request.choice.at = position_from_text("--at", *request.at);
    note_interrupts();
    CommonExit status;
    bool first = true;
    for (const GivenFile &file : files_of(request.given, status)) {
        try {
            show(request, file.path, first);
            status.add(Exit::success);
            first = false;
        } catch (const Failure &failure) {
            if (failure.status() == Exit::interrupted) throw;
            complain(failure.what());
            status.add(failure.status());
        }
    }
    return status.status();
}

}  // namespace

void add_tree(CLI::App &app, Exit &status) {
    CLI::App *command =
        app.add_subcommand("tree", "Show every chunk of a file, and what the reader kept of it");
    const auto request = std::make_shared<Request>();
    add_files(*command, request->given)->required();
    command->add_option("--depth", request->choice.depth, "Show N levels, 1 for the forms alone")
        ->option_text("N")
        ->check(CLI::PositiveNumber);
    command->add_option("--id", request->id, "Show what has this id or type, one by one")
        ->option_text("ID");
    command->add_option("--at", request->at, "Show what holds the byte at this position")
        ->option_text("OFFSET");
    command->add_flag("--all", request->all, "Show runs of chunks one by one");
    command->add_flag("--fields", request->fields, "Show each field where the layout is known");
    command->add_flag("--json", request->json, "Print a line of JSON for each chunk");
    add_colour(*command, request->given);
    add_no_progress(*command, request->given);
    command->callback([request, &status] { status = run(*request); });
}
