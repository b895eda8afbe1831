#include "repair/skeleton.h"

#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "terminal/failure.h"

namespace {

constexpr std::int64_t kMostBytes = std::int64_t{64} << 20;
constexpr std::int64_t kShort = std::int64_t{1} << 20;
constexpr std::int64_t kWithPad = 2;

// In memory, with holes.
class MemoryFile {
public:
    explicit MemoryFile(std::int64_t size) : descriptor_(memfd_create("film", MFD_CLOEXEC)) {
        if (descriptor_ < 0 || ftruncate(descriptor_, size) != 0) fail();
    }
    ~MemoryFile() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    [[nodiscard]] std::string path() const { return fmt::format("/proc/self/fd/{}", descriptor_); }

    void write(const unsigned char *bytes, std::size_t count, std::int64_t pos) const {
        if (pwrite(descriptor_, bytes, count, pos) != static_cast<ssize_t>(count)) fail();
    }

private:
    [[noreturn]] static void fail() {
        throw Failure(Exit::failed, fmt::format("cannot be tried out: {}", std::strerror(errno)));
    }

    int descriptor_;
};

class Skeleton : public ChunkVisitor {
public:
    Skeleton(const InputFile &file, const MemoryFile &to) : file_(file), to_(to) {}

    // Where sizes lead astray, the reader comes by what it passes over elsewhere.
    void copy_if_short() {
        if (file_.size() <= kShort) copy(0, file_.size());
    }

    void enter(const Chunk &list, Parents /*parents*/) override { copy(list.pos, kListHeaderSize); }
    void visit(const Chunk &chunk, Parents parents) override {
        if (in_media(parents)) return;
        const bool filler = is_index(chunk) || is_chunk(chunk, "JUNK");
        copy(chunk.pos, kChunkHeaderSize + (filler ? 0 : chunk.held + kWithPad));
    }
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override {
        if (!in_media(parents)) copy(pos, size);
    }
    void hole(std::int64_t /*pos*/, std::int64_t /*size*/, Parents /*parents*/) override {}

private:
    static bool in_media(Parents parents) {
        return std::any_of(parents.begin(), parents.end(),
                           [](const Chunk &list) { return is_list(list, "movi"); });
    }

    void copy(std::int64_t pos, std::int64_t count) {
        count = std::min({count, file_.size() - pos, kMostBytes - copied_});
        std::vector<unsigned char> block(65536);
        while (count > 0) {
            const auto some =
                static_cast<std::size_t>(std::min(count, static_cast<std::int64_t>(block.size())));
            const std::size_t got = file_.read(block.data(), some, pos);
            if (got == 0) return;
            to_.write(block.data(), got, pos);
            pos += static_cast<std::int64_t>(got);
            count -= static_cast<std::int64_t>(got);
            copied_ += static_cast<std::int64_t>(got);
        }
    }

    const InputFile &file_;
    const MemoryFile &to_;
    std::int64_t copied_ = 0;
};

}  // namespace

AviReader open_skeleton(const InputFile &file, AviRefusal &refusal, const WalkOptions &options) {
    const MemoryFile memory(file.size());
    Skeleton skeleton(file, memory);
    skeleton.copy_if_short();
    walk_chunks(file, skeleton, options);
    return AviReader(aviin_open(memory.path().c_str(), 0, &refusal));
}
