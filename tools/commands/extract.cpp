// sorn-tool extract: a stream, or one of the other payloads, as the plug-in delivers it.
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "chunks/chunk_fields.h"
#include "chunks/named_chunk.h"
#include "commands/command.h"
#include "commands/given.h"
#include "findings/refusal_text.h"
#include "findings/sentences.h"
#include "plugin/plugin_file.h"
#include "terminal/interrupt.h"
#include "terminal/new_file.h"
#include "terminal/progress.h"
#include "terminal/text.h"

namespace {

constexpr std::int64_t kBlock = 1 << 20;

struct Request {
    Given given;
    std::string path;
    std::string output;
    std::string plugin;
    bool data = false;
    bool menu = false;
    bool form_menu = false;
    std::optional<int> stream;
    std::optional<int> stream_data;
    std::optional<std::string> chunk;

    // So many things are asked for.
    [[nodiscard]] std::ptrdiff_t asked() const {
        const std::array<bool, 6> things{
            data, menu, form_menu, stream.has_value(), stream_data.has_value(), chunk.has_value()};
        return std::count(things.begin(), things.end(), true);
    }
};

// The file that is named, or standard output for "-".
class Output {
public:
    explicit Output(const std::string &path) {
        if (path != "-") file_.emplace(path);
    }

    void write(std::span<const unsigned char> bytes) {
        if (file_) {
            file_->write(bytes);
        } else if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) {
            throw std::system_error(errno, std::generic_category());
        }
    }

    // Bytes that are zero, and for which the disk has no room in the file that is read.
    void write_hole(std::span<const unsigned char> zeros) {
        if (file_) {
            file_->skip(static_cast<std::int64_t>(zeros.size()));
        } else {
            write(zeros);
        }
    }

    void finish() {
        if (file_) {
            file_->publish();
        } else {
            flush_output();
        }
    }

private:
    std::optional<NewFile> file_;
};

// Takes payloads out of a file, through the plug-in.
class Extraction {
public:
    Extraction(const Request &request, const InputFile &file, const Plugin &plugin, Output &output,
               Progress &progress)
        : path_(path_text(request.path)),
          file_(file),
          output_(output),
          progress_(progress),
          source_(plugin, request.path, [this](const std::string &what) { trouble(what); }),
          buffer_(static_cast<std::size_t>(kBlock)) {}

    // What the chunk declares, which the file has to hold.
    void payload(const Chunk &chunk) {
        if (chunk.cut_short()) cut_short(chunk, chunk.declared, chunk.held);
        copy(chunk.payload(), chunk.payload() + chunk.declared);
    }

    // Its own length tells how long the payload is, which its chunk's need not agree with.
    void stream_data(const Chunk &chunk) {
        constexpr std::int64_t kBefore = size_of(layout::kStreamData);
        unsigned char bytes[kBefore]{};
        if (chunk.held < kBefore) cut_short(chunk, kBefore, chunk.held);
        file_.read(bytes, sizeof bytes, chunk.payload());
        const std::uint32_t length =
            avi_get_u32le(&bytes[offset_of(layout::kStreamData, "length")]);
        const std::int64_t from = chunk.payload() + kBefore;
        if (from + length > file_.size()) cut_short(chunk, length, file_.size() - from);
        copy(from, from + length);
    }

private:
    void copy(std::int64_t from, std::int64_t to) {
        for (std::int64_t pos = from; pos < to && !interrupted();) {
            const auto size = static_cast<std::uint32_t>(std::min(kBlock, to - pos));
            source_.read_at(pos, buffer_.data(), size);
            source_.check_position();
            const std::span<const unsigned char> block = std::span(buffer_).first(size);
            if (!file_.holds(block.data(), size, pos)) {
                trouble(fmt::format("read at 0x{:x} delivered other bytes than the file's {}", pos,
                                    size));
            }
            if (!trouble_.empty()) throw Failure(Exit::disagreed, path_ + ": " + trouble_);
            file_.data_after(pos) >= pos + size ? output_.write_hole(block) : output_.write(block);
            pos += size;
            progress_.show(pos);
        }
    }

    [[noreturn]] void cut_short(const Chunk &chunk, std::int64_t declared,
                                std::int64_t held) const {
        throw Failure(Exit::cut_short,
                      fmt::format("{}: {} declares {}, of which {} are there", path_, at(chunk),
                                  bytes_text(declared), bytes_text(held)));
    }

    void trouble(const std::string &what) {
        if (trouble_.empty()) trouble_ = what;
    }

    std::string path_;
    const InputFile &file_;
    Output &output_;
    Progress &progress_;
    std::string trouble_;
    PluginFile source_;
    std::vector<unsigned char> buffer_;
};

// The payloads of a stream in the order of the file.
class StreamPayloads : public ChunkVisitor {
public:
    StreamPayloads(int number, Extraction &extraction) : number_(number), extraction_(extraction) {}

    void visit(const Chunk &chunk, Parents parents) override {
        const bool payload = holds_media(parents) && stream_number(chunk.id) == number_ &&
                             avi_chunk_kind(chunk.id, false) != ChunkKind::index;
        if (!payload) return;
        ++chunks_;
        extraction_.payload(chunk);
    }

    [[nodiscard]] std::uint64_t chunks() const { return chunks_; }

private:
    int number_;
    Extraction &extraction_;
    std::uint64_t chunks_ = 0;
};

