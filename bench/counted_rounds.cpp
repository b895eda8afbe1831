// Makes rounds of calls whose instructions count_instructions.c counts: kRounds between two marks,
// and twice as many between two more. The difference is free of all that is not the calls.
//
//     counted_rounds PLUG-IN open FILE     opens and closes of a file
//     counted_rounds PLUG-IN read FILE     passes over a file's chunks; it is written first
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench_files.h"
#include "plug_in.h"

namespace {

using bench_files::Bytes;
using bench_files::MediaChunk;

constexpr std::uint32_t kRounds = 20;
constexpr std::uint32_t kChunks = 1000;
constexpr std::uint32_t kChunkSize = 1000;

// No memory is allocated in between, which would lie in the way of the plug-in's.
void mark(const char *what, const std::string &name, std::uint32_t calls) {
    char text[100];
    const int length = std::snprintf(text, sizeof text, "%s %u %s", what, calls, name.c_str());
    if (write(-1, text, static_cast<std::size_t>(length)) >= 0) std::perror("counted_rounds");
}

// `calls` is what one round is counted as.
template <typename Round>
void count(const std::string &name, std::uint32_t calls, Round round) {
    for (std::uint32_t i = 0; i < kRounds; ++i) round();  // until the C library's pools are full
    for (const std::uint32_t rounds : {kRounds, 2 * kRounds}) {
        mark("begin", name, rounds * calls);
        for (std::uint32_t i = 0; i < rounds; ++i) round();
        mark("end", name, rounds * calls);
    }
}

SvcFileHandle *open(const PlugIn &plug_in, const std::string &path) {
    SvcFileHandle *file = nullptr;
    if (plug_in.open(path.c_str(), &file) != DRM_SVC_SORN_OK) {
        throw std::runtime_error("refused: " + path);
    }
    return file;
}

void count_opens(const PlugIn &plug_in, const std::string &path) {
    count(path.substr(path.rfind('/') + 1) + " open and close", 1,
          [&] { plug_in.close(open(plug_in, path)); });
}

// Its payloads lie at multiples of 8, as buffers do: what a copy takes depends on that.
Bytes chunks_file() {
    return bench_files::with_pictures(kChunkSize, kChunks * kChunkSize,
                                      avi_builder::chunk("JUNK", Bytes(12, '\0')));
}

void read(const PlugIn &plug_in, SvcFileHandle *file, std::int64_t pos, std::uint32_t size) {
    alignas(8) static unsigned char buffer[kChunkSize];
    std::uint32_t read = 0;
    plug_in.seek(file, static_cast<std::int32_t>(pos), SEEK_SET);
    plug_in.read(file, buffer, size, &read);
    if (read != size) throw std::runtime_error("a chunk is cut short");
}

// The same order with every C++ library.
void shuffle(std::vector<MediaChunk> &chunks) {
    std::minstd_rand random;
    for (std::size_t left = chunks.size(); left > 1; --left) {
        std::swap(chunks[left - 1], chunks[random() % left]);
    }
}

void count_reads(const PlugIn &plug_in, const std::string &path) {
    bench_files::write_file(path, chunks_file());
    std::vector<MediaChunk> chunks = bench_files::media_chunks(path);
    SvcFileHandle *file = open(plug_in, path);
    const auto read_all = [&] {
        for (const MediaChunk &chunk : chunks) read(plug_in, file, chunk.pos, chunk.size);
    };
    count("seek and read in file order", kChunks, read_all);
    count("seek and read, header then payload", kChunks, [&] {
        for (const MediaChunk &chunk : chunks) {
            read(plug_in, file, chunk.pos - 8, 8);
            read(plug_in, file, chunk.pos, chunk.size);
        }
    });
    std::reverse(chunks.begin(), chunks.end());
    count("seek and read backwards", kChunks, read_all);
    shuffle(chunks);
    count("seek and read at random", kChunks, read_all);
    plug_in.close(file);
}

}  // namespace

int main(int argc, char **argv) {
    const std::string what = argc == 4 ? argv[2] : "";
    if (what != "open" && what != "read") {
        std::fputs("usage: counted_rounds PLUG-IN open|read FILE\n", stderr);
        return 2;
    }
    try {
        const PlugIn plug_in = load_plug_in(argv[1]);
        what == "open" ? count_opens(plug_in, argv[3]) : count_reads(plug_in, argv[3]);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "counted_rounds: %s\n", error.what());
        return 1;
    }
}
