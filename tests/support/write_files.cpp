// write_files FOLDER: writes whole files of the AVI builder there, for whatever takes a path.
#include <filesystem>
#include <fstream>

#include "tests/support/avi_builder.h"

namespace {

bool write(const std::filesystem::path &path, const avi_builder::Bytes &content) {
    std::ofstream out(path, std::ios::binary);
    out << content;
    return out.flush().good();
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) return 2;
    const std::filesystem::path folder = argv[1];
    std::filesystem::create_directories(folder);
    const avi_builder::Bytes rich = avi_builder::rich_file();
    const bool written = write(folder / "plain.avi", avi_builder::plain_file()) &&
                         write(folder / "rich.avi", rich) &&
                         write(folder / "cut.avi", rich.substr(0, rich.size() - 40));
    return written ? 0 : 1;
}
