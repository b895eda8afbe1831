// Ctrl-C, noted instead of ending the program: long work asks, stops and sums up what it did.
#ifndef TOOLS_TERMINAL_INTERRUPT_H
#define TOOLS_TERMINAL_INTERRUPT_H

void note_interrupts();

[[nodiscard]] bool interrupted();

#endif
