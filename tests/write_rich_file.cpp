// write_rich_file FILE: writes a file with everything that the reader knows.
#include <fstream>

#include "avi_builder.h"

int main(int argc, char **argv) {
    if (argc != 2) return 2;
    std::ofstream file(argv[1], std::ios::binary);
    file << avi_builder::rich_file();
    file.close();
    return file ? 0 : 1;
}
