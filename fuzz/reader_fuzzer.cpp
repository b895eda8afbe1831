// The input is a file: open, every query, every field and buffer of the record, close.
#include "harness.h"

const bool kInputIsSteered = false;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view file(reinterpret_cast<const char *>(data), size);
    for (const std::uint32_t open_option : {0U, 1U}) {
        ControlledLibc libc(file);
        libc.limit_calls(call_limit(size));
        check_open(libc, open_option);
    }
    return 0;
}
