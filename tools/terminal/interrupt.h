// Ctrl-C, or the request to end, noted instead of ending the program: long work asks, stops, sums
// up what it did and takes away what it began.
#ifndef TOOLS_TERMINAL_INTERRUPT_H
#define TOOLS_TERMINAL_INTERRUPT_H

void note_interrupts();

[[nodiscard]] bool interrupted();

#endif
