#include "terminal/interrupt.h"

#include <atomic>
#include <csignal>

namespace {

// Set in a signal handler, read by several threads. To load and store it takes no lock, also on
// ARMv5, where other operations would.
std::atomic<bool> noted = false;

}  // namespace

void note_interrupts() {
    struct sigaction action {};
    action.sa_handler = [](int) { noted = true; };
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool interrupted() {
    return noted;
}
