#include "controlled_libc.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <unordered_map>

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void __real_free(void *pointer);
std::FILE *__real_fopen64(const char *path, const char *mode);
int __real_fclose(std::FILE *file);
std::size_t __real_fread(void *to, std::size_t size, std::size_t count, std::FILE *file);
int __real_fseeko64(std::FILE *file, off64_t offset, int whence);
off64_t __real_ftello64(std::FILE *file);
int __real_fseek(std::FILE *file, long offset, int whence);
long __real_ftell(std::FILE *file);
int __real_fileno(std::FILE *file);
off64_t __real_lseek64(int descriptor, off64_t offset, int whence);

void *__wrap_malloc(std::size_t size);
void *__wrap_calloc(std::size_t count, std::size_t size);
void __wrap_free(void *pointer);
std::FILE *__wrap_fopen64(const char *path, const char *mode);
int __wrap_fclose(std::FILE *file);
std::size_t __wrap_fread(void *to, std::size_t size, std::size_t count, std::FILE *file);
int __wrap_fseeko64(std::FILE *file, off64_t offset, int whence);
off64_t __wrap_ftello64(std::FILE *file);
int __wrap_fseek(std::FILE *file, long offset, int whence);
long __wrap_ftell(std::FILE *file);
int __wrap_fileno(std::FILE *file);
off64_t __wrap_lseek64(int descriptor, off64_t offset, int whence);
}

namespace {

ControlledLibc *current = nullptr;
bool inside = false;  // a call that this file makes itself is not the plug-in's

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
};

std::unordered_map<const void *, Block> blocks;
std::unordered_map<std::FILE *, bool> files;

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

// ---- a file in memory

// Stands for the descriptor that such a file does not have.
constexpr int kMemoryDescriptor = 1 << 20;

struct MemoryFile {
    std::string_view content;
    off64_t pos = 0;
};

ssize_t read_memory(void *cookie, char *to, std::size_t size) {
    auto &file = *static_cast<MemoryFile *>(cookie);
    const auto pos = static_cast<std::uint64_t>(file.pos);
    std::size_t count = 0;
    if (pos < file.content.size()) {
        count = std::min(size, file.content.size() - static_cast<std::size_t>(pos));
    }
    if (const Failure *failure = current == nullptr ? nullptr : current->count(Call::raw_read)) {
        if (!failure->cut_short) {
            errno = EIO;
            return -1;
        }
        count = std::min<std::size_t>(count, 3);
    }
    if (count > 0) std::memcpy(to, &file.content[static_cast<std::size_t>(pos)], count);
    file.pos += static_cast<off64_t>(count);
    return static_cast<ssize_t>(count);
}

int seek_memory(void *cookie, off64_t *offset, int whence) {
    auto &file = *static_cast<MemoryFile *>(cookie);
    if (current != nullptr && current->count(Call::raw_seek) != nullptr) {
        errno = EIO;
        return -1;
    }
    off64_t from = 0;
    if (whence == SEEK_CUR) from = file.pos;
    if (whence == SEEK_END) from = current != nullptr ? current->size() : 0;
    if (from + *offset < 0) {
        errno = EINVAL;
        return -1;
    }
    file.pos = *offset = from + *offset;
    return 0;
}

int close_memory(void *cookie) {
    delete static_cast<MemoryFile *>(cookie);
    return 0;
}

std::FILE *open_memory(std::string_view content) {
    const cookie_io_functions_t functions = {read_memory, nullptr, seek_memory, close_memory};
    std::FILE *file = fopencookie(new MemoryFile{content}, "rb", functions);
    if (file != nullptr) setvbuf(file, nullptr, _IOFBF, 4096);  // as for a file on disk
    return file;
}

// Counts a call on a file, and whether it is to fail.
const Failure *file_call(Call call, std::FILE *file) {
    return watched() && files.count(file) != 0 ? current->count(call) : nullptr;
}

}  // namespace

ControlledLibc::ControlledLibc() {
    if (current != nullptr) std::abort();
    blocks.clear();
    files.clear();
    current = this;
}

ControlledLibc::ControlledLibc(std::string_view content) : ControlledLibc() {
    content_ = content;
}

ControlledLibc::~ControlledLibc() {
    current = nullptr;
}

std::size_t ControlledLibc::live_allocations() const {
    return blocks.size();
}

std::uint64_t ControlledLibc::touched_memory() const {
    std::uint64_t touched = touched_;
    for (const auto &[pointer, block] : blocks) {
        if (block.mapping != nullptr) touched += touched_pages(block) * kPage;
    }
    return touched;
}

