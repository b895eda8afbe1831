// Gives libFuzzer the mutations that know chunks. A quarter are its own, which know the dictionary.
#include <algorithm>
#include <cstring>
#include <string>

#include "avi_mutator.h"
#include "harness.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t max_size);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t max_size, unsigned int seed);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t max_size, unsigned int seed) {
    if (seed % 4 == 0 || size == 0) return LLVMFuzzerMutate(data, size, max_size);
    const std::size_t prefix = kInputIsSteered ? 1 + std::min<std::size_t>(data[0], size - 1) : 0;
    std::string file(reinterpret_cast<const char *>(data) + prefix, size - prefix);
    for (unsigned int i = 0; i <= seed / 4 % 4; ++i) {
        file = mutate_avi(file, seed + i, max_size - prefix);
    }
    std::memcpy(data + prefix, file.data(), file.size());
    return prefix + file.size();
}
