// disturbed_reads FOLDER...: opens and plays the films while each of the system's reads is cut
// short, interrupted, or preceded by a change of the file. Reads that are cut short must make no
// difference; one that is interrupted, no other than one that fails; and whatever a file turns into
// while it is read, nothing is left, and no read says or writes more than it was asked for.
//
// The kernel hands every read that this thread makes to a handler in here, which makes it in its
// own way. A file system that behaves so would do it at the same place, but to mount one takes
// rights that tests do not have. What the linker or the loader can put in the place of read() is of
// no use: the C library's streams do not call it by its name.
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "service/drm-service-sorn.h"
#include "service/service_log.h"
#include "tests/support/controlled_libc.h"
#include "tests/support/record_checks.h"
#include "tests/support/test_files.h"

namespace {

using namespace avi_builder;
namespace fs = std::filesystem;

// ---- reads, as they are made

// What happens to the reads from now on.
struct Disturbance {
    std::size_t longest = SIZE_MAX;  // no read delivers more
    int error = 0;                   // of the read with that number, counted from 1
    std::uint64_t nth = 0;
    const std::function<void()> *change = nullptr;  // before that read

    std::uint64_t reads = 0;
    std::uint64_t disturbed = 0;
};
Disturbance disturbance;
Disturbance last;  // as it was asked for

constexpr std::uint32_t kOurOwn = 0x5EAD0000;  // marks the reads that the kernel is to make

long make_read(int file, void *to, std::size_t size) {
    const bool is_meant = ++disturbance.reads == disturbance.nth;
    if (is_meant && disturbance.error != 0) {
        ++disturbance.disturbed;
        return -disturbance.error;
    }
    if (is_meant && disturbance.change != nullptr) {
        ++disturbance.disturbed;
        (*disturbance.change)();
    }
    if (size > disturbance.longest) {
        ++disturbance.disturbed;
        size = disturbance.longest;
    }
    const long count = syscall(SYS_read, file, to, size, 0L, 0L, static_cast<long>(kOurOwn));
    return count < 0 ? -errno : count;
}

void on_read(int, siginfo_t *, void *context) {
    auto &registers = static_cast<ucontext_t *>(context)->uc_mcontext.gregs;
    const int before = errno;
    registers[REG_RAX] = make_read(static_cast<int>(registers[REG_RDI]),
                                   reinterpret_cast<void *>(registers[REG_RSI]),
                                   static_cast<std::size_t>(registers[REG_RDX]));
    errno = before;
}

void take_over_reads() {
    struct sigaction action {};
    action.sa_sigaction = on_read;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigaction(SIGSYS, &action, nullptr);
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_read, 0, 2),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[5])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kOurOwn, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP),
    };
    const sock_fprog program = {std::size(filter), filter};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) != 0) {
        std::fputs("disturbed_reads: the kernel hands nothing over\n", stderr);
        std::exit(1);
    }
}

// ---- what is done with a film

[[noreturn]] void stop(const std::string &film, const std::string &rule) {
    std::printf("%s, read %llu, error %d%s, no read longer than %zu:\nThis does not hold: %s\n",
                film.c_str(), static_cast<unsigned long long>(last.nth), last.error,
                last.change == nullptr ? "" : ", the file changes", last.longest, rule.c_str());
    std::exit(1);
}

std::string told;  // by the messages and results of a film

void tell_read(const std::string &film, SvcFileHandle *handle, std::uint32_t size) {
    Bytes buffer(size, '?');
    std::uint32_t count = ~0U;
    if (drm_svc_sorn_read_file(handle, buffer.data(), size, &count) != DRM_SVC_SORN_OK) {
        stop(film, "a read succeeds");
    }
    if (count > size) stop(film, "a read delivers no more than asked for");
    if (buffer.find_first_not_of('?', count) != Bytes::npos) {
        stop(film, "a read writes no more than it delivers");
    }
    told += buffer.substr(0, count);
    told += std::to_string(count) + " at " + std::to_string(drm_svc_sorn_tell_file(handle)) + '\n';
}

void play(const std::string &film) {
    SvcFileHandle *handle = nullptr;
    told += std::to_string(drm_svc_sorn_open_file(film.c_str(), &handle)) + '\n';
    if (handle == nullptr) return;
    for (int i = 0; i < 6; ++i) tell_read(film, handle, 37);
    for (const std::int32_t position : {0, 4, 20, 4090, 5000}) {
        drm_svc_sorn_seek_file(handle, position, SEEK_SET);
        tell_read(film, handle, 5000);
    }
    drm_svc_sorn_seek_file(handle, -10, SEEK_END);
    tell_read(film, handle, 100);
    if (drm_svc_sorn_close_file(handle) != DRM_SVC_SORN_CLOSED) stop(film, "a film is closed");
}

