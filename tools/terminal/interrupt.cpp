#include "terminal/interrupt.h"

#include <atomic>
#include <csignal>

namespace {

// Set in a signal handler, read by several threads.
std::atomic<bool> noted = false;
static_assert(std::atomic<bool>::is_always_lock_free);

}  // namespace

void note_interrupts() {
    struct sigaction action {};
    action.sa_handler = [](int) { noted = true; };
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
}

bool interrupted() {
    return noted;
}
