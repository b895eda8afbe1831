// Compares, on every input, what the library makes of a FourCC with what the second reader makes of
// it: the classification of all 2^32 ids with and without the other way round, and the comparison
// of all 2^32 values with each FourCC that the reader compares with, from both sides.
//
//     classify ids | comparisons [--every=N]
//
// With --every, of each N values one, spread evenly. Exit status: 0 when they agree, 1 when not.
#include <CLI/CLI.hpp>
#include <array>
#include <atomic>
#include <cstdio>
#include <thread>

#include "avi_reader/fourcc.h"
#include "proof/second_reader.h"

namespace {

constexpr std::array kCompared{kRiff, kMrif, kAvi,  kList, kMovi, kIdx1, k1idx, kHdrl,
                               kAvih, kOdml, kStrl, kStrh, kStrf, kStrd, kStrn, kIndx,
                               kAuds, kTxts, kVids, kQrsb, kQrdt, kMtda, kQmnu, kMenu};

bool ids_agree(std::uint32_t value) {
    for (const bool swapped : {false, true}) {
        const auto kind = static_cast<std::uint32_t>(avi_chunk_kind({value}, swapped));
        if (kind != static_cast<std::uint32_t>(second::chunk_kind(value, swapped))) return false;
    }
    return true;
}

bool comparisons_agree(std::uint32_t value) {
    for (const FourCC known : kCompared) {
        const bool equal = second::fourcc_equal(value, known.value);
        if (avi_fourcc_equal({value}, known) != equal) return false;
        if (avi_fourcc_equal(known, {value}) != equal) return false;
    }
    return true;
}

// Whether both agree on every `every`-th value, on each core a part of them.
bool agree(bool (*on)(std::uint32_t), std::uint32_t every) {
    std::atomic<bool> good = true;
    const unsigned parts = std::max(1U, std::thread::hardware_concurrency());
    std::vector<std::thread> threads;
    for (unsigned part = 0; part < parts; ++part) {
        threads.emplace_back([&, part] {
            const std::uint64_t step = std::uint64_t{every} * parts;
            for (std::uint64_t value = std::uint64_t{every} * part; value >> 32 == 0;
                 value += step) {
                if (on(static_cast<std::uint32_t>(value))) continue;
                std::printf("They differ on %08llx.\n", static_cast<unsigned long long>(value));
                good = false;
                return;
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    return good;
}

}  // namespace

int main(int argc, char **argv) {
    std::string what;
    std::uint32_t every = 1;
    CLI::App app("Compares FourCCs' classification and comparison with the second reader's.");
    app.add_option("what", what, "ids or comparisons")
        ->required()
        ->check(CLI::IsMember({"ids", "comparisons"}));
    app.add_option("--every", every, "one value of so many")->check(CLI::PositiveNumber);
    CLI11_PARSE(app, argc, argv);

    const bool ids = what == "ids";
    if (!agree(ids ? ids_agree : comparisons_agree, every)) return 1;
    const std::uint64_t values = ((std::uint64_t{1} << 32) - 1) / every + 1;
    const std::uint64_t each = ids ? 2 : 2 * kCompared.size();
    std::printf("%s: %llu inputs, 0 differences\n", what.c_str(),
                static_cast<unsigned long long>(values * each));
    return 0;
}