bool ControlledLibc::owns(const void *pointer, std::uint64_t size) const {
    const auto found = blocks.find(pointer);
    return found != blocks.end() && found->second.size >= size;
}

const Failure *ControlledLibc::count(Call call) {
    static const Failure exhausted{};
    const std::uint64_t nth = ++calls_[index(call)];
    if (++all_calls_ > call_limit_) return &exhausted;
    for (const Failure &failure : failures_) {
        if (failure.call != call) continue;
        if (failure.nth != nth && !(failure.lasting && failure.nth < nth)) continue;
        failed_ = true;
        return &failure;
    }
    return nullptr;
}

void *ControlledLibc::allocate(std::size_t size) {
    const Inside ours;
    Block block{size, nullptr, 0};
    void *pointer = size < kLarge ? __real_calloc(1, size) : map_large(size, block);
    if (pointer == nullptr) return nullptr;
    if (block.mapping == nullptr) touched_ += size;
    blocks.emplace(pointer, block);
    return pointer;
}

bool ControlledLibc::release(void *pointer) {
    const Inside ours;
    const auto found = blocks.find(pointer);
    if (found == blocks.end()) return false;
    const Block block = found->second;
    blocks.erase(found);
    if (block.mapping == nullptr) {
        __real_free(pointer);
    } else {
        if (measures_memory_) touched_ += touched_pages(block) * kPage;
        munmap(block.mapping, block.mapped + kPage);
    }
    return true;
}

// ---- what the linker puts in the place of the C library's functions

void *__wrap_calloc(std::size_t count, std::size_t size) {
    if (!watched()) return __real_calloc(count, size);
    if (current->count(Call::allocation) != nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    return current->allocate(count * size);
}

void *__wrap_malloc(std::size_t size) {
    return watched() ? __wrap_calloc(1, size) : __real_malloc(size);
}

void __wrap_free(void *pointer) {
    if (pointer == nullptr || inside || current == nullptr || !current->release(pointer)) {
        __real_free(pointer);
    }
}

std::FILE *__wrap_fopen64(const char *path, const char *mode) {
    if (!watched()) return __real_fopen64(path, mode);
    if (current->count(Call::open) != nullptr) {
        errno = EMFILE;
        return nullptr;
    }
    const Inside ours;
    std::FILE *file =
        current->content() ? open_memory(*current->content()) : __real_fopen64(path, mode);
    if (file == nullptr) return nullptr;
    files.emplace(file, true);
    current->file_opened();
    return file;
}

int __wrap_fclose(std::FILE *file) {
    if (watched() && files.erase(file) != 0) current->file_closed();
    return __real_fclose(file);
}

std::size_t __wrap_fread(void *to, std::size_t size, std::size_t count, std::FILE *file) {
    const Failure *failure = file_call(Call::read, file);
    if (failure == nullptr) return __real_fread(to, size, count, file);
    return failure->cut_short ? __real_fread(to, size, count / 2, file) : 0;
}

int __wrap_fseeko64(std::FILE *file, off64_t offset, int whence) {
    if (file_call(Call::seek, file) == nullptr) return __real_fseeko64(file, offset, whence);
    errno = EIO;
    return -1;
}

off64_t __wrap_ftello64(std::FILE *file) {
    if (file_call(Call::tell, file) == nullptr) return __real_ftello64(file);
    errno = EIO;
    return -1;
}

int __wrap_fseek(std::FILE *file, long offset, int whence) {
    if (file_call(Call::seek, file) == nullptr) return __real_fseek(file, offset, whence);
    errno = EIO;
    return -1;
}

long __wrap_ftell(std::FILE *file) {
    if (file_call(Call::tell, file) == nullptr) return __real_ftell(file);
    errno = EIO;
    return -1;
}

int __wrap_fileno(std::FILE *file) {
    return watched() && files.count(file) != 0 && current->content() ? kMemoryDescriptor
                                                                     : __real_fileno(file);
}

off64_t __wrap_lseek64(int descriptor, off64_t offset, int whence) {
    if (!watched()) return __real_lseek64(descriptor, offset, whence);
    if (current->count(Call::seek) != nullptr) {
        errno = EIO;
        return -1;
    }
    if (descriptor != kMemoryDescriptor) return __real_lseek64(descriptor, offset, whence);
    return whence == SEEK_END ? current->size() + offset : -1;  // all that is asked for
}
