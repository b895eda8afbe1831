// The input is a list of reads and seeks, six bytes each, and a file. Whatever the library makes of
// it, the second reader has to make of it, too.
#include "proof/differential.h"

#include <cstring>
#include <vector>

#include "harness.h"

const bool kInputIsSteered = true;

namespace {

Step step_at(std::string_view steering) {
    const auto kind = static_cast<unsigned char>(steering[0]) % 6;
    std::int32_t value;
    std::memcpy(&value, steering.data() + 2, sizeof value);
    // Most steps stay near the file.
    if (static_cast<unsigned char>(steering[1]) < 0xf0) value %= 0x8000;
    if (kind <= 1) return {Step::Kind::read, value, 0};
    return {Step::Kind::seek, value, kind - 2};  // 3 is no origin
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static std::vector<Step> steps;
    auto [steering, file] = split(data, size);
    steps.clear();
    for (; steering.size() >= 6; steering.remove_prefix(6)) steps.push_back(step_at(steering));
    const std::string found =
        difference({reinterpret_cast<const std::uint8_t *>(file.data()), file.size()}, steps);
    require(found.empty(), found.c_str());
    return 0;
}
