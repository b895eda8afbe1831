// Runs a fuzz target over the files and folders on its command line, without a fuzzer.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "harness.h"

namespace {

namespace fs = std::filesystem;

void replay(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    const std::string input((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);  // the input that ends the process is the last one named
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.data()), input.size());
}

}  // namespace

int main(int argc, char **argv) {
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            replay(argv[i]);
            ++replayed;
            continue;
        }
        for (const auto &entry : fs::directory_iterator(argv[i])) {
            replay(entry.path());
            ++replayed;
        }
    }
    std::printf("%d inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
}
