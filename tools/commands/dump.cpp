// sorn-tool dump: the bytes of a chunk, as fields where its layout is known.
#include <unistd.h>

#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "chunks/chunk_fields.h"
#include "chunks/named_chunk.h"
#include "commands/command.h"
#include "commands/field_text.h"
#include "commands/given.h"
#include "terminal/interrupt.h"
#include "terminal/progress.h"
#include "terminal/text.h"

namespace {

struct Request {
    Given given;
    std::string path;
    std::string what;
    std::optional<std::int64_t> length;
};

struct PartWord {
    std::string_view word;
    Part part;
    bool of_stream;
    const char *missing;
};
constexpr auto kParts = std::to_array<PartWord>({
    {"data", Part::data, false, "has no data chunk"},
    {"menu", Part::menu, false, "has no menu in its first form"},
    {"form-menu", Part::form_menu, false, "has no menu form with a menu"},
    {"index", Part::index, false, "has no index in its first form"},
    {"header", Part::main_header, false, "has no main header"},
    {"header", Part::stream_header, true, "has no header of stream"},
    {"stream-data", Part::stream_data, true, "has no data of stream"},
});

// A word, and behind a colon the number of a stream.
struct Asked {
    const PartWord *part;
    int number = -1;
};

std::optional<Asked> part_from_text(std::string_view text) {
    const std::size_t colon = text.find(':');
    const std::string_view word = text.substr(0, colon);
    const bool numbered = colon != std::string_view::npos;
    for (const PartWord &part : kParts) {
        if (part.word != word || part.of_stream != numbered) continue;
        Asked asked{&part};
        if (!numbered) return asked;
        const char *end = text.data() + text.size();
        const auto result = std::from_chars(text.data() + colon + 1, end, asked.number);
        if (result.ec == std::errc() && result.ptr == end && asked.number >= 0) return asked;
    }
    return std::nullopt;
}

class Dump {
public:
    Dump(const InputFile &file, Progress &progress)
        : file_(file), progress_(progress), digits_(fmt::formatted_size("{:x}", file.size())) {}

    void heading(const FoundChunk &found) const {
        const Chunk &chunk = found.chunk;
        std::string size = count_of(chunk.declared, "byte");
        if (chunk.held != chunk.declared) {
            size += fmt::format(" declared, {} there",
                                with_commas(static_cast<std::uint64_t>(chunk.held)));
        }
        const std::string type =
            chunk.type.value == 0 ? "" : fmt::format(" {}", text_of(chunk.type));
        fmt::print("{}  {}{}  {}  {}\n", position_text(chunk.pos), text_of(chunk.id), type, size,
                   chunk_words(chunk, found.parents));
    }

    // What lies between these positions, of a chunk that holds them.
    void show_chunk(const FoundChunk &found, std::int64_t from, std::int64_t to) {
        const auto take = [&](const Record &record) {
            const auto size = static_cast<std::int64_t>(record.bytes.size());
            if (record.pos + size > from) show(record, from, to);
            return record.pos + size < to && !interrupted();
        };
        if (!take_header(file_, found.chunk, take)) return;
        const std::int64_t rest = take_payload(file_, found.chunk, found.parents, take);
        bytes(std::max(rest, from), to, "");
    }

    // The same, of 16 bytes a line; lines that are like the one before are a star, as zeros that no
    // disk holds are not read.
    void bytes(std::int64_t from, std::int64_t to, const std::string &name) {
        if (from >= to) return;
        std::array<unsigned char, kLine> last{};
        bool starred = false;
        for (std::int64_t pos = from; pos < to && !interrupted(); pos += kLine) {
            std::array<unsigned char, kLine> line{};
            const auto size = static_cast<std::size_t>(std::min<std::int64_t>(to - pos, kLine));
            const std::size_t got = file_.read(line.data(), size, pos);
            progress_.show(pos);
            if (pos > from && got == kLine && line == last) {
                if (!starred) fmt::print("*\n");
                starred = true;
                if (line == decltype(line){}) pos = skip_hole(pos, to);
                continue;
            }
            starred = false;
            last = line;
            print_line(pos, std::span(line).first(got), pos == from ? name : "");
            if (got < size) return;
        }
        if (starred) fmt::print("{}\n", position_text(to));
    }

private:
    static constexpr std::int64_t kLine = 16;

    [[nodiscard]] std::string position_text(std::int64_t pos) const {
        return fmt::format("0x{:0{}x}", pos, digits_);
    }

    void show(const Record &record, std::int64_t from, std::int64_t to) {
        if (record.entry < 0 && record.layout.front().width == 0) {
            const std::int64_t end = record.pos + static_cast<std::int64_t>(record.bytes.size());
            bytes(std::max(from, record.pos), std::min(to, end),
                  std::string(record.layout.front().name));
            return;
        }
        if (record.entry >= 0) {
            print(record.pos, entry_line(record));
            return;
        }
        std::int64_t shown = record.pos;
        for_each_field(record, [&](const FieldValue &field) {
            shown = field.pos + static_cast<std::int64_t>(field.bytes.size());
            if (shown > from && field.pos < to) print(field.pos, field_line(field));
        });
        // A field of which the file has a part.
        bytes(std::max(from, shown),
              std::min(to, record.pos + static_cast<std::int64_t>(record.bytes.size())), "");
    }

