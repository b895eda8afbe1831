// Makes the calls whose costs scripts/counters counts: opens, plays and closes fixed files through
// the plug-in, and marks the bounds of every counted call for callgrind and for strace.
//
//     counted_calls PLUG-IN FOLDER      (the files are written to FOLDER)
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench_files.h"
#include "plug_in.h"

// The C library's allocators, counted: the plug-in and the C library itself call these.
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
}

namespace {

using bench_files::MediaChunk;

unsigned long allocations = 0;

}  // namespace

extern "C" {
void *malloc(std::size_t size) {
    ++allocations;
    return __libc_malloc(size);
}
void *calloc(std::size_t count, std::size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}
void *realloc(void *memory, std::size_t size) {
    ++allocations;
    return __libc_realloc(memory, size);
}
}

namespace {

// A write that fails shows in a trace and nowhere else.
void mark(const std::string &text) {
    if (write(-1, text.data(), text.size()) >= 0) std::perror("counted_calls");
}

template <typename Call>
void count(const std::string &name, Call call) {
    mark("begin " + name);
    CALLGRIND_ZERO_STATS;
    const unsigned long before = allocations;
    CALLGRIND_TOGGLE_COLLECT;
    call();
    CALLGRIND_TOGGLE_COLLECT;
    const unsigned long made = allocations - before;
    mark("end " + name + ": " + std::to_string(made));
    CALLGRIND_DUMP_STATS_AT(name.c_str());
}

class Player {
public:
    Player(const PlugIn &plug_in, const std::string &path)
        : plug_in_(plug_in),
          path_(path),
          name_(path.substr(path.rfind('/') + 1)),
          chunks_(bench_files::media_chunks(path)),
          buffer_(1 << 20) {}

    void count_open_and_close() {
        open();
        close();  // the first open of a file also fills the C library's pools
        count(name_ + " open", [&] { open(); });
        count(name_ + " close", [&] { close(); });
    }

    void count_playing() {
        open();
        play(chunks_[0]);
        play(chunks_[1]);
        const MediaChunk &picture = chunks_[chunks_.size() / 2];
        const MediaChunk &after = chunks_[chunks_.size() / 2 + 1];
        count(name_ + " seek", [&] { seek(picture); });
        count(name_ + " tell", [&] { plug_in_.tell(file_); });
        count(name_ + " read", [&] { read(picture); });
        count(name_ + " seek near", [&] { seek(after); });
        count(name_ + " read near", [&] { read(after); });
        count(name_ + " pass", [&] {
            for (const MediaChunk &chunk : chunks_) play(chunk);
        });
        count(name_ + " pass with headers", [&] {
            for (const MediaChunk &chunk : chunks_) {
                play({chunk.pos - 8, 8});
                play(chunk);
            }
        });
        close();
    }

private:
    void open() {
        if (plug_in_.open(path_.c_str(), &file_) != DRM_SVC_SORN_OK) {
            throw std::runtime_error("refused: " + path_);
        }
    }
    void close() { plug_in_.close(file_); }
    void seek(const MediaChunk &chunk) {
        plug_in_.seek(file_, static_cast<std::int32_t>(chunk.pos), SEEK_SET);
    }
    void read(const MediaChunk &chunk) {
        std::uint32_t read = 0;
        plug_in_.read(file_, buffer_.data(), chunk.size, &read);
    }
    void play(const MediaChunk &chunk) {
        seek(chunk);
        read(chunk);
    }

    const PlugIn &plug_in_;
    std::string path_;
    std::string name_;
    std::vector<MediaChunk> chunks_;
    std::vector<unsigned char> buffer_;
    SvcFileHandle *file_ = nullptr;
};

void count_all(const PlugIn &plug_in, const std::string &folder) {
    const auto made = [&](const std::string &name, const bench_files::Bytes &content) {
        bench_files::write_file(folder + "/" + name, content);
        return Player(plug_in, folder + "/" + name);
    };
    Player film = made("film", bench_files::film());
    film.count_open_and_close();
    film.count_playing();
    made("extensions", avi_builder::rich_file()).count_open_and_close();
    made("19-streams", bench_files::with_streams(19)).count_open_and_close();
    made("1000-chunks", bench_files::with_chunks(1000)).count_open_and_close();
    made("stream-data", bench_files::with_stream_data(1 << 16)).count_open_and_close();
    made("data-list", bench_files::with_data_chunk(1 << 16)).count_open_and_close();
    made("menu-list", bench_files::with_menu_chunk(1 << 16)).count_open_and_close();
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fputs("usage: counted_calls PLUG-IN FOLDER\n", stderr);
        return 2;
    }
    try {
        count_all(load_plug_in(argv[1]), argv[2]);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "counted_calls: %s\n", error.what());
        return 1;
    }
}
