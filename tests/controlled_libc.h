// The C library as the plug-in sees it, under a test's control: what it is asked for is counted,
// chosen calls fail, and what it hands out is tracked until it comes back.
//
//     ControlledLibc libc(content);                      // the file that every open opens
//     libc.fail({Call::allocation, 3});                  // the third one fails
//     AviReaderState *reader = aviin_open("any", 0);
//     aviin_close(reader);
//     EXPECT_EQ(libc.live_allocations(), 0);
//
// It works on code that is linked with the options of the CMake target controlled_libc, which send
// the calls through here. One object at a time, on one thread. Nothing is tracked without one.
#ifndef TESTS_CONTROLLED_LIBC_H
#define TESTS_CONTROLLED_LIBC_H

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

// Kinds of call. The raw ones are those that the C library's stream makes to the system below it.
enum class Call { allocation, open, read, seek, tell, raw_read, raw_seek };
inline constexpr int kCallKinds = 7;

struct Failure {
    Call call = Call::allocation;
    std::uint64_t nth = 1;   // counted from 1
    bool lasting = false;    // the later ones fail too
    bool cut_short = false;  // a read delivers a part of what it could, instead of nothing
};

class ControlledLibc {
public:
    // Opens reach the file system.
    ControlledLibc();
    // Every open opens a file in memory with that content, which must outlive the object.
    explicit ControlledLibc(std::string_view content);
    ~ControlledLibc();
    ControlledLibc(const ControlledLibc &) = delete;
    ControlledLibc &operator=(const ControlledLibc &) = delete;

    void fail(const Failure &failure) { failures_.push_back(failure); }
    void fail_no_more() { failures_.clear(); }
    // After that many calls all fail, so that a walk that would not end does.
    void limit_calls(std::uint64_t calls) { call_limit_ = calls; }
    // From now on the pages of large allocations are counted when they are freed, which takes time.
    void measure_memory() { measures_memory_ = true; }
    // A seek to the end of the file in memory finds it there, as in a file that grows afterwards.
    void claim_size(std::int64_t size) { claimed_size_ = size; }

    [[nodiscard]] std::uint64_t calls(Call call) const { return calls_[index(call)]; }
    [[nodiscard]] bool any_failed() const { return failed_; }
    [[nodiscard]] bool ran_out_of_calls() const { return all_calls_ > call_limit_; }
    [[nodiscard]] std::size_t live_allocations() const;
    [[nodiscard]] std::size_t open_files() const { return open_files_; }
    // Bytes of all allocations so far; of the large ones, only the pages that were written to.
    [[nodiscard]] std::uint64_t touched_memory() const;
    // Whether `pointer` is an allocation that is not freed, of at least `size` bytes.
    [[nodiscard]] bool owns(const void *pointer, std::uint64_t size) const;

    // For the wrappers.
    [[nodiscard]] std::int64_t size() const {
        return claimed_size_.value_or(static_cast<std::int64_t>(content_->size()));
    }
    [[nodiscard]] const std::optional<std::string_view> &content() const { return content_; }
    [[nodiscard]] const Failure *count(Call call);
    [[nodiscard]] void *allocate(std::size_t size);
    [[nodiscard]] bool release(void *pointer);  // false when it is none of ours
    void file_opened() { ++open_files_; }
    void file_closed() { --open_files_; }

private:
    static std::size_t index(Call call) { return static_cast<std::size_t>(call); }

    std::optional<std::string_view> content_;
    std::optional<std::int64_t> claimed_size_;
    std::vector<Failure> failures_;
    std::array<std::uint64_t, kCallKinds> calls_{};
    std::uint64_t all_calls_ = 0;
    std::uint64_t call_limit_ = UINT64_MAX;
    std::uint64_t touched_ = 0;
    std::size_t open_files_ = 0;
    bool failed_ = false;
    bool measures_memory_ = false;
};

#endif
