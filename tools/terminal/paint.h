// Colours on a terminal.
#ifndef TOOLS_TERMINAL_PAINT_H
#define TOOLS_TERMINAL_PAINT_H

#include <string>

enum class Colour { automatic, always, never };

enum class Tone { plain, faint, strong, kept, bad };

// Text for standard output: coloured when asked for, or by itself when that is a terminal and the
// environment has no NO_COLOR.
class Paint {
public:
    explicit Paint(Colour colour);

    [[nodiscard]] std::string operator()(Tone tone, const std::string &text) const;

private:
    bool on_;
};

#endif
