// library_calls [OPTION]... [FILE|FOLDER]...: has the plug-in read these files, and some made for
// the purpose, on a thread that is jailed with the system calls of its list: undisturbed, when
// there is hardly any memory, and while others hold the C library's locks. Dies of any other call.
//
//     --list            prints the list instead
//     --without CALL    as if that were not on it
//     --beside CALL     makes that one, too; by its number
//     --marked          jails nothing, and calls getppid before and after what is the plug-in's,
//     for
//                       whoever traces the process
#include <fcntl.h>
#include <malloc.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/jail.h"
#include "tests/support/service_host.h"
#include "tests/support/test_files.h"

namespace {

using namespace avi_builder;
namespace fs = std::filesystem;

struct Options {
    SystemCalls allowed = library_calls();
    long beside = -1;
    bool marked = false;
    std::vector<std::string> files;
};

[[noreturn]] void list_calls() {
    for (const SystemCall &call : library_calls()) std::puts(call.name);
    std::exit(0);
}

[[noreturn]] void wrong_use(const char *word) {
    std::fprintf(stderr, "library_calls: what is %s?\n", word);
    std::exit(2);
}

void remove(SystemCalls &calls, const std::string &name) {
    const auto is_meant = [&](const SystemCall &call) { return call.name == name; };
    if (std::erase_if(calls, is_meant) != 1) wrong_use(name.c_str());
}

void add_files(std::vector<std::string> &files, const char *path) {
    if (fs::is_regular_file(path)) {
        files.emplace_back(path);
    } else if (fs::is_directory(path)) {
        for (const auto &entry : fs::recursive_directory_iterator(path)) {
            if (entry.is_regular_file()) files.push_back(entry.path().string());
        }
    } else {
        wrong_use(path);
    }
}

Options parse(int argc, char **argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool has_value = i + 1 < argc;
        if (word == "--list") list_calls();
        if (word == "--without" && has_value) {
            remove(options.allowed, argv[++i]);
        } else if (word == "--beside" && has_value) {
            options.beside = std::strtol(argv[++i], nullptr, 10);
        } else if (word == "--marked") {
            options.marked = true;
        } else {
            add_files(options.files, argv[i]);
        }
    }
    return options;
}

// Large buffers come from the system one by one, and many small ones that are given back together
// go back to it.
Bytes film_with_chunks_of(std::size_t size) {
    return riff("AVI ", data_list(chunk("MTDA", filler(size))),
                menu_list(chunk("MENU", filler(size))), list("hdrl", avih(), video_stream()),
                list("movi", chunk("00dc", filler(24)))) +
           menu_form(unpadded("MENU", filler(size)));
}

// All that a service can do with a path. Returns whether it opens.
bool play(const char *path, std::vector<char> &buffer) {
    SvcFileHandle *film = nullptr;
    if (plugin().open(path, &film) != DRM_SVC_SORN_OK) return false;
    const auto read = [&](std::size_t size) {
        std::uint32_t count = 0;
        plugin().read(film, buffer.data(), static_cast<std::uint32_t>(size), &count);
        return count;
    };
    while (read(4000) != 0) {
    }
    plugin().seek(film, 0, SEEK_SET);
    read(buffer.size());
    plugin().seek(film, -8, SEEK_CUR);
    read(16);
    plugin().seek(film, 100, SEEK_END);
    read(16);
    plugin().seek(film, INT32_MIN, SEEK_CUR);
    plugin().seek(film, INT32_MAX, SEEK_SET);
    read(16);
    plugin().tell(film);
    plugin().close(film);
    return true;
}

std::size_t play_all(const std::vector<std::string> &files, std::vector<char> &buffer) {
    std::size_t opened = 0;
    for (const std::string &file : files) opened += play(file.c_str(), buffer) ? 1U : 0U;
    play(nullptr, buffer);
    return opened;
}

