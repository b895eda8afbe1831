// Where an axis is marked, and with what words: on round numbers.
#ifndef TOOLS_PICTURE_TICKS_H
#define TOOLS_PICTURE_TICKS_H

#include <string>
#include <vector>

struct Tick {
    double value;
    std::string words;
    bool fine = false;  // every second one, left out where there is little room
};

// "1,500", "0.25"
[[nodiscard]] std::string number_words(double number);

// From 0 to so many bytes: "0", "20 KiB", "40 KiB".
[[nodiscard]] std::vector<Tick> size_ticks(double bytes);

// From 0 to a time in seconds: "0:00", "0:30". At most so many.
[[nodiscard]] std::vector<Tick> time_ticks(double seconds, int most = 10);

// From a negative lag to a lead, in seconds: "-0.5 s", "0", "+0.5 s".
[[nodiscard]] std::vector<Tick> lead_ticks(double low, double high);

// From 0 to a rate in bytes a second: "0", "200 kbit/s".
[[nodiscard]] std::vector<Tick> rate_ticks(double bytes_per_second);

#endif
