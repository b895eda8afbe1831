// The input is a file that is repaired: what comes of it opens, is what the changes say, has
// nothing left of what was mended, and would not be changed again.
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "harness.h"
#include "repair/plan.h"

const bool kInputIsSteered = false;

namespace {

class FileInMemory {
public:
    explicit FileInMemory(std::string_view content) : descriptor_(memfd_create("film", 0)) {
        const auto size = static_cast<ssize_t>(content.size());
        require(write(descriptor_, content.data(), content.size()) == size,
                "memory holds the file");
    }
    ~FileInMemory() { close(descriptor_); }
    FileInMemory(const FileInMemory &) = delete;
    FileInMemory &operator=(const FileInMemory &) = delete;

    [[nodiscard]] std::string path() const {
        return "/proc/self/fd/" + std::to_string(descriptor_);
    }

private:
    int descriptor_;
};

Verdict verdict_on(const FileInMemory &memory, const InputFile &file) {
    AviRefusal refusal{};
    const AviReader reader(aviin_open(memory.path().c_str(), 0, &refusal));
    return examined(file, reader.get(), refusal, {});
}

std::string content_of(const InputFile &file) {
    return bytes_of(file, 0, static_cast<std::size_t>(file.size()));
}

std::string changed(std::string content, const std::vector<Edit> &edits) {
    for (auto edit = edits.rbegin(); edit != edits.rend(); ++edit) {
        const auto pos = static_cast<std::size_t>(edit->pos);
        require(
            edit->removed >= 0 && pos + static_cast<std::size_t>(edit->removed) <= content.size(),
            "a change lies in the file");
        content.replace(pos, static_cast<std::size_t>(edit->removed), edit->added);
    }
    return content;
}

void check_mended(const Plan &plan, std::string_view original) {
    const std::string mended = content_of(plan.result());
    require(mended == changed(std::string(original), plan.result().edits()),
            "the changes make the new file");
    const FileInMemory memory(mended);
    const InputFile file(memory.path());
    const Verdict verdict = verdict_on(memory, file);
    require(verdict.opens(), "a mended file opens");
    for (const Rule *rule : plan.mended()) {
        require(!verdict.has(rule), "nothing is left of what was mended");
    }
    const Plan second(file, verdict);
    require(second.holds() && second.result().edits().empty(), "a second repair changes nothing");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view original(reinterpret_cast<const char *>(data), size);
    const FileInMemory memory(original);
    const InputFile file(memory.path());
    const Plan plan(file, verdict_on(memory, file));
    if (plan.holds()) check_mended(plan, original);
    return 0;
}
