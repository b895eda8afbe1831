#include "chunks/comparison.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <unordered_map>

namespace {

constexpr std::size_t kBlock = 32768;
constexpr std::int64_t kSmallestHole = 4096;  // that file systems keep
constexpr std::size_t kMostSteps = 64;     // from where two files part, to look for where they meet
constexpr std::int64_t kReadWhole = 4096;  // contents that a print is taken of whole
constexpr std::int64_t kSample = 1024;     // and of the others' beginning, middle and end
constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t kNowhere = std::numeric_limits<std::size_t>::max();

Span content_of(const ChunkList &list, std::size_t i) {
    return {list.content(i), list.content_end(i)};
}

std::uint64_t mixed(std::uint64_t print, std::uint64_t value) {
    print = (print ^ value) * 0x9E3779B97F4A7C15U;
    return print ^ print >> 32;
}

// Numbers that are alike for chunks that are, and hardly ever for others: to look chunks up by.
class Prints {
public:
    explicit Prints(const ChunkList &list) : list_(list), next_(list.size(), kNone) {}

    // From that chunk on.
    void take(std::size_t from, const WalkOptions &options) {
        prints_.resize(list_.size());
        for (std::size_t i = list_.size(); i-- > from;) {
            if (options.stop && options.stop()) return;
            prints_[i] = print_of(i);
            const auto [place, is_new] = first_.try_emplace(prints_[i], kNone);
            next_[i] = place->second;
            place->second = static_cast<std::uint32_t>(i);
        }
    }

    [[nodiscard]] std::uint64_t operator[](std::size_t i) const { return prints_[i]; }

    // The first chunk with this print from there on, or kNone. `from` never decreases.
    std::uint32_t find(std::uint64_t print, std::size_t from) {
        const auto place = first_.find(print);
        if (place == first_.end()) return kNone;
        while (place->second != kNone && place->second < from) place->second = next_[place->second];
        return place->second;
    }

private:
    [[nodiscard]] std::uint64_t print_of(std::size_t i) const {
        const Chunk chunk = list_.chunk(i);
        std::uint64_t print = mixed(list_.is_lost(i) ? 1 : 0, chunk.id.value);
        print = mixed(print, chunk.type.value);
        print = mixed(print, chunk.declared);
        const std::int64_t begin = list_.content(i);
        const std::int64_t size = list_.content_end(i) - begin;
        print = mixed(print, static_cast<std::uint64_t>(size));
        if (size <= kReadWhole) return add_bytes(print, begin, size);
        print = add_bytes(print, begin, kSample);
        print = add_bytes(print, begin + size / 2, kSample);
        return add_bytes(print, begin + size - kSample, kSample);
    }

    [[nodiscard]] std::uint64_t add_bytes(std::uint64_t print, std::int64_t pos,
                                          std::int64_t size) const {
        std::array<unsigned char, kReadWhole + 8> bytes{};
        const std::size_t got =
            list_.file().read(bytes.data(), static_cast<std::size_t>(size), pos);
        for (std::size_t i = 0; i < got; i += 8) {
            std::uint64_t word = 0;
            std::memcpy(&word, &bytes[i], sizeof word);
            print = mixed(print, word);
        }
        return print;
    }

    const ChunkList &list_;
    std::vector<std::uint64_t> prints_;
    std::vector<std::uint32_t> next_;                         // chunk with the same print
    std::unordered_map<std::uint64_t, std::uint32_t> first_;  // chunk with a print
};

class Comparison {
public:
    Comparison(const ChunkList &a, const ChunkList &b, const WalkOptions &options)
        : a_(a), b_(b), options_(options), prints_a_(a), prints_b_(b) {}

    std::vector<Difference> run() {
        while (i_ < a_.size() && j_ < b_.size() && !stopped()) {
            if (options_.on_progress) options_.on_progress(a_.content(i_));
            if (alike(i_, j_)) {
                ++i_;
                ++j_;
            } else if (!absorb()) {
                meet_again();
            }
        }
        if (!stopped()) tell_gap(a_.size(), b_.size());
        if (!stopped() && printed_) find_moved();
        return std::move(differences_);
    }

private:
    [[nodiscard]] bool stopped() const { return options_.stop && options_.stop(); }

