// The plug-in beside what else could read the same bytes, in one run.
//
//     benchmarks PLUG-IN FOLDER [--before=PLUG-IN] [--benchmark_...]
//
// A benchmark is named "group/file/who". "ours" is the plug-in; scripts/bench turns the others into
// ratios. "before" is another build of it, such as the one before a change. FOLDER holds the films
// that ffmpeg made, if any; the other files are written to it.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>

#include "bench_files.h"
#include "header_walk.h"
#include "plug_in.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

using bench_files::MediaChunk;
using benchmark::State;

struct Build {
    const char *who;
    PlugIn plug_in;
};
std::vector<Build> builds;  // ours, and the one before it if there is one
std::string folder;

struct CloseStream {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

Stream open_stream(const std::string &path) {
    Stream stream(std::fopen(path.c_str(), "rb"));
    if (stream == nullptr) throw std::runtime_error("cannot open " + path);
    return stream;
}

using Handle = std::unique_ptr<SvcFileHandle, decltype(PlugIn::close)>;

Handle open_with(const PlugIn &plug_in, const std::string &path) {
    SvcFileHandle *handle = nullptr;
    if (plug_in.open(path.c_str(), &handle) != DRM_SVC_SORN_OK) {
        throw std::runtime_error("refused: " + path);
    }
    return Handle(handle, plug_in.close);
}

Handle open_ours(const std::string &path) {
    return open_with(builds[0].plug_in, path);
}

struct CloseDescriptor {
    int number;
    explicit CloseDescriptor(const std::string &path) : number(open(path.c_str(), O_RDONLY)) {
        if (number < 0) throw std::runtime_error("cannot open " + path);
    }
    ~CloseDescriptor() { close(number); }
    CloseDescriptor(const CloseDescriptor &) = delete;
    CloseDescriptor &operator=(const CloseDescriptor &) = delete;
};

struct CloseInput {
    void operator()(AVFormatContext *input) const { avformat_close_input(&input); }
};
using Input = std::unique_ptr<AVFormatContext, CloseInput>;

Input open_input(const std::string &path) {
    AVFormatContext *input = nullptr;
    if (avformat_open_input(&input, path.c_str(), nullptr, nullptr) != 0) {
        throw std::runtime_error("libavformat refuses " + path);
    }
    return Input(input);
}

template <typename Body>
void add(const std::string &group, const std::string &file, const char *who, Body body) {
    benchmark::RegisterBenchmark((group + "/" + file + "/" + who).c_str(), body);
}

// Calls `once` again and again.
template <typename Once>
auto repeat(Once once) {
    return [once](State &state) {
        for (auto _ : state) once();
    };
}

// ---- open and close

void add_builds(const std::string &group, const std::string &file) {
    const std::string path = folder + "/" + file;
    for (const Build &build : builds) {
        add(group, file, build.who, repeat([&build, path] { open_with(build.plug_in, path); }));
    }
}

void add_opens(const std::string &group, const std::string &file) {
    const std::string path = folder + "/" + file;
    add_builds(group, file);
    add(group, file, "libavformat", repeat([path] { open_input(path); }));
    add(group, file, "fopen_fclose", repeat([path] { open_stream(path); }));
    add(group, file, "walker_pread", repeat([path] {
            const CloseDescriptor descriptor(path);
            walk_headers(DescriptorSource{descriptor.number});
        }));
    add(group, file, "walker_stream", repeat([path] {
            const Stream stream = open_stream(path);
            walk_headers(StreamSource{stream.get()});
        }));
}

// ---- a pass over all media chunks

struct Film {
    std::string path;
    std::vector<MediaChunk> chunks;
    std::uint32_t largest = 0;