    void print(std::int64_t pos, const std::string &line) const {
        fmt::print("{}  {}\n", position_text(pos), line);
    }

    void print_line(std::int64_t pos, std::span<const unsigned char> line,
                    const std::string &name) const {
        std::string text(line.begin(), line.end());
        for (char &c : text) c = c >= 0x20 && c < 0x7f ? c : '.';
        fmt::print("{}  {:<{}}  |{}|{}{}\n", position_text(pos),
                   fmt::format("{:02x}", fmt::join(line, " ")), 3 * kLine - 1, text,
                   name.empty() ? "" : "  ", name);
    }

    // The last line that lies in the same hole of the file.
    [[nodiscard]] std::int64_t skip_hole(std::int64_t pos, std::int64_t to) const {
        const std::int64_t data = std::min(file_.data_after(pos), to);
        return std::max(pos, pos + (data - pos) / kLine * kLine - kLine);
    }

    const InputFile &file_;
    Progress &progress_;
    std::size_t digits_;
};

// A form or list ends for this with its header: what it holds are chunks of their own.
std::int64_t end_of(const Chunk &chunk, std::int64_t file_size) {
    const std::int64_t end = chunk.type.value != 0 ? chunk.pos + kListHeaderSize : chunk.end();
    return std::min(end, file_size);
}

// With a length, the dump of a list goes on through what it holds.
std::int64_t end_of(const Request &request, const Chunk &chunk, std::int64_t from,
                    std::int64_t file_size) {
    if (!request.length) return end_of(chunk, file_size);
    const std::int64_t end = std::min(chunk.end(), file_size);
    return *request.length < end - from ? from + *request.length : end;
}

void dump_position(const Request &request, const InputFile &file, std::int64_t pos,
                   const WalkOptions &options, Dump &dump) {
    if (pos >= file.size()) {
        throw Failure(Exit::usage, fmt::format("{}: ends at 0x{:x}, before 0x{:x}",
                                               path_text(request.path), file.size(), pos));
    }
    const Holder holder = holder_of(file, pos, options);
    if (interrupted()) return;
    if (holder.chunk) {
        dump.heading(*holder.chunk);
        dump.show_chunk(*holder.chunk, pos, end_of(request, holder.chunk->chunk, pos, file.size()));
        return;
    }
    fmt::print("no chunk is here\n");
    const std::int64_t room = holder.end - pos;
    dump.bytes(pos, pos + std::min(room, request.length.value_or(room)), "");
}

void dump_part(const Request &request, const InputFile &file, const Asked &asked,
               const WalkOptions &options, Dump &dump) {
    const AviReader record(aviin_open(request.path.c_str(), 0));
    const std::vector<FoundChunk> chunks =
        find_part(file, record.get(), asked.part->part, asked.number, options);
    if (interrupted()) return;
    if (chunks.empty()) {
        const std::string number = asked.number < 0 ? "" : fmt::format(" {}", asked.number);
        throw Failure(Exit::failed, fmt::format("{}: {}{}", path_text(request.path),
                                                asked.part->missing, number));
    }
    for (const FoundChunk &found : chunks) {
        if (&found != &chunks.front()) fmt::print("\n");
        dump.heading(found);
        const std::int64_t pos = found.chunk.pos;
        dump.show_chunk(found, pos, end_of(request, found.chunk, pos, file.size()));
    }
}

Exit run(const Request &request) {
    const std::optional<Asked> asked = part_from_text(request.what);
    const std::int64_t pos = asked ? 0 : position_from_text("WHAT", request.what);
    note_interrupts();
    const InputFile file(request.path);
    {
        Progress progress(file.size(),
                          request.given.shows_progress() && isatty(STDOUT_FILENO) == 0);
        const WalkOptions options = {.on_progress = [&](std::int64_t at) { progress.show(at); },
                                     .stop = interrupted};
        Dump dump(file, progress);
        asked ? dump_part(request, file, *asked, options, dump)
              : dump_position(request, file, pos, options, dump);
    }
    flush_output();
    if (interrupted()) fail_interrupted(request.path);
    return Exit::success;
}

}  // namespace

void add_dump(CLI::App &app, Exit &status) {
    CLI::App *command = app.add_subcommand(
        "dump", "Show the bytes of a chunk, and its fields where they are known");
    const auto request = std::make_shared<Request>();
    add_file(*command, request->path);
    command
        ->add_option("WHAT", request->what,
                     "A position (0x138), data, menu, form-menu, stream-data:N, header, header:N "
                     "or index")
        ->required();
    command->add_option("--length", request->length, "Show so many bytes at most")
        ->option_text("N")
        ->check(CLI::PositiveNumber);
    add_no_progress(*command, request->given);
    command->callback([request, &status] { status = run(*request); });
}