[[noreturn]] void has_none(const Request &request, const std::string &what) {
    throw Failure(Exit::failed, fmt::format("{}: has no {}", path_text(request.path), what));
}

void extract_stream(const Request &request, const InputFile &file, const WalkOptions &options,
                    Extraction &extraction) {
    StreamPayloads payloads(*request.stream, extraction);
    walk_chunks(file, payloads, options);
    if (payloads.chunks() == 0 && !interrupted()) {
        has_none(request, fmt::format("chunk of stream {}", *request.stream));
    }
}

void extract_chunk(const Request &request, const InputFile &file, const WalkOptions &options,
                   Extraction &extraction) {
    const std::int64_t pos = position_from_text("--chunk", *request.chunk);
    const Holder holder = holder_of(file, pos, options);
    if (interrupted()) return;
    if (!holder.chunk || holder.chunk->chunk.pos != pos) {
        const std::string place =
            holder.chunk ? fmt::format(": {} holds that byte", at(holder.chunk->chunk)) : "";
        has_none(request, fmt::format("chunk that begins at 0x{:x}{}", pos, place));
    }
    Chunk chunk = holder.chunk->chunk;
    // Where a list's size misleads, what it holds is less or more than it declares.
    if (chunk.type.value != 0 && chunk.payload() + chunk.declared <= file.size()) {
        chunk.held = chunk.declared;
    }
    extraction.payload(chunk);
}

void extract_part(const Request &request, const InputFile &file, const AviReaderState &reader,
                  const WalkOptions &options, Extraction &extraction) {
    const Part part = request.data        ? Part::data
                      : request.menu      ? Part::menu
                      : request.form_menu ? Part::form_menu
                                          : Part::stream_data;
    const std::vector<FoundChunk> found =
        find_part(file, &reader, part, request.stream_data.value_or(-1), options);
    if (interrupted()) return;
    if (found.empty()) {
        has_none(request, part == Part::data   ? "data chunk"
                          : part == Part::menu ? "menu in its first form"
                          : part == Part::form_menu
                              ? "menu form with a menu"
                              : fmt::format("data of stream {}", *request.stream_data));
    }
    const Chunk &chunk = found.front().chunk;
    part == Part::stream_data ? extraction.stream_data(chunk) : extraction.payload(chunk);
}

// A shell can have opened it for that: "sorn-tool extract film.avi ... -o - >> film.avi".
void require_other_output(const std::string &input, const std::string &output) {
    if (output != "-") {
        require_other_file(input, output);
        return;
    }
    struct stat in {};
    struct stat out {};
    const bool same = stat(input.c_str(), &in) == 0 && fstat(STDOUT_FILENO, &out) == 0 &&
                      S_ISREG(out.st_mode) && in.st_dev == out.st_dev && in.st_ino == out.st_ino;
    if (same) throw Failure(Exit::usage, "standard output is the file that is read");
}

void extract(const Request &request, const InputFile &file, const AviReaderState &reader,
             const Plugin &plugin, Output &output) {
    Progress progress(file.size(), request.given.shows_progress());
    const WalkOptions options = {.on_progress = [&](std::int64_t pos) { progress.show(pos); },
                                 .stop = interrupted};
    Extraction extraction(request, file, plugin, output, progress);
    if (request.stream) {
        extract_stream(request, file, options, extraction);
    } else if (request.chunk) {
        extract_chunk(request, file, options, extraction);
    } else {
        extract_part(request, file, reader, options, extraction);
    }
}

Exit run(const Request &request) {
    if (request.asked() != 1) {
        throw Failure(Exit::usage,
                      "say one thing to take: --stream, --data, --menu, --form-menu, "
                      "--stream-data or --chunk");
    }
    note_interrupts();
    const InputFile file(request.path);
    require_other_output(request.path, request.output);
    AviRefusal refusal{};
    const AviReader reader(aviin_open(request.path.c_str(), 0, &refusal));
    if (reader == nullptr) {
        throw Failure(Exit::refused,
                      fmt::format("{}: {}", path_text(request.path), refused_text(refusal, file)));
    }
    const Plugin plugin(request.plugin.empty() ? default_plugin() : request.plugin);
    Output output(request.output);
    extract(request, file, *reader, plugin, output);
    if (interrupted()) fail_interrupted(request.path);
    output.finish();
    return Exit::success;
}

}  // namespace

void add_extract(CLI::App &app, Exit &status) {
    CLI::App *command =
        app.add_subcommand("extract", "Take a stream or a chunk's payload out of a file");
    const auto request = std::make_shared<Request>();
    add_file(*command, request->path);
    command->add_option("--stream", request->stream, "Take this stream's payloads, in file order")
        ->option_text("N")
        ->check(CLI::Range(0, 99));
    command->add_flag("--data", request->data, "Take the data chunk");
    command->add_flag("--menu", request->menu, "Take the menu of the first form");
    command->add_flag("--form-menu", request->form_menu, "Take the menu of the menu form");
    command->add_option("--stream-data", request->stream_data, "Take this stream's data")
        ->option_text("N")
        ->check(CLI::Range(0, 99));
    command
        ->add_option("--chunk", request->chunk, "Take the payload of the chunk that begins there")
        ->option_text("OFFSET");
    command
        ->add_option("-o,--output", request->output, "The file to write, or - for standard output")
        ->required();
    command->add_option("--plugin", request->plugin,
                        "The plug-in to load (default: the one beside this program)");
    add_no_progress(*command, request->given);
    command->callback([request, &status] { status = run(*request); });
}
