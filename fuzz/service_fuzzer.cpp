// The input is a list of reads, seeks and tells, six bytes each, and a file. What is read, and
// every position, is compared with the input.
#include <drm-service-sorn.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "harness.h"

const bool kInputIsSteered = true;

// The messages are formatted as the platform would, so that their arguments are looked at.
extern "C" void _debug_message(int line, const char *file, unsigned int category,
                               unsigned int level, const char *format, ...)
    __attribute__((format(printf, 5, 6)));

void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    require(line > 0 && file != nullptr && length > 0, "a message says where it comes from");
    require(level == (category == 0x61f0000U ? 0x2000000U : 0x4000000U),
            "a category has one level");
}

namespace {

struct Step {
    unsigned kind;
    std::int32_t value;
};

Step step_at(std::string_view steering) {
    std::int32_t value;
    std::memcpy(&value, steering.data() + 2, sizeof value);
    // Most steps stay near the file.
    if (static_cast<unsigned char>(steering[1]) < 0xf0) value %= 0x8000;
    return {static_cast<unsigned char>(steering[0]) % 6U, value};
}

class Model {
public:
    explicit Model(std::string_view file) : file_(file) {}

    void read(SvcFileHandle *handle, std::uint32_t size) {
        // An exact heap block, so that a byte too many is noticed.
        const std::unique_ptr<char[]> buffer(new char[size]);
        std::uint32_t count = ~0U;
        require(drm_svc_sorn_read_file(handle, buffer.get(), size, &count) == DRM_SVC_SORN_OK,
                "a read succeeds");
        const auto end = static_cast<std::int64_t>(file_.size());
        // The look at the 8 bytes before a position past the end leaves the stream short of it.
        if (pos_ > 7 && pos_ <= INT32_MAX && pos_ > end) pos_ = std::max(end, pos_ - 8);
        const std::int64_t left = std::max<std::int64_t>(end - pos_, 0);
        require(count == std::min<std::int64_t>(size, left), "a read delivers what there is");
        require(count == 0 || std::memcmp(buffer.get(), file_.data() + pos_, count) == 0,
                "a read delivers the file's bytes");
        pos_ += count;
    }

    void seek(SvcFileHandle *handle, std::int32_t offset, int whence) {
        require(drm_svc_sorn_seek_file(handle, offset, whence) == 1, "a seek returns 1");
        const std::int64_t from[] = {0, pos_, static_cast<std::int64_t>(file_.size())};
        if (whence > 2 || from[whence] + offset < 0) return;
        pos_ = from[whence] + offset;
    }

    void tell(SvcFileHandle *handle) const {
        require(drm_svc_sorn_tell_file(handle) == (pos_ <= INT32_MAX ? pos_ : -1),
                "tell is where the steps led");
    }

private:
    std::string_view file_;
    std::int64_t pos_ = 0;
};

void play(SvcFileHandle *handle, std::string_view steering, std::string_view file) {
    Model model(file);
    model.tell(handle);
    for (; steering.size() >= 6; steering.remove_prefix(6)) {
        const Step step = step_at(steering);
        if (step.kind <= 1) {
            model.read(handle, static_cast<std::uint32_t>(step.value) % 0x10000);
        } else {
            model.seek(handle, step.value, static_cast<int>(step.kind) - 2);  // 3 is none
        }
        model.tell(handle);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const auto [steering, file] = split(data, size);
    ControlledLibc libc(file);
    char marker = 0;
    auto *const untouched = reinterpret_cast<SvcFileHandle *>(&marker);
    SvcFileHandle *handle = untouched;
    const std::int64_t result = drm_svc_sorn_open_file("any", &handle);
    if (result == DRM_SVC_SORN_OK) {
        require(handle != untouched, "an open stores its handle");
        play(handle, steering, file);
        require(drm_svc_sorn_close_file(handle) == DRM_SVC_SORN_CLOSED, "a close succeeds");
    } else {
        require(result == DRM_SVC_SORN_CANNOT_OPEN, "a refusal has its result");
        require(handle == untouched, "a refusal stores nothing");
    }
    require(libc.live_allocations() == 0 && libc.open_files() == 0, "nothing is left");
    return 0;
}
