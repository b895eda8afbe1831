// What the fuzz targets share.
#ifndef FUZZ_HARNESS_H
#define FUZZ_HARNESS_H

#include <cstdint>
#include <string_view>

// Ends the process, so that the input is reported, unless the condition holds.
void require(bool condition, const char *rule);

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
