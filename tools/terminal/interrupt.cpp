#include "terminal/interrupt.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t noted = 0;

}  // namespace

void note_interrupts() {
    struct sigaction action {};
    action.sa_handler = [](int) { noted = 1; };
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
}

bool interrupted() {
    return noted != 0;
}
