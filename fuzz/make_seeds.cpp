// Writes the inputs that fuzzing starts from:  make_seeds FOLDER [AVI-FILE...]
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "tests/support/avi_builder.h"

namespace {

using namespace avi_builder;
namespace fs = std::filesystem;

constexpr std::size_t kLongest = 16384;  // headers lie in front; media adds nothing to a seed

std::map<std::string, Bytes> built_files() {
    const Bytes media = list("movi", chunk("00dc", filler(24)), chunk("01wb", filler(9)));
    const Bytes headers = list("hdrl", avih(), video_stream(), audio_stream());
    return {
        {"plain", plain_file()},
        {"rich", rich_file()},
        {"no-streams", riff("AVI ", list("hdrl", avih()), media)},
        {"data", riff("AVI ", data_list(chunk("MTDA", filler(5))), headers, media)},
        {"menus",
         riff("AVI ", menu_list(chunk("MENU", filler(5)), chunk("MRIF", "")), headers, media) +
             menu_form(unpadded("MENU", filler(3)), unpadded("MRIF", ""))},
        {"texts", riff("AVI ",
                       list("hdrl", avih(), text_stream(), text_stream({.name = "Chapter 1"}),
                            text_stream({.name = "Other"}), bitmap_subtitle_stream()),
                       media)},
        {"stream-data",
         riff("AVI ", list("hdrl", avih(), video_stream({.strd = strd(7, filler(20))})), media)},
        {"indexes",
         riff("AVI ",
              list("hdrl", avih(), video_stream({.index = SuperIndex{.chunk_id = "ix02"}}),
                   audio_stream({.name = "One", .index = SuperIndex{.chunk_id = "01wb"}})),
              media, chunk("1idx", filler(16)))},
        {"two-headers", riff("AVI ", headers, list("hdrl", avih(), audio_stream()), media)},
        {"endless", claiming("RIFF", 0xfffffff0, "AVI " + headers + media)},
    };
}

void write(const fs::path &path, const Bytes &content) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

// For each target, the file behind the steering that it takes.
void write_seeds(const fs::path &folder, const std::string &name, const Bytes &file) {
    Bytes steps;
    for (int kind = 0; kind < 6; ++kind) steps += u8(static_cast<unsigned>(kind)) + u8(0) + u32(40);
    const Bytes failure = u8(0) + u8(static_cast<unsigned>(name.size())) + u8(0x80);
    write(folder / "differential" / name, u8(static_cast<unsigned>(steps.size())) + steps + file);
    write(folder / "fault" / name, u8(static_cast<unsigned>(failure.size())) + failure + file);
    write(folder / "repair" / name, file);
    write(folder / "repair" / (name + "-cut"), file.substr(0, file.size() * 2 / 3));
    const std::size_t media = file.find("movi");
    if (media == Bytes::npos) return;
    const Bytes unfinished = file.substr(0, media - 4) + u32(0) + file.substr(media);
    write(folder / "repair" / (name + "-unfinished"),
          unfinished.substr(0, 4) + u32(0) + unfinished.substr(8));
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: make_seeds FOLDER [AVI-FILE...]\n");
        return 2;
    }
    for (const auto &[name, file] : built_files()) write_seeds(argv[1], name, file);
    for (int i = 2; i < argc; ++i) {
        std::ifstream in(argv[i], std::ios::binary);
        const Bytes file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        write_seeds(argv[1], fs::path(argv[i]).stem(), file.substr(0, kLongest));
    }
    return 0;
}
