// sorn-tool map: a picture of how a file is laid out.
#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>

#include "avi_reader/avi_reader.h"
#include "chunks/visitors.h"
#include "commands/command.h"
#include "commands/given.h"
#include "findings/examination.h"
#include "findings/refusal_text.h"
#include "picture/map_picture.h"
#include "terminal/in_order.h"
#include "terminal/interrupt.h"
#include "terminal/new_file.h"
#include "terminal/progress.h"
#include "terminal/text.h"
#include "terminal/utf8.h"

namespace {

namespace fs = std::filesystem;

struct Request {
    Given given;
    std::string output;
};

// The picture of each file: the one that is named, or one in the folder that is named.
class Outputs {
public:
    Outputs(const std::string &output, bool in_folder) : output_(output), in_folder_(in_folder) {
        const std::string ending = fs::path(output).extension();
        if (in_folder || ending == ".svg" || ending == ".html") return;
        throw Failure(Exit::usage, path_text(output) + ": name a .html or .svg file, or a folder");
    }

    // Files of the same name would have one picture.
    [[nodiscard]] std::vector<std::string> of(const std::vector<GivenFile> &files) const {
        std::vector<std::string> outputs;
        std::set<std::string> names;
        for (const GivenFile &file : files) {
            outputs.push_back(in_folder_ ? (fs::path(output_) / (file.within + ".html")).native()
                                         : output_);
            if (names.insert(outputs.back()).second) continue;
            throw Failure(Exit::usage, path_text(file.path) + ": its picture would be " +
                                           path_text(outputs.back()) + ", as another file's");
        }
        return outputs;
    }

private:
    const std::string &output_;
    bool in_folder_;
};

bool is_folder(const std::string &path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

// Several pictures need a folder.
bool in_folder(const Request &request) {
    const bool several = request.given.paths.size() != 1 || is_folder(request.given.paths[0]);
    return several || request.output.ends_with('/') || is_folder(request.output);
}

void write_whole(const std::string &path, const std::string &content) {
    NewFile out(path);
    out.write({reinterpret_cast<const unsigned char *>(content.data()), content.size()});
    out.publish();
}

void make_folder_of(const std::string &output) {
    std::error_code error;
    fs::create_directories(fs::path(output).parent_path(), error);
    if (!error) return;
    throw Failure(Exit::failed,
                  fmt::format("{}: cannot be written: {}", path_text(output), error.message()));
}

void draw(const std::string &path, const std::string &output, bool show_progress) {
    const InputFile file(path);
    require_other_file(path, output);
    AviRefusal refusal{};
    const AviReader record(aviin_open(path.c_str(), 0, &refusal));
    MapModel model(record.get(), file.size());
    Examination examination(file, record.get());
    Visitors both{&model, &examination};
    {
        Progress progress(file.size(), show_progress);
        const bool whole = walk_chunks(
            file, both,
            {.on_progress = [&](std::int64_t pos) { progress.show(pos); }, .stop = interrupted});
        if (!whole) fail_interrupted(path);
    }
    const MapCaption caption = {
        .file = utf8_text(path_text(fs::path(path).filename().native())),
        .verdict = record != nullptr ? "opens" : refused_text(refusal, file),
        .reader = record.get(),
        .findings = examination.finish(refusal)};
    const bool svg = fs::path(output).extension() == ".svg";
    write_whole(output, svg ? map_svg(model, caption) : map_html(model, caption));
}

Exit run(const Request &request) {
    const bool folder = in_folder(request);
    const Outputs outputs(request.output, folder);
    note_interrupts();
    CommonExit status;
    const std::vector<GivenFile> files = files_of(request.given, status);
    const std::vector<std::string> names = outputs.of(files);
    const auto draw_one = [&](std::size_t i) -> std::optional<Failure> {
        try {
            if (folder) make_folder_of(names[i]);
            draw(files[i].path, names[i], request.given.shows_progress());
            return std::nullopt;
        } catch (const Failure &failure) {
            return failure;
        }
    };
    const auto take = [&](const std::optional<Failure> &failure) {
        if (failure) complain(failure->what());
        status.add(failure ? failure->status() : Exit::success);
        return !interrupted();
    };
    in_order(files.size(), request.given.jobs, draw_one, take);
    return interrupted() ? Exit::interrupted : status.status();
}

}  // namespace

void add_map(CLI::App &app, Exit &status) {
    CLI::App *command = app.add_subcommand("map", "Draw how a file is laid out");
    const auto request = std::make_shared<Request>();
    add_files(*command, request->given)->required();
    command
        ->add_option("-o,--output", request->output,
                     "The .html or .svg file to write, or a folder for several pages")
        ->required();
    add_jobs(*command, request->given);
    add_no_progress(*command, request->given);
    command->callback([request, &status] { status = run(*request); });
}