// Takes all the memory that there is, and gives it back piece by piece.
class Shortage {
public:
    Shortage() {
        for (std::size_t size = 64U << 20; size >= 64; size /= 4) {
            while (count_ < kPieces && take(size)) ++count_;
        }
    }
    ~Shortage() {
        while (count_ > 0) give_back();
    }
    Shortage(const Shortage &) = delete;
    Shortage &operator=(const Shortage &) = delete;

    void give_back() {
        if (count_ > 0) std::free(pieces_[--count_]);
    }

private:
    static constexpr std::size_t kPieces = 1 << 16;
    static void *pieces_[kPieces];

    bool take(std::size_t size) {
        pieces_[count_] = std::malloc(size);
        return pieces_[count_] != nullptr;
    }
    std::size_t count_ = 0;
};
void *Shortage::pieces_[kPieces];

void play_all_in_shortage(const std::vector<std::string> &files, std::vector<char> &buffer) {
    Shortage shortage;
    for (const std::string &file : files) {
        play(file.c_str(), buffer);
        shortage.give_back();
    }
}

// ---- a film opened while another thread holds the lock of the C library's list of files

bool sleeps(pid_t thread) {
    char text[256]{};
    const int file = ::open(("/proc/self/task/" + std::to_string(thread) + "/stat").c_str(),
                            O_RDONLY | O_CLOEXEC);
    const ssize_t length = ::read(file, text, sizeof text - 1);
    ::close(file);
    const char *state = length > 0 ? std::strrchr(text, ')') : nullptr;
    return state != nullptr && state[2] == 'S';
}

// A file whose writing, which all files are locked for when all are flushed, takes until the opener
// of another one waits for the lock.
struct SlowFile {
    pid_t opener;
    std::atomic<bool> is_written{false};
    std::atomic<bool> opener_starts{false};

    static ssize_t write(void *cookie, const char *, std::size_t size) {
        auto &file = *static_cast<SlowFile *>(cookie);
        file.is_written = true;
        while (!file.opener_starts || !sleeps(file.opener)) sched_yield();
        return static_cast<ssize_t>(size);
    }
};

void play_while_files_are_locked(JailedThread &thread, const char *path,
                                 std::vector<char> &buffer) {
    SlowFile slow{thread.id()};
    std::FILE *file = fopencookie(&slow, "w", {nullptr, SlowFile::write, nullptr, nullptr});
    std::fputc('.', file);
    std::thread flushes([] { std::fflush(nullptr); });
    while (!slow.is_written) sched_yield();
    thread.run([&] {
        slow.opener_starts = true;
        play(path, buffer);
    });
    flushes.join();
    std::fclose(file);
}

}  // namespace

extern "C" void _debug_message(int, const char *, unsigned int, unsigned int, const char *, ...) {}

int main(int argc, char **argv) {
    Options options = parse(argc, argv);
    const TempFile plain(plain_file());
    const TempFile rich(rich_file());
    const TempFile large(film_with_chunks_of(100000));
    const TempFile larger(film_with_chunks_of(1 << 20));
    const Pipe pipe(plain_file());
    for (const char *path :
         {plain.path(), rich.path(), large.path(), larger.path(), pipe.path(), "", "/", "/none"}) {
        options.files.emplace_back(path);
    }
    std::vector<char> buffer(1 << 21);
    plugin();
    // Memory goes back as early as in a process that has not yet freed anything large.
    mallopt(M_TRIM_THRESHOLD, 128 << 10);
    const rlimit limit = {1U << 30, 1U << 30};
    setrlimit(RLIMIT_AS, &limit);

    std::size_t opened = 0;
    JailedThread thread(options.allowed, !options.marked);
    thread.run([&] {
        if (options.marked) syscall(SYS_getppid);
        opened = play_all(options.files, buffer);
        play_all_in_shortage(options.files, buffer);
        if (options.beside >= 0) syscall(options.beside);
        if (options.marked) syscall(SYS_getppid);
    });
    // Calls of several threads cannot be told apart in a trace.
    if (!options.marked) play_while_files_are_locked(thread, rich.path(), buffer);
    std::printf("jail: %zu system calls are enough to read %zu files, %zu of which open\n",
                options.allowed.size(), options.files.size(), opened);
    return 0;
}
