// Writes the AVI builder's rich file, for samples/.
#include <cstdio>
#include <fstream>

#include "tests/avi_builder.h"

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fputs("usage: write_sample FILE\n", stderr);
        return 2;
    }
    std::ofstream file(argv[1], std::ios::binary);
    file << avi_builder::rich_file();
    return file.flush() ? 0 : 1;
}
