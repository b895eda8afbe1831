// changing_files [TIMES]: threads open, read and close a film TIMES times each, while another one
// cuts it, lets it grow, writes into it, takes it away and puts another in its place. Whatever they
// meet, a call returns what it may, no read says or writes more than it was asked for, every
// message is whole, and nothing is left.
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "service/drm-service-sorn.h"
#include "service/service_log.h"
#include "tests/support/test_files.h"

namespace {

using namespace avi_builder;
namespace fs = std::filesystem;

void require(bool holds, const char *rule) {
    if (holds) return;
    std::printf("This does not hold: %s\n", rule);
    std::fflush(stdout);
    std::_Exit(1);
}

std::atomic<unsigned long> opened{0};

// ---- the one who changes the film

class Changes {
public:
    explicit Changes(std::string path) : path_(std::move(path)) {}

    void make_one() {
        ++count_;
        switch (number(16)) {  // in the other half of the cases it becomes a film again
        case 0:
            return resize(number(content_.size()));
        case 1:
            return resize(content_.size() + number(1 << 20));
        case 2:
            return write(path_, 0, content_);
        case 3:
            return write(path_, number(content_.size()), u32(~0U));
        case 4:
            return write(path_, number(content_.size()), u32(number(64)));
        case 5:
            return write(path_, number(content_.size()), content_);
        case 6:
            unlink(path_.c_str());
            return;
        default:
            return replace();
        }
    }
    [[nodiscard]] std::uint64_t count() const { return count_; }

private:
    std::uint32_t number(std::size_t below) {
        return static_cast<std::uint32_t>(random_() % below);
    }
    // None of these succeeds while there is no film.
    void resize(std::size_t size) const {
        static_cast<void>(!truncate(path_.c_str(), static_cast<off_t>(size)));
    }
    static void write(const std::string &path, std::size_t position, const Bytes &bytes,
                      int options = 0) {
        const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | options, 0600);
        if (file < 0) return;
        static_cast<void>(!pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(position)));
        close(file);
    }
    void replace() const {
        const std::string other = path_ + ".new";
        write(other, 0, content_, O_CREAT | O_TRUNC);
        std::rename(other.c_str(), path_.c_str());
    }

    std::string path_;
    Bytes content_ = rich_file();
    std::minstd_rand random_{1};  // the same changes in every run, at other moments
    std::uint64_t count_ = 0;
};

// ---- those who read it

void read(SvcFileHandle *handle, std::uint32_t size) {
    Bytes buffer(size + 1, '?');
    std::uint32_t count = ~0U;
    require(drm_svc_sorn_read_file(handle, buffer.data(), size, &count) == DRM_SVC_SORN_OK,
            "a read succeeds");
    require(count <= size, "a read delivers no more than asked for");
    require(buffer[size] == '?', "a read writes no more than asked for");
}

void play(const char *path) {
    char marker = 0;
    auto *const untouched = reinterpret_cast<SvcFileHandle *>(&marker);
    SvcFileHandle *handle = untouched;
    const std::int64_t result = drm_svc_sorn_open_file(path, &handle);
    if (result != DRM_SVC_SORN_OK) {
        require(result == DRM_SVC_SORN_CANNOT_OPEN, "a refusal has its result");
        require(handle == untouched, "a refusal stores no handle");
        return;
    }
    ++opened;
    for (int i = 0; i < 5; ++i) read(handle, 300);
    drm_svc_sorn_seek_file(handle, -100, SEEK_END);
    read(handle, 400);
    drm_svc_sorn_seek_file(handle, 0, SEEK_SET);
    read(handle, 1 << 16);
    require(drm_svc_sorn_tell_file(handle) >= 0, "tell is somewhere");
    require(drm_svc_sorn_close_file(handle) == DRM_SVC_SORN_CLOSED, "a film is closed");
}

std::ptrdiff_t open_files() {
    const fs::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
}

}  // namespace

// A thread that logs lets the others go on.
void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...) {
    char text[256];
    std::va_list arguments;
    va_start(arguments, format);
    const int written = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    require(written > 0 && line > 0 && file != nullptr, "a message is whole");
    require(level == (category == 0x61f0000U ? LOG_LEVEL_ERROR : LOG_LEVEL_INFO),
            "a category has one level");
    sched_yield();
}

int main(int argc, char **argv) {
    const long times = argc == 2 ? std::strtol(argv[1], nullptr, 10) : 2000;
    if (argc > 2 || times <= 0) {
        std::fputs("usage: changing_files [TIMES]\n", stderr);
        return 2;
    }
    constexpr int kReaders = 3;
    const TempFile film(rich_file());
    const std::ptrdiff_t files = open_files();
    std::atomic<int> reading{kReaders};
    std::vector<std::thread> readers;
    readers.reserve(kReaders);
    for (int i = 0; i < kReaders; ++i) {
        readers.emplace_back([&] {
            for (long time = 0; time < times; ++time) play(film.path());
            --reading;
        });
    }
    Changes changes(film.path());
    while (reading > 0) changes.make_one();
    for (std::thread &reader : readers) reader.join();
    require(open_files() == files, "no file is left open");
    std::printf(
        "changing files: %ld opens, of which %lu succeed, under %llu changes, "
        "0 left behind\n",
        kReaders * times, opened.load(), static_cast<unsigned long long>(changes.count()));
    return 0;
}