    // How deep they lie follows from the sizes of the lists around them, which are compared as
    // well.
    [[nodiscard]] bool same_kind(std::size_t i, std::size_t j) const {
        const Chunk a = a_.chunk(i);
        const Chunk b = b_.chunk(j);
        return a_.is_lost(i) == b_.is_lost(j) && a.id.value == b.id.value &&
               a.type.value == b.type.value;
    }

    [[nodiscard]] bool same_bytes(Span a, Span b) const {
        return a.size() == b.size() && compare_bytes(a_.file(), a, b_.file(), b, false).bytes == 0;
    }

    [[nodiscard]] bool alike(std::size_t i, std::size_t j) const {
        return same_kind(i, j) && a_.chunk(i).declared == b_.chunk(j).declared &&
               same_bytes(content_of(a_, i), content_of(b_, j));
    }

    // One is a list and the other no longer one, or not yet, because its id is another: what they
    // hold is the same all the same, and is not told of.
    bool absorb() {
        if (a_.is_list(i_) == b_.is_list(j_) || a_.depth(i_) != b_.depth(j_)) return false;
        const std::size_t after_a = a_.after(i_);
        const std::size_t after_b = b_.after(j_);
        const Span a{a_.chunk(i_).payload(), a_.content_end(after_a - 1)};
        const Span b{b_.chunk(j_).payload(), b_.content_end(after_b - 1)};
        if (a_.is_lost(i_) || b_.is_lost(j_) || !same_bytes(a, b)) return false;
        add(Change::changed, i_, j_, true);
        i_ = after_a;
        j_ = after_b;
        return true;
    }

    // Goes on where both files next have chunks that are alike.
    void meet_again() {
        if (!printed_) {
            prints_a_.take(i_, options_);
            prints_b_.take(j_, options_);
            printed_ = true;
            if (stopped()) return;
        }
        std::size_t nearest = kNowhere;
        std::size_t to_a = i_ + 1;
        std::size_t to_b = j_ + 1;
        const auto consider = [&](std::size_t x, std::size_t y) {
            const std::size_t distance = x - i_ + (y - j_);
            if (distance >= nearest) return;
            nearest = distance;
            to_a = x;
            to_b = y;
        };
        for (std::size_t k = 0; k < kMostSteps && k < nearest; ++k) {
            if (i_ + k < a_.size()) {
                const std::uint32_t y = prints_b_.find(prints_a_[i_ + k], j_);
                if (y != kNone) consider(i_ + k, y);
            }
            if (j_ + k < b_.size()) {
                const std::uint32_t x = prints_a_.find(prints_b_[j_ + k], i_);
                if (x != kNone) consider(x, j_ + k);
            }
        }
        // Of contents that are not the same, the samples can be.
        const bool near_ends = a_.size() - i_ <= kMostSteps && b_.size() - j_ <= kMostSteps;
        if (nearest == kNowhere && near_ends && differ_in_header_alone(a_.size(), b_.size())) {
            return;
        }
        if (nearest == 0) {
            tell_gap(i_ + 1, j_ + 1);
        } else if (!differ_in_header_alone(to_a, to_b)) {
            tell_gap(to_a, to_b);
        }
    }

    // A size that misleads, or an id, makes other chunks of the bytes that follow it.
    bool differ_in_header_alone(std::size_t end_a, std::size_t end_b) {
        if (end_a == i_ || end_b == j_ || a_.depth(i_) != b_.depth(j_) || a_.is_lost(i_) ||
            b_.is_lost(j_) || a_.is_list(i_) != b_.is_list(j_)) {
            return false;
        }
        const Span a{a_.content(i_), a_.content_end(end_a - 1)};
        const Span b{b_.content(j_), b_.content_end(end_b - 1)};
        if (!same_bytes(a, b)) return false;
        add(Change::changed, i_, j_, true);
        i_ = end_a;
        j_ = end_b;
        return true;
    }

    // Tells of everything up to there: chunks of the same kind are the same chunk, changed.
    void tell_gap(std::size_t end_a, std::size_t end_b) {
        while (i_ < end_a && j_ < end_b) {
            if (same_kind(i_, j_) || !skip_to_same_kind(end_a, end_b)) tell_pair();
        }
        while (i_ < end_a) add(Change::missing, i_++, kNone);
        while (j_ < end_b) add(Change::added, kNone, j_++);
    }

