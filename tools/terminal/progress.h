// A progress bar on standard error, with rate and time left, when that is a terminal.
#ifndef TOOLS_TERMINAL_PROGRESS_H
#define TOOLS_TERMINAL_PROGRESS_H

#include <chrono>
#include <cstdint>

class Progress {
public:
    Progress(std::int64_t total, bool wanted);
    ~Progress();  // wipes the bar
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void show(std::int64_t done);

private:
    void draw(std::int64_t done) const;

    std::int64_t total_;
    bool on_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point next_;
};

#endif
