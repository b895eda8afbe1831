#include "tests/support/jail.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>

SystemCalls library_calls() {
#define CALL(name) \
    { #name, SYS_##name }
#if defined(__arm__)
    return {CALL(openat), CALL(close), CALL(read),     CALL(_llseek), CALL(statx), CALL(mmap2),
            CALL(munmap), CALL(brk),   CALL(mprotect), CALL(madvise), CALL(futex)};
#elif defined(__x86_64__)
    return {CALL(openat), CALL(close), CALL(read),     CALL(lseek),   CALL(newfstatat), CALL(mmap),
            CALL(munmap), CALL(brk),   CALL(mprotect), CALL(madvise), CALL(futex)};
#else
    return {};
#endif
#undef CALL
}

namespace {

#if defined(__x86_64__)
bool jail_this_thread(const SystemCalls &allowed) {
    const sock_filter kill = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS);
    std::vector<sock_filter> filter = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AUDIT_ARCH_X86_64, 1, 0),
        kill,
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    for (const SystemCall &call : allowed) {
        const auto number = static_cast<std::uint32_t>(call.number);
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    }
    filter.push_back(kill);
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) == 0;
}
#else
bool jail_this_thread(const SystemCalls &) {
    return false;
}
#endif

}  // namespace

JailedThread::JailedThread(const SystemCalls &allowed, bool jailed) : shared_(new Shared{}) {
    shared_->jailed = jailed;
    if (pipe(shared_->to_thread) != 0) throw std::runtime_error("cannot make a pipe");
    std::thread(serve, shared_, allowed).detach();
    while (shared_->id == 0) sched_yield();
}

void JailedThread::serve(Shared *shared, const SystemCalls &allowed) {
    const auto id = static_cast<pid_t>(syscall(SYS_gettid));
    if (shared->jailed && !jail_this_thread(allowed)) {
        std::fputs("The kernel lets no thread be jailed.\n", stderr);
        std::_Exit(1);
    }
    shared->id = id;
    // To wait takes a call that is allowed; to say that the work is done takes none.
    char byte;
    while (read(shared->to_thread[0], &byte, 1) == 1) {
        (*shared->work.load())();
        shared->work = nullptr;
    }
}

void JailedThread::run(const std::function<void()> &work) {
    shared_->work = &work;
    if (write(shared_->to_thread[1], "", 1) != 1) throw std::runtime_error("cannot wake a thread");
    while (shared_->work.load() != nullptr) {
        if (shared_->jailed) sched_yield();
    }
}
