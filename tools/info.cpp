// sorn-tool info: what the reader knows of each file, for people or as JSON Lines.
#include <cstdio>
#include <optional>
#include <vector>

#include "avi_reader/avi_reader.h"
#include "command.h"
#include "formats.h"
#include "input_file.h"
#include "record_json.h"
#include "text.h"

namespace {

struct Request {
    std::vector<std::string> files;
    bool json = false;
};

// The record, or none after a line that says why.
AviReader open_record(const std::string &path) {
    try {
        const InputFile readable(path);
    } catch (const Failure &failure) {
        complain(failure.what());
        return nullptr;
    }
    AviReader record(aviin_open(path.c_str(), 0));
    if (record == nullptr) complain(path_text(path) + ": not an AVI file that can be opened");
    return record;
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
    line("Main header", "{}x{}, {}, {}, {}", header.width, header.height, rate, frames,
         count_of(header.streams, "stream"));
    line("", "flags 0x{:x}, at most {} bytes/s, buffer of {}", header.flags,
         with_commas(header.max_bytes_per_second), count_of(header.suggested_buffer_size, "byte"));
}

void print_stream_data(const VideoTrack &row) {
    if (row.has_stream_data == 0) return;
    line("", "stream data: {} at {}, word 0x{:08x}", count_of(row.stream_data_size, "byte"),
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
        line("Super index", "stream {} at {}: {} in use for {}, type {}/{}, {} per entry", i,
             reader.super_index_pos[i], info.entries_in_use, text_of(info.chunk_id),
             info.index_type, info.index_subtype, count_of(info.longs_per_entry, "long"));
    }
}

void print_list(const char *label, std::int64_t pos, const AviBlob &blob, const char *id) {
    if (pos == 0) return;
    if (blob.present == 0) {
        line(label, "at {}, without a {} chunk", pos, id);
    } else {
        line(label, "at {}, {} chunk of {}", pos, id, count_of(blob.size, "byte"));
    }
}

void print_positions(const AviReaderState &reader) {
    line("Media", "first chunk at {}", with_commas(unsigned_of(reader.movi_pos)));
    if (reader.index_pos == 0) {
        line("Index", "none in the first form");
    } else {
        line("Index", "at {}", with_commas(unsigned_of(reader.index_pos)));
    }
}

void print_record(const std::string &path, const AviReaderState &reader) {
    fmt::print("{}: {}, {}\n", path_text(path), count_of(unsigned_of(reader.stream.size), "byte"),
               count_of(reader.form_count, "form"));
    print_main_header(reader);
    for (std::int32_t i = 0; i < reader.stream_count; ++i) print_stream(reader, i);
    print_super_indexes(reader);
    print_list("Data list", reader.data_list_pos, reader.data_blob, "MTDA");
    print_list("Menu list", reader.menu_list_pos, reader.menu_blob, "MENU");
    print_list("Menu form", reader.form_menu_pos, reader.form_menu_blob, "MENU");
    print_positions(reader);
}

Exit run(const Request &request) {
    Exit status = Exit::success;
    bool first = true;
    for (const std::string &path : request.files) {
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
    command->add_option("FILE", request->files, "AVI files")->required();
    command->add_flag("--json", request->json, "Print a line of JSON for each file");
    command->callback([request, &status] { status = run(*request); });
}