    // What stands in either file before the next that is of the same kind as the other's.
    bool skip_to_same_kind(std::size_t end_a, std::size_t end_b) {
        for (std::size_t k = 1; k < kMostSteps; ++k) {
            if (i_ + k < end_a && same_kind(i_ + k, j_)) {
                for (; k > 0; --k) add(Change::missing, i_++, kNone);
                return true;
            }
            if (j_ + k < end_b && same_kind(i_, j_ + k)) {
                for (; k > 0; --k) add(Change::added, kNone, j_++);
                return true;
            }
        }
        return false;
    }

    // Of another kind, it is the same chunk when its id alone changed.
    void tell_pair() {
        const bool same =
            same_kind(i_, j_) ||
            (a_.depth(i_) == b_.depth(j_) && a_.is_lost(i_) == b_.is_lost(j_) &&
             a_.is_list(i_) == b_.is_list(j_) && a_.chunk(i_).declared == b_.chunk(j_).declared);
        if (!same) {
            add(Change::missing, i_, kNone);
            add(Change::added, kNone, j_);
        } else if (!alike(i_, j_)) {
            add(Change::changed, i_, j_);
        }
        ++i_;
        ++j_;
    }

    void add(Change change, std::size_t i, std::size_t j, bool header_alone = false) {
        differences_.push_back(
            {change, static_cast<std::uint32_t>(i), static_cast<std::uint32_t>(j), header_alone});
    }

    // What is missing in one place and was added in another.
    void find_moved() {
        std::unordered_multimap<std::uint64_t, std::size_t> added;
        for (std::size_t d = 0; d < differences_.size(); ++d) {
            const Difference &difference = differences_[d];
            if (difference.change != Change::added || b_.is_list(difference.second)) continue;
            added.emplace(prints_b_[difference.second], d);
        }
        for (Difference &difference : differences_) {
            if (difference.change != Change::missing || a_.is_list(difference.first)) continue;
            const auto match = added.find(prints_a_[difference.first]);
            if (match == added.end()) continue;
            Difference &other = differences_[match->second];
            if (!alike(difference.first, other.second)) continue;
            difference = {Change::moved, difference.first, other.second};
            other.second = kNone;
            added.erase(match);
        }
        std::erase_if(differences_, [](const Difference &difference) {
            return difference.first == kNone && difference.second == kNone;
        });
    }

    const ChunkList &a_;
    const ChunkList &b_;
    const WalkOptions &options_;
    Prints prints_a_;
    Prints prints_b_;
    bool printed_ = false;
    std::size_t i_ = 0;
    std::size_t j_ = 0;
    std::vector<Difference> differences_;
};

}  // namespace

ByteDifference compare_bytes(const InputFile &first, Span a, const InputFile &second, Span b,
                             bool count_all) {
    ByteDifference difference;
    std::array<unsigned char, kBlock> left;
    std::array<unsigned char, kBlock> right;
    const std::int64_t size = std::min(a.size(), b.size());
    for (std::int64_t done = 0; done < size && (count_all || difference.bytes == 0);) {
        if (size - done >= kSmallestHole) {
            const std::int64_t hole = std::min(first.data_after(a.begin + done) - a.begin,
                                               second.data_after(b.begin + done) - b.begin);
            done = std::clamp(hole, done, size);
        }
        const auto count = static_cast<std::size_t>(std::min<std::int64_t>(size - done, kBlock));
        const std::size_t got = std::min(first.read(left.data(), count, a.begin + done),
                                         second.read(right.data(), count, b.begin + done));
        for (std::size_t i = 0; i < got; ++i) {
            if (left[i] == right[i]) continue;
            if (difference.bytes++ == 0) difference.offset = done + static_cast<std::int64_t>(i);
        }
        if (got < count) break;
        done += static_cast<std::int64_t>(count);
    }
    return difference;
}

std::vector<Difference> compare_chunks(const ChunkList &first, const ChunkList &second,
                                       const WalkOptions &options) {
    return Comparison(first, second, options).run();
}
