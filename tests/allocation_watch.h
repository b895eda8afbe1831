// Watches what is allocated while an AllocationWatch exists, by whichever library of the process,
// and can make one allocation fail. The program that links this has its own malloc, calloc, realloc
// and free, which pass on to the C library's or to the sanitizer's.
#ifndef TESTS_ALLOCATION_WATCH_H
#define TESTS_ALLOCATION_WATCH_H

// One at a time, for one thread.
class AllocationWatch {
public:
    // The allocation of that number, counted from 1, fails; none does for 0.
    explicit AllocationWatch(long failing = 0);
    ~AllocationWatch();
    AllocationWatch(const AllocationWatch &) = delete;
    AllocationWatch &operator=(const AllocationWatch &) = delete;

    [[nodiscard]] static long allocations();  // asked for, the failing one included
    [[nodiscard]] static long live();         // made and not freed since the watch began
    [[nodiscard]] static bool has_failed();   // whether the failing one was reached
};

// What happens while one of these exists is not watched.
class AllocationPause {
public:
    AllocationPause();
    ~AllocationPause();
    AllocationPause(const AllocationPause &) = delete;
    AllocationPause &operator=(const AllocationPause &) = delete;

private:
    bool watched_;
};

#endif
