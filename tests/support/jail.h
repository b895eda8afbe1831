// A thread that can make no system call but those that it is allowed: any other ends the process.
//
//     JailedThread thread(library_calls());
//     thread.run([&] { result = plugin().open(path, &handle); });
#ifndef TESTS_SUPPORT_JAIL_H
#define TESTS_SUPPORT_JAIL_H

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <vector>

struct SystemCall {
    const char *name;
    long number;
};
using SystemCalls = std::vector<SystemCall>;

// Those that the library makes, all of them through the C library, on this processor: what a
// service that confines itself has to allow. The documents have the same list.
SystemCalls library_calls();

class JailedThread {
public:
    // With `jailed` false, a thread like any other. Where the kernel cannot watch over a thread, as
    // under an emulator, a jailed one ends the process at once.
    explicit JailedThread(const SystemCalls &allowed, bool jailed = true);
    // The thread itself stays and waits: to end would take calls of its own.
    ~JailedThread() = default;
    JailedThread(const JailedThread &) = delete;
    JailedThread &operator=(const JailedThread &) = delete;

    // Runs `work` there, and returns when it is done. In the meantime the caller makes no system
    // call but sched_yield, and not even that for a thread that is not jailed.
    void run(const std::function<void()> &work);

    // What the system knows it by.
    [[nodiscard]] pid_t id() const { return shared_->id; }

private:
    struct Shared {
        bool jailed;
        int to_thread[2];
        std::atomic<pid_t> id;
        std::atomic<const std::function<void()> *> work;
    };
    static void serve(Shared *shared, const SystemCalls &allowed);

    Shared *shared_;
};

#endif
