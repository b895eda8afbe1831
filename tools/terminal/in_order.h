// Work on many things at once, whose results are wanted one after the other.
#ifndef TOOLS_TERMINAL_IN_ORDER_H
#define TOOLS_TERMINAL_IN_ORDER_H

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

// Calls work(i) for each i below the count, so many at once, and take(result) with the results in
// their order, on the thread that asks. Ends early when take says false. What work throws is thrown
// here, in its turn. Results that wait for their turn are few, however many there are.
template <typename Work, typename Take>
class InOrder {
    using Result = decltype(std::declval<Work>()(std::size_t{}));

public:
    InOrder(std::size_t count, Work work, Take take) : count_(count), work_(work), take_(take) {}

    void run(std::size_t jobs) {
        if (jobs <= 1) {
            for (std::size_t i = 0; i < count_ && take_(work_(i)); ++i) continue;
            return;
        }
        most_ahead_ = 4 * jobs;
        std::vector<std::jthread> workers;
        for (std::size_t i = 0; i < std::min(jobs, count_); ++i) {
            workers.emplace_back([this] { work_on(); });
        }
        const StopAtEnd stop{*this};
        for (std::size_t i = 0; i < count_ && take_(next_result(i)); ++i) continue;
    }

private:
    struct Slot {
        std::optional<Result> result;
        std::exception_ptr thrown;
    };
    struct StopAtEnd {
        InOrder &order;
        ~StopAtEnd() {
            const std::lock_guard lock(order.mutex_);
            order.stopped_ = true;
            order.changed_.notify_all();
        }
    };

    std::optional<std::size_t> next_work() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return stopped_ || next_ < taken_ + most_ahead_; });
        if (stopped_ || next_ >= count_) return std::nullopt;
        return next_++;
    }

    void work_on() {
        while (const std::optional<std::size_t> i = next_work()) {
            Slot slot;
            try {
                slot.result.emplace(work_(*i));
            } catch (...) {
                slot.thrown = std::current_exception();
            }
            const std::lock_guard lock(mutex_);
            slots_.emplace(*i, std::move(slot));
            changed_.notify_all();
        }
    }

    Result next_result(std::size_t i) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return slots_.contains(i); });
        Slot slot = std::move(slots_.extract(i).mapped());
        taken_ = i + 1;
        changed_.notify_all();
        if (slot.thrown) std::rethrow_exception(slot.thrown);
        return std::move(*slot.result);
    }

    std::size_t count_;
    Work work_;
    Take take_;
    std::size_t most_ahead_ = 0;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::size_t, Slot> slots_;
    std::size_t next_ = 0;
    std::size_t taken_ = 0;
    bool stopped_ = false;
};

template <typename Work, typename Take>
void in_order(std::size_t count, std::size_t jobs, Work work, Take take) {
    InOrder<Work, Take>(count, work, take).run(jobs);
}

#endif
