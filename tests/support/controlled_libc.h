// The C library as the library sees it, under a test's control: the file that it opens is in
// memory and may have bytes that cannot be read, chosen requests fail, and what it hands out is
// tracked until it comes back.
//
//     ControlledLibc libc(content);                      // the file that every open opens
//     libc.damage(100);                                  // its byte 100 cannot be read
//     libc.fail({Call::allocation, 3});                  // the third one fails
//     AviReaderState *reader = aviin_open("any", 0);
//     aviin_close(reader);
//     EXPECT_EQ(libc.live_allocations(), 0);
//
// Reads and seeks are counted, and fail, below the C library's stream, as the system's would: which
// of its functions the library calls makes no difference.
//
// It works on code that is linked with the options of the CMake target controlled_libc, which send
// allocations and opens through here. All on one thread. The newest object is the one that is
// asked; nothing is tracked without one.
#ifndef TESTS_SUPPORT_CONTROLLED_LIBC_H
#define TESTS_SUPPORT_CONTROLLED_LIBC_H

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

enum class Call { allocation, open, read, seek };
inline constexpr int kCallKinds = 4;

struct Failure {
    Call call = Call::allocation;
    std::uint64_t nth = 1;   // counted from 1
    bool lasting = false;    // the later ones fail too
    bool cut_short = false;  // a read delivers a part of what it could, instead of nothing
    bool of_all = false;     // `nth` counts the calls of every kind, and `call` does not matter
};

class ControlledLibc {
public:
    // Every open of a name, which is a path without a slash, opens a file in memory with that
    // content, which must outlive the object. The content may begin behind any number of zeros.
    explicit ControlledLibc(std::string_view content, std::int64_t zeros_before = 0);
    ~ControlledLibc();
    ControlledLibc(const ControlledLibc &) = delete;
    ControlledLibc &operator=(const ControlledLibc &) = delete;

    // Reads end in front of that byte, and fail when they begin with it.
    void damage(std::int64_t position) { damaged_.insert(position); }
    void repair() { damaged_.clear(); }
    void fail(const Failure &failure) { failures_.push_back(failure); }
    void fail_no_more() { failures_.clear(); }
    // Whatever is asked for in exactly that size cannot be had.
    void fail_allocations_of(std::size_t size) { failing_size_ = size; }
    // After that many calls all fail, so that a walk that would not end does.
    void limit_calls(std::uint64_t calls) { call_limit_ = calls; }
    // From now on the pages of large allocations are counted when they are freed, which takes time.
    void measure_memory() { measures_memory_ = true; }
    // The file has that size when it is asked for it, as one that grows or shrinks afterwards.
    void claim_size(std::int64_t size) { claimed_size_ = size; }
    // The file is a pipe: it has no positions, and so no size.
    void forbid_seeks() { seekable_ = false; }
    // Every read of the C library reaches the file, byte by byte where it is read so.
    void use_no_buffer() { buffered_ = false; }

    [[nodiscard]] std::uint64_t calls(Call call) const { return calls_[index(call)]; }
    [[nodiscard]] std::uint64_t all_calls() const { return all_calls_; }
    [[nodiscard]] bool any_failed() const { return failed_.any(); }
    [[nodiscard]] bool any_failed(Call call) const { return failed_[index(call)]; }
    [[nodiscard]] bool met_damage() const { return met_damage_; }
    [[nodiscard]] bool ran_out_of_calls() const { return all_calls_ > call_limit_; }
    [[nodiscard]] std::size_t live_allocations() const;
    [[nodiscard]] std::size_t open_files() const { return open_files_; }
    [[nodiscard]] std::uint64_t bytes_read() const { return bytes_read_; }
    [[nodiscard]] std::uint64_t largest_allocation() const { return largest_allocation_; }
    // Bytes of all allocations so far; of the large ones, only the pages that were written to.
    [[nodiscard]] std::uint64_t touched_memory() const;
    // Whether `pointer` is an allocation that is not freed, of at least `size` bytes.
    [[nodiscard]] bool owns(const void *pointer, std::uint64_t size) const;

private:
    friend struct LibcWrappers;

    static std::size_t index(Call call) { return static_cast<std::size_t>(call); }
    [[nodiscard]] std::int64_t size() const;
    [[nodiscard]] std::size_t bytes_at(std::int64_t position, char *to, std::size_t count) const;
    [[nodiscard]] std::size_t whole_bytes(std::int64_t position, std::size_t count) const;
    [[nodiscard]] const Failure *count(Call call);

    std::string_view content_;
    std::int64_t zeros_before_;
    std::set<std::int64_t> damaged_;
    std::optional<std::int64_t> claimed_size_;
    std::vector<Failure> failures_;
    std::array<std::uint64_t, kCallKinds> calls_{};
    std::uint64_t all_calls_ = 0;
    std::uint64_t call_limit_ = UINT64_MAX;
    std::size_t failing_size_ = SIZE_MAX;
    std::uint64_t bytes_read_ = 0;
    std::uint64_t largest_allocation_ = 0;
    std::uint64_t touched_ = 0;
    std::size_t open_files_ = 0;
    std::bitset<kCallKinds> failed_;
    bool met_damage_ = false;
    bool measures_memory_ = false;
    bool seekable_ = true;
    bool buffered_ = true;
    ControlledLibc *outer_;  // the one that is asked again when this one is gone
};

#endif
