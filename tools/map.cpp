// sorn-tool map: a picture of how a file is laid out.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "avi_reader/avi_reader.h"
#include "command.h"
#include "interrupt.h"
#include "map_picture.h"
#include "progress.h"
#include "refusal_text.h"
#include "text.h"

namespace {

namespace fs = std::filesystem;

struct Request {
    std::string file;
    std::string output;
    bool no_progress = false;
};

// Both see each chunk: the file is walked once.
class Both : public ChunkVisitor {
public:
    Both(ChunkVisitor &first, ChunkVisitor *second) : first_(first), second_(second) {}

    void enter(const Chunk &list, Parents parents) override {
        first_.enter(list, parents);
        if (second_ != nullptr) second_->enter(list, parents);
    }
    void leave(const Chunk &list, Parents parents) override {
        first_.leave(list, parents);
        if (second_ != nullptr) second_->leave(list, parents);
    }
    void visit(const Chunk &chunk, Parents parents) override {
        first_.visit(chunk, parents);
        if (second_ != nullptr) second_->visit(chunk, parents);
    }
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override {
        first_.lost(pos, size, parents);
        if (second_ != nullptr) second_->lost(pos, size, parents);
    }

private:
    ChunkVisitor &first_;
    ChunkVisitor *second_;
};

// A path may hold any bytes; those that are not UTF-8 come out as U+FFFD.
std::string as_utf8(const std::string &text) {
    using Json = nlohmann::json;
    const std::string quoted = Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
    return Json::parse(quoted).get<std::string>();
}

bool is_svg(const Request &request) {
    const std::string extension = fs::path(request.output).extension();
    if (extension != ".svg" && extension != ".html") {
        throw Failure(Exit::usage, path_text(request.output) + ": name a .html or .svg file");
    }
    return extension == ".svg";
}

void require_other_file(const Request &request) {
    std::error_code error;
    if (fs::equivalent(request.file, request.output, error)) {
        throw Failure(Exit::usage, path_text(request.output) + ": is the file to be drawn");
    }
}

void write_whole(const std::string &path, const std::string &content) {
    const std::string part = path + ".part";
    std::ofstream out(part, std::ios::binary);
    out << content;
    out.close();
    std::error_code error;
    if (out) fs::rename(part, path, error);
    if (!out || error) {
        fs::remove(part, error);
        throw Failure(Exit::disagreed, path_text(path) + ": cannot be written");
    }
}

Exit run(const Request &request) {
    const bool svg = is_svg(request);
    const InputFile file(request.file);
    require_other_file(request);
    AviRefusal refusal{};
    const AviReader record(aviin_open(request.file.c_str(), 0, &refusal));

    MapModel model(record.get(), file.size());
    std::optional<OddityFinder> oddities;
    if (record != nullptr) oddities.emplace(*record);
    Both both(model, oddities ? &*oddities : nullptr);
    note_interrupts();
    {
        Progress progress(file.size(), !request.no_progress);
        const bool whole = walk_chunks(
            file, both,
            {.on_progress = [&](std::int64_t pos) { progress.show(pos); }, .stop = interrupted});
        if (!whole) {
            throw Failure(Exit::interrupted, path_text(request.file) + ": interrupted");
        }
    }
    const MapCaption caption = {
        .file = as_utf8(path_text(fs::path(request.file).filename().string())),
        .verdict = record != nullptr ? "opens" : refused_text(refusal, file),
        .reader = record.get(),
        .oddities = oddities ? oddities->finish() : std::vector<Oddity>()};
    write_whole(request.output, svg ? map_svg(model, caption) : map_html(model, caption));
    return Exit::success;
}

}  // namespace

void add_map(CLI::App &app, Exit &status) {
    CLI::App *command = app.add_subcommand("map", "Draw how a file is laid out");
    const auto request = std::make_shared<Request>();
    command->add_option("FILE", request->file, "The file, whether it opens or not")->required();
    command->add_option("-o,--output", request->output, "The .html or .svg file to write")
        ->required();
    command->add_flag("--no-progress", request->no_progress, "Show no progress bar");
    command->callback([request, &status] { status = run(*request); });
}
