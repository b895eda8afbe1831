#include "tests/support/controlled_libc.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <unordered_map>

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void __real_free(void *pointer);
std::FILE *__real_fopen64(const char *path, const char *mode);
int __real_fileno(std::FILE *file);
off64_t __real_lseek64(int descriptor, off64_t offset, int whence);

void *__wrap_malloc(std::size_t size);
void *__wrap_calloc(std::size_t count, std::size_t size);
void __wrap_free(void *pointer);
std::FILE *__wrap_fopen64(const char *path, const char *mode);
int __wrap_fileno(std::FILE *file);
off64_t __wrap_lseek64(int descriptor, off64_t offset, int whence);
}

namespace {

ControlledLibc *current = nullptr;
bool inside = false;  // a call that this file makes itself is not the library's

struct Inside {
    Inside() { inside = true; }
    ~Inside() { inside = false; }
};

bool watched() {
    return current != nullptr && !inside;
}

// From this size on a buffer is mapped, with its last byte right before a page that cannot be
// touched: a huge one costs nothing until it is written to, and an overrun is caught.
constexpr std::size_t kLarge = 1 << 20;
const auto kPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));

struct Block {
    std::size_t size;
    char *mapping;  // null for a small one
    std::size_t mapped;
    ControlledLibc *owner;  // null once that is gone
};

std::unordered_map<const void *, Block> blocks;

std::uint64_t touched_pages(const Block &block) {
    std::vector<unsigned char> resident(block.mapped / kPage);
    mincore(block.mapping, block.mapped, resident.data());
    return static_cast<std::uint64_t>(
        std::count_if(resident.begin(), resident.end(), [](auto page) { return page & 1; }));
}

void *map_large(std::size_t size, Block &block) {
    block.mapped = (size + kPage - 1) / kPage * kPage;
    void *mapping = mmap(nullptr, block.mapped + kPage, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapping == MAP_FAILED) return nullptr;
    block.mapping = static_cast<char *>(mapping);
    madvise(mapping, block.mapped, MADV_NOHUGEPAGE);
    mprotect(block.mapping + block.mapped, kPage, PROT_NONE);
    return block.mapping + block.mapped - size;
}

struct MemoryFile {
    ControlledLibc *libc;
    off64_t pos;
    std::FILE *file;
};

// Files in memory by what stands for the descriptors that they do not have.
std::map<int, MemoryFile *> files;
constexpr int kFirstDescriptor = 1 << 20;

MemoryFile *memory_file(int descriptor) {
    const auto found = files.find(descriptor);
    return found == files.end() ? nullptr : found->second;
}

}  // namespace

// What the linker and the C library's streams call, and what it does to the object that is asked.
struct LibcWrappers {
    static ssize_t read(void *cookie, char *to, std::size_t size) {
        auto &[libc, pos, file] = *static_cast<MemoryFile *>(cookie);
        const Failure *failure = libc->count(Call::read);
        std::size_t count = libc->whole_bytes(pos, size);
        if (failure != nullptr) count = failure->cut_short ? std::min<std::size_t>(count, 3) : 0;
        count = libc->bytes_at(pos, to, count);
        const bool damaged = libc->damaged_.count(pos) != 0;
        libc->met_damage_ |= damaged;
        if (damaged || (failure != nullptr && !failure->cut_short)) {
            errno = EIO;
            return -1;
        }
        pos += static_cast<off64_t>(count);
        libc->bytes_read_ += count;
        return static_cast<ssize_t>(count);
    }

    static int seek(void *cookie, off64_t *offset, int whence) {
        auto &[libc, pos, file] = *static_cast<MemoryFile *>(cookie);
        if (!libc->seekable_) {
            errno = ESPIPE;
            return -1;
        }
        if (libc->count(Call::seek) != nullptr) {
            errno = EIO;
            return -1;
        }
        off64_t from = 0;
        if (whence == SEEK_CUR) from = pos;
        if (whence == SEEK_END) from = libc->size();
        if (from + *offset < 0) {
            errno = EINVAL;
            return -1;
        }
        pos = *offset = from + *offset;
        return 0;
    }

    static int close(void *cookie) {
        auto *memory = static_cast<MemoryFile *>(cookie);
        --memory->libc->open_files_;
        const Inside ours;
        std::erase_if(files, [memory](const auto &entry) { return entry.second == memory; });
        delete memory;
        return 0;
    }

    static std::FILE *open() {
        if (current->count(Call::open) != nullptr) {
            errno = EMFILE;
            return nullptr;
        }
        const Inside ours;
        auto *memory = new MemoryFile{current, 0, nullptr};
        memory->file = fopencookie(memory, "rb", {read, nullptr, seek, close});
        // The buffer is as large as for a file on disk.
        std::setvbuf(memory->file, nullptr, current->buffered_ ? _IOFBF : _IONBF, 4096);
        int descriptor = kFirstDescriptor;
        while (memory_file(descriptor) != nullptr) ++descriptor;
        files.emplace(descriptor, memory);
        ++current->open_files_;
        return memory->file;
    }

