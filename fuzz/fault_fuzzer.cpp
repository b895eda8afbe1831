// The input is a list of calls that fail, three bytes each, and a file.
#include "harness.h"

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

bool opens_undisturbed(std::string_view file) {
    ControlledLibc libc(file);
    return check_open(libc, 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const auto [steering, file] = split(data, size);
    bool opens_later = false;
    {
        ControlledLibc libc(file);
        libc.limit_calls(call_limit(file.size()));
        fail_as_told(libc, steering);
        check_open(libc, 0);
        libc.fail_no_more();
        opens_later = check_open(libc, 0);
    }
    require(opens_later == opens_undisturbed(file), "a failure has no effect on a later open");
    return 0;
}