void open_record(const std::string &film, const ControlledLibc &libc) {
    AviRefusal refusal{};
    const AviReader record(aviin_open(film.c_str(), 0, &refusal));
    if (record != nullptr) {
        const auto owns = [&](const void *p, std::uint64_t size) { return libc.owns(p, size); };
        const std::string broken = broken_rule(*record, owns);
        if (!broken.empty()) stop(film, broken);
        told += describe(*record);
    }
    told += std::to_string(static_cast<std::uint32_t>(refusal.reason)) + ' ' +
            std::to_string(refusal.pos) + '\n';
}

int next_descriptor() {
    const int next = dup(0);
    close(next);
    return next;
}

// All that is told of a film under that disturbance.
std::string tell(const std::string &film, const Disturbance &how) {
    const int descriptor = next_descriptor();
    const ControlledLibc libc("");  // keeps account of the memory
    told.clear();
    disturbance = last = how;
    open_record(film, libc);
    play(film);
    if (next_descriptor() != descriptor) stop(film, "no file is left open");
    if (libc.live_allocations() != 0) stop(film, "no memory is left");
    const std::uint64_t disturbed = disturbance.disturbed;
    disturbance = {};
    disturbance.disturbed = disturbed;
    return told;
}

// ---- what happens to it

struct Counts {
    std::uint64_t cut_short = 0;
    std::uint64_t interrupted = 0;
    std::uint64_t changed = 0;
};

void cut_reads_short(Counts &counts, const std::string &film, const std::string &undisturbed) {
    constexpr std::size_t kLongest[] = {1, 2, 3, 5, 7, 8, 11, 12, 13, 100, 512, 4095};
    for (const std::size_t longest : kLongest) {
        if (tell(film, {.longest = longest}) != undisturbed) {
            stop(film, "a read that is cut short makes no difference");
        }
        counts.cut_short += disturbance.disturbed;
    }
}

void interrupt_reads(Counts &counts, const std::string &film) {
    for (std::uint64_t nth = 1;; ++nth) {
        const std::string failed = tell(film, {.error = EIO, .nth = nth});
        if (disturbance.disturbed == 0) return;
        if (tell(film, {.error = EINTR, .nth = nth}) != failed) {
            stop(film, "a read that is interrupted is one that fails");
        }
        ++counts.interrupted;
    }
}

void change_before_reads(Counts &counts, const std::string &source) {
    std::ifstream in(source, std::ios::binary);
    const Bytes content(std::istreambuf_iterator<char>(in), {});
    const auto size = length(content);
    const Bytes largest(std::min<std::size_t>(content.size(), 4096), '\xFF');
    std::optional<TempFile> file;
    const std::function<void()> changes[] = {
        [&] { file->resize(0); },
        [&] { file->resize(size / 2); },
        [&] { file->resize(size + (1 << 20)); },
        [&] { file->write(0, largest); },
        [&] { file->write(size / 2, rich_file()); },
        [&] { file.reset(); },
    };
    for (const auto &change : changes) {
        for (std::uint64_t nth = 1;; ++nth) {
            file.emplace(content);
            const std::string path = file->path();
            tell(path, {.nth = nth, .change = &change});
            if (disturbance.disturbed == 0) break;
            ++counts.changed;
        }
    }
}

void disturb(Counts &counts, const std::string &film) {
    const std::string undisturbed = tell(film, {});
    cut_reads_short(counts, film, undisturbed);
    interrupt_reads(counts, film);
    change_before_reads(counts, film);
}

std::vector<std::string> files_in(int count, char **paths) {
    std::vector<std::string> files;
    for (int i = 0; i < count; ++i) {
        for (const auto &entry : fs::recursive_directory_iterator(paths[i])) {
            if (entry.is_regular_file()) files.push_back(entry.path().string());
        }
    }
    return files;
}

}  // namespace

void _debug_message(int, const char *, unsigned int category, unsigned int level,
                    const char *format, ...) {
    told += std::to_string(category) + ' ' + std::to_string(level) + ' ' + format;
}

int main(int argc, char **argv) {
    const TempFile rich(rich_file());
    std::vector<std::string> films = files_in(argc - 1, argv + 1);
    films.emplace_back(rich.path());
    Counts counts;
    // A thread of its own, so that what a sanitizer reads when the program ends is not handed over.
    std::thread([&] {
        take_over_reads();
        for (const std::string &film : films) disturb(counts, film);
    }).join();
    std::printf(
        "disturbed reads: %zu files, %llu reads cut short, %llu interrupted, %llu before which "
        "a file changed, 0 left behind\n",
        films.size(), static_cast<unsigned long long>(counts.cut_short),
        static_cast<unsigned long long>(counts.interrupted),
        static_cast<unsigned long long>(counts.changed));
    return 0;
}
