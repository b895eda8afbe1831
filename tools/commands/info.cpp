// sorn-tool info: what the reader knows of each file, for people or as JSON Lines.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "chunks/input_file.h"
#include "chunks/stream_words.h"
#include "commands/command.h"
#include "commands/given.h"
#include "commands/record_json.h"
#include "findings/refusal_text.h"
#include "terminal/text.h"

namespace {

struct Request {
    Given given;
    bool json = false;
};

// The record, or none after a line that says why.
AviReader open_record(const std::string &path) {
    try {
        const InputFile file(path);
        AviRefusal refusal{};
        AviReader record(aviin_open(path.c_str(), 0, &refusal));
        if (record == nullptr) {
            complain(fmt::format("{}: {}", path_text(path), refused_text(refusal, file)));
        }
        return record;
    } catch (const Failure &failure) {
        complain(failure.what());
        return nullptr;
    }
}

template <typename... Values>
void line(const char *label, fmt::format_string<Values...> format, Values &&...values) {
    fmt::print("{:<13} {}\n", label, fmt::format(format, std::forward<Values>(values)...));
}

std::uint64_t unsigned_of(std::int64_t number) {
    return static_cast<std::uint64_t>(number);
}

void print_main_header(const AviReaderState &reader) {
    const AviMainHeader &header = reader.main_header;
    std::string rate = "no frame rate";
    if (header.microseconds_per_frame != 0) {
        rate = short_number(1e6 / header.microseconds_per_frame) + " fps";
    }
    std::string frames = count_of(header.total_frames, "frame");
    if (reader.total_frames_ext != 0) {
        frames += fmt::format(" ({} over all forms)", with_commas(reader.total_frames_ext));
    }
    line("Main header", "{}x{}, {}, {}, {}", header.width,
         std::abs(static_cast<std::int64_t>(static_cast<std::int32_t>(header.height))), rate,
         frames, count_of(header.streams, "stream"));
    line("", "flags 0x{:x}, at most {} bytes/s, buffer of {}", header.flags,
         with_commas(header.max_bytes_per_second), count_of(header.suggested_buffer_size, "byte"));
}

void print_stream_data(const VideoTrack &row) {
    if (row.has_stream_data == 0) return;
    line("", "stream data: {} at 0x{:x}, word 0x{:08x}", count_of(row.stream_data_size, "byte"),
         row.stream_data_pos, row.stream_data_word);
}

void print_stream(const AviReaderState &reader, std::int32_t number) {
    const AviStreamRecord &stream = reader.streams[number];
    const AviStreamHeader &header = stream.header;
    const std::string name = name_text(reader, stream);
    line(fmt::format("Stream {}", number).c_str(), "{}, {}{}{}", kind_text(stream),
         format_text(reader, stream), name.empty() ? "" : ", named ", name);
    line("", "handler {}, scale {}, rate {}, start {}, length {}, sample size {}",
         text_of(header.handler), header.scale, header.rate, header.start, header.length,
         header.sample_size);
    if (stream.kind == ChunkKind::compressed_video) {
        print_stream_data(reader.video.rows[stream.track]);
    }
}

void print_super_indexes(const AviReaderState &reader) {
    for (std::size_t i = 0; i < kAviSuperIndexes; ++i) {
        if (reader.super_index_pos[i] == 0) continue;
        const SuperIndexInfo &info = reader.super_index[i];
        line("Super index", "stream {} at 0x{:x}: {} in use for {}, type {}/{}, {} per entry", i,
             reader.super_index_pos[i], info.entries_in_use, text_of(info.chunk_id),
             info.index_type, info.index_subtype, count_of(info.longs_per_entry, "long"));
    }
}

// The record has the position of what follows the header.
void print_list(const char *label, std::int64_t pos, std::uint32_t header, const AviBlob &blob,
                const char *id) {
    if (pos == 0) return;
    if (blob.present == 0) {
        line(label, "at 0x{:x}, without a {} chunk", pos - header, id);
    } else {
        line(label, "at 0x{:x}, {} chunk of {}", pos - header, id, count_of(blob.size, "byte"));
    }
}

void print_positions(const AviReaderState &reader) {
    line("Media", "first chunk at 0x{:x}", reader.movi_pos);
    if (reader.index_pos == 0) {
        line("Index", "none in the first form");
    } else {
        line("Index", "at 0x{:x}", reader.index_pos);
    }
}

// By the longest stream's header: the media are not read.
void print_duration(const AviReaderState &reader) {
    double seconds = 0;
    for (std::int32_t i = 0; i < reader.stream_count; ++i) {
        seconds = std::max(seconds, seconds_of(reader.streams[i].header));
    }
    if (seconds == 0) {
        line("Duration", "not told by the headers");
        return;
    }
    line("Duration", "{}, {} kbit/s", time_text(seconds),
         short_number(static_cast<double>(reader.stream.size) / seconds / 125));
}

// The reader counts the forms in menus, too.
std::string forms_text(const AviReaderState &reader) {
    const bool menus = reader.menu_list_present != 0 || reader.form_menu_pos != 0;
    return count_of(reader.form_count, "form") + (menus ? ", those in menus included" : "");
}

void print_record(const std::string &path, const AviReaderState &reader) {
    fmt::print("{}: {}, {}\n", path_text(path), count_of(unsigned_of(reader.stream.size), "byte"),
               forms_text(reader));
    print_duration(reader);
    print_main_header(reader);
    for (std::int32_t i = 0; i < reader.stream_count; ++i) print_stream(reader, i);
    print_super_indexes(reader);
    print_list("Data list", reader.data_list_pos, kListHeaderSize, reader.data_blob, "MTDA");
    print_list("Menu list", reader.menu_list_pos, kListHeaderSize, reader.menu_blob, "MENU");
    print_list("Menu form", reader.form_menu_pos, 2 * kListHeaderSize, reader.form_menu_blob,
               "MENU");
    print_positions(reader);
}

Exit run(const Request &request) {
    CommonExit folders;
    bool first = true;
    const std::vector<GivenFile> files = files_of(request.given, folders);
    Exit status = folders.status() == Exit::success ? Exit::success : Exit::disagreed;
    for (const auto &[path, within] : files) {
        const AviReader record = open_record(path);
        if (record == nullptr) status = Exit::disagreed;
        if (request.json) {
            fmt::print("{}\n", record_json(path, record.get()));
        } else if (record != nullptr) {
            fmt::print("{}", first ? "" : "\n");
            print_record(path, *record);
            first = false;
        }
    }
    return status;
}

}  // namespace

void add_info(CLI::App &app, Exit &status) {
    CLI::App *command = app.add_subcommand("info", "Show what the reader knows of files");
    const auto request = std::make_shared<Request>();
    add_files(*command, request->given)->required();
    command->add_flag("--json", request->json, "Print a line of JSON for each file");
    command->callback([request, &status] { status = run(*request); });
}