    static void *allocate(std::size_t size) {
        const bool fails = current->count(Call::allocation) != nullptr;
        if (fails || size == current->failing_size_) {
            errno = ENOMEM;
            return nullptr;
        }
        const Inside ours;
        Block block{size, nullptr, 0, current};
        void *pointer = size < kLarge ? __real_calloc(1, size) : map_large(size, block);
        if (pointer == nullptr) return nullptr;
        if (block.mapping == nullptr) current->touched_ += size;
        current->largest_allocation_ = std::max<std::uint64_t>(current->largest_allocation_, size);
        blocks.emplace(pointer, block);
        return pointer;
    }

    // False when it is none of ours.
    static bool release(void *pointer) {
        const Inside ours;
        const auto found = blocks.find(pointer);
        if (found == blocks.end()) return false;
        const Block block = found->second;
        blocks.erase(found);
        if (block.mapping == nullptr) {
            __real_free(pointer);
            return true;
        }
        if (block.owner != nullptr && block.owner->measures_memory_) {
            block.owner->touched_ += touched_pages(block) * kPage;
        }
        munmap(block.mapping, block.mapped + kPage);
        return true;
    }
};

ControlledLibc::ControlledLibc(std::string_view content, std::int64_t zeros_before)
    : content_(content), zeros_before_(zeros_before), outer_(current) {
    current = this;
}

ControlledLibc::~ControlledLibc() {
    for (auto &[pointer, block] : blocks) {
        if (block.owner == this) block.owner = nullptr;
    }
    ControlledLibc **place = &current;
    while (*place != this) place = &(*place)->outer_;
    *place = outer_;
}

std::int64_t ControlledLibc::size() const {
    return claimed_size_.value_or(zeros_before_ + static_cast<std::int64_t>(content_.size()));
}

std::size_t ControlledLibc::bytes_at(std::int64_t position, char *to, std::size_t count) const {
    std::size_t copied = 0;
    for (; copied < count && position < zeros_before_; ++copied, ++position) to[copied] = '\0';
    const auto at = static_cast<std::uint64_t>(position - zeros_before_);
    if (at >= content_.size()) return copied;
    return copied + content_.copy(to + copied, count - copied, static_cast<std::size_t>(at));
}

// As many of `count` bytes as lie in front of the first damaged one.
std::size_t ControlledLibc::whole_bytes(std::int64_t position, std::size_t count) const {
    const auto damage = damaged_.lower_bound(position);
    if (damage == damaged_.end()) return count;
    const auto whole = static_cast<std::uint64_t>(*damage - position);
    return whole < count ? static_cast<std::size_t>(whole) : count;
}

std::size_t ControlledLibc::live_allocations() const {
    return static_cast<std::size_t>(
        std::count_if(blocks.begin(), blocks.end(),
                      [this](const auto &entry) { return entry.second.owner == this; }));
}

std::uint64_t ControlledLibc::touched_memory() const {
    std::uint64_t touched = touched_;
    for (const auto &[pointer, block] : blocks) {
        if (block.owner == this && block.mapping != nullptr) {
            touched += touched_pages(block) * kPage;
        }
    }
    return touched;
}

bool ControlledLibc::owns(const void *pointer, std::uint64_t size) const {
    const auto found = blocks.find(pointer);
    return found != blocks.end() && found->second.owner == this && found->second.size >= size;
}

const Failure *ControlledLibc::count(Call call) {
    static const Failure exhausted{};
    const std::uint64_t nth = ++calls_[index(call)];
    if (++all_calls_ > call_limit_) return &exhausted;
    for (const Failure &failure : failures_) {
        if (!failure.of_all && failure.call != call) continue;
        const std::uint64_t now = failure.of_all ? all_calls_ : nth;
        const bool meant = failure.lasting ? failure.nth <= now : failure.nth == now;
        if (!meant) continue;
        failed_.set(index(call));
        return &failure;
    }
    return nullptr;
}

// ---- what the linker puts in the place of the C library's functions

void *__wrap_malloc(std::size_t size) {
    return watched() ? LibcWrappers::allocate(size) : __real_malloc(size);
}

void *__wrap_calloc(std::size_t count, std::size_t size) {
    return watched() ? LibcWrappers::allocate(count * size) : __real_calloc(count, size);
}

void __wrap_free(void *pointer) {
    if (pointer == nullptr || inside || !LibcWrappers::release(pointer)) __real_free(pointer);
}

std::FILE *__wrap_fopen64(const char *path, const char *mode) {
    const bool on_disk = std::strchr(path, '/') != nullptr;
    return watched() && !on_disk ? LibcWrappers::open() : __real_fopen64(path, mode);
}

int __wrap_fileno(std::FILE *file) {
    for (const auto &[descriptor, memory] : files) {
        if (memory->file == file) return descriptor;
    }
    return __real_fileno(file);
}

off64_t __wrap_lseek64(int descriptor, off64_t offset, int whence) {
    MemoryFile *file = memory_file(descriptor);
    if (file == nullptr) return __real_lseek64(descriptor, offset, whence);
    return LibcWrappers::seek(file, &offset, whence) == 0 ? offset : -1;
}
