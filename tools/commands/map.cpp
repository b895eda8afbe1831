// sorn-tool map: a picture of how a file is laid out.
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "chunks/record.h"
#include "commands/command.h"
#include "findings/examination.h"
#include "findings/refusal_text.h"
#include "picture/map_picture.h"
#include "terminal/interrupt.h"
#include "terminal/progress.h"
#include "terminal/text.h"

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
    Both(ChunkVisitor &first, ChunkVisitor &second) : visitors_{&first, &second} {}

    void enter(const Chunk &list, Parents parents) override {
        for (ChunkVisitor *visitor : visitors_) visitor->enter(list, parents);
    }
    void leave(const Chunk &list, Parents parents) override {
        for (ChunkVisitor *visitor : visitors_) visitor->leave(list, parents);
    }
    void visit(const Chunk &chunk, Parents parents) override {
        for (ChunkVisitor *visitor : visitors_) visitor->visit(chunk, parents);
    }
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override {
        for (ChunkVisitor *visitor : visitors_) visitor->lost(pos, size, parents);
    }
    void hole(std::int64_t pos, std::int64_t size, Parents parents) override {
        for (ChunkVisitor *visitor : visitors_) visitor->hole(pos, size, parents);
    }

private:
    std::array<ChunkVisitor *, 2> visitors_;
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

// Until it is whole, it has another name.
void write_whole(const std::string &path, const std::string &content) {
    const std::string part = path + ".part";
    errno = 0;
    std::ofstream out(part, std::ios::binary);
    out << content;
    out.close();
    if (out && std::rename(part.c_str(), path.c_str()) == 0) return;
    const std::string why = std::strerror(errno);
    std::remove(part.c_str());
    throw Failure(Exit::disagreed, fmt::format("{}: cannot be written: {}", path_text(path), why));
}

Exit run(const Request &request) {
    const bool svg = is_svg(request);
    const InputFile file(request.file);
    require_other_file(request);
    AviRefusal refusal{};
    const Record record(aviin_open(request.file.c_str(), 0, &refusal));

    MapModel model(record.get(), file.size());
    Examination examination(file, record.get());
    Both both(model, examination);
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
        .findings = examination.finish(refusal)};
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
