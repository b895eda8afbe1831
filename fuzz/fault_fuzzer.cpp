// The input is a list of calls that fail, three bytes each, and a file.
#include <string>

#include "harness.h"
#include "tests/support/controlled_libc.h"
#include "tests/support/record_checks.h"

const bool kInputIsSteered = true;

namespace {

void fail_as_told(ControlledLibc &libc, std::string_view steering) {
    for (std::size_t i = 0; i + 3 <= steering.size(); i += 3) {
        const auto kind = static_cast<unsigned char>(steering[i]);
        const auto low = static_cast<unsigned char>(steering[i + 1]);
        const auto high = static_cast<unsigned char>(steering[i + 2]);
        libc.fail({.call = static_cast<Call>(kind % kCallKinds),
                   .nth = 1U + low + 256U * (high % 16U),
                   .lasting = (high & 0x80U) != 0,
                   .cut_short = (high & 0x40U) != 0});
    }
}

// Opens the file that `libc` holds as a record, checks it against every rule and closes it.
// Returns whether it opened. Nothing may be left behind in either case.
bool check_open(ControlledLibc &libc) {
    AviReaderState *reader = aviin_open("any", 0);
    const bool opened = reader != nullptr;
    if (opened) {
        const auto owns = [&](const void *p, std::uint64_t size) { return libc.owns(p, size); };
        const std::string broken = broken_rule(*reader, owns);
        require(broken.empty(), broken.c_str());
        aviin_close(reader);
    }
    require(libc.live_allocations() == 0, "no memory is left");
    require(libc.open_files() == 0, "no file is left open");
    require(!libc.ran_out_of_calls(), "the work is in proportion to the file");
    return opened;
}

bool opens_undisturbed(std::string_view file) {
    ControlledLibc libc(file);
    return check_open(libc);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const auto [steering, file] = split(data, size);
    bool opens_later = false;
    {
        ControlledLibc libc(file);
        libc.limit_calls(20 * file.size() + 20000);  // a generous limit
        fail_as_told(libc, steering);
        check_open(libc);
        libc.fail_no_more();
        opens_later = check_open(libc);
    }
    require(opens_later == opens_undisturbed(file), "a failure has no effect on a later open");
    return 0;
}
