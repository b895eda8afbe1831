// sorn-tool play: reads a file through the plug-in as a player does, and sums up what it saw.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "command.h"
#include "formats.h"
#include "interrupt.h"
#include "player.h"
#include "progress.h"
#include "text.h"

namespace {

struct Request {
    std::string file;
    std::string plugin;
    bool verify = false;
    bool log = false;
    bool no_progress = false;
};

// The plug-in does not know where it is beyond, and so not what it reads.
constexpr std::int64_t kFarthestTold = 2147483647;

// By AVI's own clock: a sample lasts scale / rate seconds, and is a chunk where the header gives no
// size for it.
std::string play_time(const AviStreamHeader &header, const ChunkTally &played) {
    if (header.rate == 0 || header.scale == 0) return "-";
    const double samples = header.sample_size == 0
                               ? static_cast<double>(played.chunks)
                               : static_cast<double>(played.bytes) / header.sample_size;
    return time_text(samples * header.scale / header.rate);
}

using Row = std::array<std::string, 7>;

Row stream_row(const AviReaderState &reader, std::size_t number, const ChunkTally &played) {
    const AviStreamRecord &stream = reader.streams[number];
    const bool timed =
        stream.kind == ChunkKind::audio || stream.kind == ChunkKind::compressed_video;
    return {std::to_string(number),      kind_text(stream),
            format_text(reader, stream), with_commas(played.chunks),
            with_commas(played.bytes),   timed ? play_time(stream.header, played) : "-",
            name_text(reader, stream)};
}

Row unnamed_row(const std::string &number, const char *kind, const ChunkTally &played) {
    return {number, kind, "-", with_commas(played.chunks), with_commas(played.bytes), "-", ""};
}

std::vector<Row> stream_rows(const AviReaderState *reader, const Playback &playback) {
    std::vector<Row> rows{{"#", "kind", "format", "chunks", "bytes", "play time", "name"}};
    const std::size_t described =
        reader == nullptr ? 0 : static_cast<std::size_t>(reader->stream_count);
    for (std::size_t i = 0; i < playback.streams.size(); ++i) {
        const ChunkTally &played = playback.streams[i];
        if (i < described) {
            rows.push_back(stream_row(*reader, i, played));
        } else if (played.chunks > 0) {
            rows.push_back(unnamed_row(std::to_string(i), "not described", played));
        }
    }
    if (playback.other.chunks > 0) {
        rows.push_back(unnamed_row("-", "other chunks", playback.other));
    }
    return rows;
}

void print_table(const std::vector<Row> &rows) {
    std::array<std::size_t, std::tuple_size_v<Row>> widths{};
    for (const Row &row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    for (const Row &r : rows) {
        std::string line = fmt::format("  {:>{}}  {:<{}}  {:<{}}  {:>{}}  {:>{}}  {:>{}}  {}", r[0],
                                       widths[0], r[1], widths[1], r[2], widths[2], r[3], widths[3],
                                       r[4], widths[4], r[5], widths[5], r[6]);
        line.erase(line.find_last_not_of(' ') + 1);
        fmt::print("{}\n", line);
    }
}

void print_summary(const Request &request, const InputFile &file, const AviReaderState *reader,
                   const Playback &playback, double seconds) {
    fmt::print("{}: {}, {}\n\n", path_text(request.file),
               size_text(static_cast<std::uint64_t>(file.size())),
               count_of(playback.forms, "form"));
    print_table(stream_rows(reader, playback));
    fmt::print("\n");
    fmt::print("Recognised  {}, {}{}\n", count_of(playback.audio_reads, "audio read"),
               count_of(playback.video_reads, "video read"),
               file.size() > kFarthestTold ? " (none can be past 2 GiB)" : "");
    fmt::print("Delivered   {} in {:.2f} s, {}/s{}\n", count_of(playback.delivered, "byte"),
               seconds,
               size_text(static_cast<std::uint64_t>(static_cast<double>(playback.delivered) /
                                                    std::max(seconds, 1e-6))),
               request.verify && playback.disagreements == 0 ? ", all as in the file" : "");
    const char *outcome = playback.interrupted          ? "stopped before the end"
                          : playback.disagreements != 0 ? "something disagreed"
                          : !playback.missing.empty()   ? "the file is cut short"
                                                        : "everything agreed";
    fmt::print("Outcome     {}\n", outcome);
}

void add_disagreement(Playback &playback, const char *what) {
    if (playback.disagreements++ == 0) playback.first_disagreement = what;
}

Exit judge(const Request &request, const Playback &playback) {
    const std::string path = path_text(request.file);
    if (playback.disagreements != 0) {
        complain(fmt::format("{}: {}, the first: {}", path,
                             count_of(playback.disagreements, "disagreement"),
                             playback.first_disagreement));
        return Exit::disagreed;
    }
    if (playback.interrupted) {
        complain(fmt::format("{}: interrupted", path));
        return Exit::interrupted;
    }
    if (!playback.missing.empty()) {
        complain(fmt::format("{}: cut short: {}", path, playback.missing));
        return Exit::cut_short;
    }
    return Exit::success;
}

Exit run(const Request &request) {
    const InputFile file(request.file);
    const Plugin plugin(request.plugin.empty() ? default_plugin() : request.plugin);
    print_messages(request.log);
    note_interrupts();

    const auto start = std::chrono::steady_clock::now();
    Playback playback;
    {
        Progress progress(file.size(), !request.no_progress && !request.log);
        playback = play(plugin, {.path = request.file,
                                 .file = &file,
                                 .verify = request.verify,
                                 .on_progress = [&](std::int64_t pos) { progress.show(pos); },
                                 .stop = interrupted});
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;

    const AviReader record(aviin_open(request.file.c_str(), 0));
    if (record == nullptr) add_disagreement(playback, "the reader refuses what the plug-in opens");
    print_summary(request, file, record.get(), playback, took.count());
    std::fflush(stdout);
    return judge(request, playback);
}

}  // namespace

void add_play(CLI::App &app, Exit &status) {
    CLI::App *command =
        app.add_subcommand("play", "Read a file whole through the plug-in, as a player does");
    const auto request = std::make_shared<Request>();
    command->add_option("FILE", request->file, "The AVI file")->required();
    command->add_option("--plugin", request->plugin,
                        "The plug-in to load (default: the one beside this program)");
    command->add_flag("--verify", request->verify,
                      "Compare what is delivered with the file read directly");
    command->add_flag("--log", request->log, "Print the plug-in's messages to standard error");
    command->add_flag("--no-progress", request->no_progress, "Show no progress bar");
    command->callback([request, &status] { status = run(*request); });
}
