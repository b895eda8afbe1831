// What the fuzz targets share: a file in memory, and the rules that hold whatever is in it.
#ifndef FUZZ_HARNESS_H
#define FUZZ_HARNESS_H

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/support/controlled_libc.h"

// Ends the process, so that the input is reported, unless the condition holds.
void require(bool condition, const char *rule);

// Opens the file that `libc` holds as a record, checks it against every rule and closes it.
// Returns whether it opened. Nothing may be left behind in either case.
bool check_open(ControlledLibc &libc, std::uint32_t open_option);

// A generous limit to the calls that an open of so many bytes makes.
std::uint64_t call_limit(std::size_t file_size);

// Defined by each target.
extern const bool kInputIsSteered;

// Splits an input into the bytes that steer a target and the file that follows them: the first byte
// is the number of steering bytes.
struct SteeredInput {
    std::string_view steering;
    std::string_view file;
};
SteeredInput split(const std::uint8_t *data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

#endif
