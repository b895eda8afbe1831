// sorn-tool play: reads a file through the plug-in as a player does, and sums up what it saw.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "chunks/stream_clock.h"
#include "chunks/stream_words.h"
#include "commands/command.h"
#include "commands/given.h"
#include "findings/refusal_text.h"
#include "plugin/player.h"
#include "plugin/plugin_file.h"
#include "terminal/interrupt.h"
#include "terminal/progress.h"
#include "terminal/text.h"
#include "terminal/utf8.h"

namespace {

using Json = nlohmann::ordered_json;

struct Request {
    Given given;
    std::string plugin;
    bool verify = false;
    bool log = false;
    bool json = false;
};

// What became of a file.
struct Outcome {
    Exit status = Exit::success;
    std::string sentence = "everything agreed";  // or the first thing that did not
};

// Seconds by the stream's own clock, or none.
std::optional<double> play_time(const AviStreamRecord &stream, const ChunkTally &played) {
    const StreamClock clock = clock_of(stream);
    if (!clock.runs()) return std::nullopt;
    return clock.seconds(played.chunks, played.bytes);
}

using Row = std::array<std::string, 7>;

Row stream_row(const AviReaderState &reader, std::size_t number, const ChunkTally &played) {
    const AviStreamRecord &stream = reader.streams[number];
    const std::optional<double> time = play_time(stream, played);
    return {std::to_string(number),     kind_text(stream),         format_text(reader, stream),
            with_commas(played.chunks), with_commas(played.bytes), time ? time_text(*time) : "-",
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

void print_summary(const std::string &path, const Request &request, const InputFile &file,
                   const AviReaderState *reader, const Playback &playback, double seconds) {
    fmt::print("{}: {}, {}\n\n", path_text(path),
               size_text(static_cast<std::uint64_t>(file.size())),
               count_of(playback.forms, "top-level form"));
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

Outcome outcome_of(const Playback &playback) {
    if (playback.disagreements != 0) {
        return {Exit::disagreed,
                fmt::format("{}, the first: {}", count_of(playback.disagreements, "disagreement"),
                            playback.first_disagreement)};
    }
    if (playback.interrupted) return {Exit::interrupted, "interrupted"};
    if (!playback.missing.empty()) return {Exit::cut_short, "cut short: " + playback.missing};
    return {};
}

// A word that scripts may depend on.
const char *outcome_word(Exit status) {
    switch (status) {
    case Exit::success:
        return "agreed";
    case Exit::refused:
        return "refused";
    case Exit::cut_short:
        return "cut_short";
    case Exit::unreadable:
        return "unreadable";
    case Exit::interrupted:
        return "interrupted";
    default:
        return "disagreed";
    }
}

Json stream_json(const AviReaderState *reader, std::size_t number, const ChunkTally &played) {
    const bool described =
        reader != nullptr && number < static_cast<std::size_t>(reader->stream_count);
    Json json = {{"number", number},  {"kind", nullptr},         {"format", nullptr},
                 {"name", nullptr},   {"chunks", played.chunks}, {"bytes", played.bytes},
                 {"seconds", nullptr}};
    if (!described) return json;
    const AviStreamRecord &stream = reader->streams[number];
    const std::string name = name_text(*reader, stream);
    json["kind"] = kind_text(stream);
    json["format"] = format_text(*reader, stream);
    if (!name.empty()) json["name"] = name;
    if (const std::optional<double> time = play_time(stream, played)) json["seconds"] = *time;
    return json;
}

Json streams_json(const AviReaderState *reader, const Playback &playback) {
    Json streams = Json::array();
    for (std::size_t i = 0; i < playback.streams.size(); ++i) {
        const bool described =
            reader != nullptr && i < static_cast<std::size_t>(reader->stream_count);
        const ChunkTally &played = playback.streams[i];
        if (described || played.chunks > 0) streams.push_back(stream_json(reader, i, played));
    }
    return streams;
}

Json outcome_json(const std::string &path, const Outcome &outcome) {
    return {{"format_version", 1},
            {"file", json_path(path)},
            {"outcome", outcome_word(outcome.status)},
            {"sentence", outcome.sentence}};
}

void print_json(const Json &json) {
    fmt::print("{}\n", json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void print_json(const std::string &path, const Request &request, const InputFile &file,
                const AviReaderState *reader, const Playback &playback) {
    Json json = outcome_json(path, outcome_of(playback));
    json["file_size"] = file.size();
    json["forms"] = playback.forms;
    json["streams"] = streams_json(reader, playback);
    json["other"] = {{"chunks", playback.other.chunks}, {"bytes", playback.other.bytes}};
    json["recognised"] = {{"audio", playback.audio_reads}, {"video", playback.video_reads}};
    json["delivered"] = playback.delivered;
    json["verified"] = request.verify;
    json["disagreements"] = playback.disagreements;
    print_json(json);
}

// The plug-in tells no reason; its reader does.
Failure with_reason(const Failure &failure, const std::string &path, const InputFile &file) {
    AviRefusal refusal{};
    const AviReader record(aviin_open(path.c_str(), 0, &refusal));
    if (failure.status() != Exit::refused || record != nullptr) return failure;
    return {Exit::refused, fmt::format("{}: {}", failure.what(), refused_text(refusal, file))};
}

Playback play_through(const Plugin &plugin, const std::string &path, const Request &request,
                      const InputFile &file) {
    Progress progress(file.size(), request.given.shows_progress() && !request.log);
    try {
        return play(plugin, {.path = path,
                             .file = &file,
                             .verify = request.verify,
                             .on_progress = [&](std::int64_t pos) { progress.show(pos); },
                             .stop = interrupted});
    } catch (const Failure &failure) {
        throw with_reason(failure, path, file);
    }
}

Outcome play_file(const Plugin &plugin, const std::string &path, const Request &request,
                  bool first) {
    const InputFile file(path);
    const auto start = std::chrono::steady_clock::now();
    Playback playback = play_through(plugin, path, request, file);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;

    const AviReader record(aviin_open(path.c_str(), 0));
    if (record == nullptr) add_disagreement(playback, "the reader refuses what the plug-in opens");
    if (request.json) {
        print_json(path, request, file, record.get(), playback);
    } else if (!request.given.quiet) {
        if (!first) fmt::print("\n");
        print_summary(path, request, file, record.get(), playback, took.count());
    }
    flush_output();
    const Outcome outcome = outcome_of(playback);
    if (outcome.status != Exit::success) complain(path_text(path) + ": " + outcome.sentence);
    return outcome;
}

Exit run(const Request &request) {
    const Plugin plugin(request.plugin.empty() ? default_plugin() : request.plugin);
    print_messages(request.log);
    note_interrupts();
    CommonExit status;
    bool first = true;
    for (const auto &[path, within] : files_of(request.given, status)) {
        try {
            const Outcome outcome = play_file(plugin, path, request, first);
            if (outcome.status == Exit::interrupted) return Exit::interrupted;
            status.add(outcome.status);
            first = false;
        } catch (const Failure &failure) {
            if (request.json) print_json(outcome_json(path, {failure.status(), failure.what()}));
            complain(failure.what());
            status.add(failure.status());
        }
    }
    return status.status();
}

}  // namespace

void add_play(CLI::App &app, Exit &status) {
    CLI::App *command =
        app.add_subcommand("play", "Read a file whole through the plug-in, as a player does");
    const auto request = std::make_shared<Request>();
    add_files(*command, request->given)->required();
    command->add_option("--plugin", request->plugin,
                        "The plug-in to load (default: the one beside this program)");
    command->add_flag("--verify", request->verify,
                      "Compare what is delivered with the file read directly");
    command->add_flag("--log", request->log, "Print the plug-in's messages to standard error");
    CLI::Option *json =
        command->add_flag("--json", request->json, "Print a line of JSON for each file");
    add_quiet(*command, request->given, "Print no summary: only what went wrong is told")
        ->excludes(json);
    add_no_progress(*command, request->given);
    command->callback([request, &status] { status = run(*request); });
}
