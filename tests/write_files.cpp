// Writes the builder's whole files into a folder, for tests that are not written in C++.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "avi_builder.h"

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fputs("usage: write_files FOLDER\n", stderr);
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    std::ofstream plain(folder / "plain.avi", std::ios::binary);
    std::ofstream rich(folder / "rich.avi", std::ios::binary);
    plain << avi_builder::plain_file() << std::flush;
    rich << avi_builder::rich_file() << std::flush;
    return plain && rich ? 0 : 1;
}