    explicit Film(const std::string &file)
        : path(folder + "/" + file), chunks(bench_files::media_chunks(path)) {
        for (const MediaChunk &chunk : chunks) largest = std::max(largest, chunk.size);
    }
    [[nodiscard]] std::vector<char> buffer() const { return std::vector<char>(largest); }
};

template <typename Play>
auto pass(const std::shared_ptr<Film> &film, Play play) {
    return [film, play](State &state) {
        std::vector<char> buffer = film->buffer();
        for (auto _ : state) {
            for (const MediaChunk &chunk : film->chunks) play(chunk, buffer.data());
        }
        state.counters["chunks"] = static_cast<double>(film->chunks.size());
    };
}

void play_with(const PlugIn &plug_in, SvcFileHandle *handle, const MediaChunk &chunk,
               char *buffer) {
    std::uint32_t count = 0;
    plug_in.seek(handle, static_cast<std::int32_t>(chunk.pos), SEEK_SET);
    plug_in.read(handle, buffer, chunk.size, &count);
    benchmark::DoNotOptimize(count);
}

// The very calls that the plug-in makes, on a stream as the C library opens it.
void play_same_calls(std::FILE *stream, const MediaChunk &chunk, char *buffer) {
    char id[4], size[4];
    std::fseek(stream, static_cast<long>(chunk.pos), SEEK_SET);
    benchmark::DoNotOptimize(std::ftell(stream));
    std::fseek(stream, -8, SEEK_CUR);
    benchmark::DoNotOptimize(std::fread(id, 1, sizeof id, stream));
    benchmark::DoNotOptimize(std::fread(size, 1, sizeof size, stream));
    benchmark::DoNotOptimize(std::fread(buffer, 1, chunk.size, stream));
}

void read_all_packets(State &state, const std::string &path) {
    const Input input = open_input(path);
    const std::unique_ptr<AVPacket, void (*)(AVPacket *)> packet(
        av_packet_alloc(), [](AVPacket *p) { av_packet_free(&p); });
    for (auto _ : state) {
        av_seek_frame(input.get(), -1, 0, AVSEEK_FLAG_BACKWARD);
        while (av_read_frame(input.get(), packet.get()) >= 0) av_packet_unref(packet.get());
    }
}

void add_passes(const std::string &file) {
    const auto film = std::make_shared<Film>(file);
    const std::shared_ptr<std::FILE> stream = open_stream(film->path);
    const auto descriptor = std::make_shared<CloseDescriptor>(film->path);

    for (const Build &build : builds) {
        const std::shared_ptr<SvcFileHandle> handle = open_with(build.plug_in, film->path);
        add("pass", file, build.who,
            pass(film, [&build, handle](const MediaChunk &chunk, char *buffer) {
                play_with(build.plug_in, handle.get(), chunk, buffer);
            }));
    }
    add("pass", file, "same_calls", pass(film, [stream](const MediaChunk &chunk, char *buffer) {
            play_same_calls(stream.get(), chunk, buffer);
        }));
    add("pass", file, "fseek_fread", pass(film, [stream](const MediaChunk &chunk, char *buffer) {
            std::fseek(stream.get(), static_cast<long>(chunk.pos), SEEK_SET);
            benchmark::DoNotOptimize(std::fread(buffer, 1, chunk.size, stream.get()));
        }));
    add("pass", file, "pread", pass(film, [descriptor](const MediaChunk &chunk, char *buffer) {
            benchmark::DoNotOptimize(pread(descriptor->number, buffer, chunk.size, chunk.pos));
        }));
    add("pass", file, "libavformat", [film](State &state) { read_all_packets(state, film->path); });
}

// ---- chunks that open loads

constexpr std::uint32_t kLoaded = 1 << 20;

void add_loads(const std::string &file, const bench_files::Bytes &content) {
    const std::string path = folder + "/" + file;
    bench_files::write_file(path, content);
    add_builds("load", file);
    add("load", file, "fread_whole", repeat([path] {
            const Stream stream = open_stream(path);
            const std::unique_ptr<void, void (*)(void *)> buffer(std::malloc(kLoaded), std::free);
            benchmark::DoNotOptimize(std::fread(buffer.get(), 1, kLoaded, stream.get()));
        }));
    add("load", file, "fread_each_byte", repeat([path] {
            const Stream stream = open_stream(path);
            const std::unique_ptr<void, void (*)(void *)> buffer(std::malloc(kLoaded), std::free);
            auto *bytes = static_cast<char *>(buffer.get());
            for (std::uint32_t i = 0; i < kLoaded; ++i) {
                benchmark::DoNotOptimize(std::fread(bytes + i, 1, 1, stream.get()));
            }
        }));
}

// ---- handles

void add_threads(const std::string &file) {
    const auto film = std::make_shared<Film>(file);
    for (const int threads : {1, 2}) {
        benchmark::RegisterBenchmark(
            ("threads/" + file + "/ours").c_str(),
            [film](State &state) {
                const Handle handle = open_ours(film->path);
                std::vector<char> buffer = film->buffer();
                for (auto _ : state) {
                    for (const MediaChunk &chunk : film->chunks) {
                        play_with(builds[0].plug_in, handle.get(), chunk, buffer.data());
                    }
                }
                state.SetItemsProcessed(state.iterations() *
                                        static_cast<std::int64_t>(film->chunks.size()));
            })
            ->Threads(threads)
            ->UseRealTime();
    }
}

void add_memory(const std::string &file) {
    const std::string path = folder + "/" + file;
    add("memory", file, "ours", [path](State &state) {
        constexpr int kHandles = 100;
        std::size_t used = 0;
        for (auto _ : state) {
            std::vector<Handle> handles;
            handles.reserve(kHandles);
            const std::size_t before = mallinfo2().uordblks;
            for (int i = 0; i < kHandles; ++i) handles.push_back(open_ours(path));
            used = mallinfo2().uordblks - before;
        }
        state.counters["bytes_each"] = static_cast<double>(used) / kHandles;
    });
}

// ---- files

bool exists(const std::string &path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0;
}

std::string made(const std::string &file, const bench_files::Bytes &content) {
    bench_files::write_file(folder + "/" + file, content);
    return file;
}

void add_all() {
    constexpr std::uint32_t kMegabyte = 1 << 20;
    std::vector<std::string> films = {"film-1MB", "film-200MB"};
    if (!exists(folder + "/" + films[0])) made(films[0], bench_files::film());
    if (!exists(folder + "/" + films[1])) {
        made(films[1], bench_files::with_pictures(28 << 10, 200 * kMegabyte));
    }
    for (const std::string &film : films) add_passes(film);
    if (exists(folder + "/film-1200MB")) films.emplace_back("film-1200MB");
    for (const std::string &film : films) add_opens("open", film);

    for (const int streams : {1, 7, 13, 19}) {
        add_opens("streams",
                  made("streams-" + std::to_string(streams), bench_files::with_streams(streams)));
    }
    for (const int chunks : {1, 10, 100, 1000, 10000}) {
        add_opens("chunks",
                  made("chunks-" + std::to_string(chunks), bench_files::with_chunks(chunks)));
    }
    for (const std::uint32_t size : {64U, 1U << 10, 16U << 10, 1U << 20}) {
        const std::uint32_t total = size == 64 ? kMegabyte : 16 * kMegabyte;
        add_passes(
            made("pictures-" + std::to_string(size), bench_files::with_pictures(size, total)));
    }
    add_loads("stream-data", bench_files::with_stream_data(kLoaded));
    add_loads("data-list", bench_files::with_data_chunk(kLoaded));
    add_loads("menu-list", bench_files::with_menu_chunk(kLoaded));
    add_threads("film-1MB");
    add_memory("film-1MB");
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 3) {
        std::fputs("usage: benchmarks PLUG-IN FOLDER [--before=PLUG-IN] [--benchmark_...]\n",
                   stderr);
        return 2;
    }
    // As a media service, a process that has had threads: the C library then takes its locks.
    std::thread([] {}).join();
    av_log_set_level(AV_LOG_QUIET);
    char *program = argv[0];
    try {
        builds.push_back({"ours", load_plug_in(argv[1])});
        const bool two = argc > 3 && std::strncmp(argv[3], "--before=", 9) == 0;
        if (two) builds.push_back({"before", load_plug_in(argv[3] + 9)});
        folder = argv[2];
        add_all();
        argc -= two ? 3 : 2;
        argv += two ? 3 : 2;
        argv[0] = program;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "benchmarks: %s\n", error.what());
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
}
