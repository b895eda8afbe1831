// The plug-in with one fault, for tests of the programs that use it. It forwards each call to the
// real one, named by REAL_PLUGIN, and gets one thing wrong, named by FAULT; with an empty FAULT,
// nothing.
#include <dlfcn.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

#include "service/drm-service-sorn.h"

namespace {

bool fault(std::string_view name) {
    const char *wanted = std::getenv("FAULT");
    return wanted != nullptr && name == wanted;
}

template <typename Function>
Function real(const char *name) {
    static void *library = dlopen(std::getenv("REAL_PLUGIN"), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) std::abort();
    return reinterpret_cast<Function>(dlsym(library, name));
}

int reads = 0;

// A media chunk, as far as a file of tests goes: what is not a header.
bool is_payload(std::uint32_t size) {
    return size > 12;
}

}  // namespace

#define REAL(function) real<decltype(&function)>(#function)

int64_t drm_svc_sorn_open_file(const char *path, SvcFileHandle **new_handle) {
    const int64_t code = REAL(drm_svc_sorn_open_file)(path, new_handle);
    if (fault("open-elsewhere")) drm_svc_sorn_seek_file(*new_handle, 5, SEEK_SET);
    return code;
}

int32_t drm_svc_sorn_close_file(SvcFileHandle *handle) {
    const int32_t code = REAL(drm_svc_sorn_close_file)(handle);
    return fault("close") ? DRM_SVC_SORN_NOT_CLOSED : code;
}

int64_t drm_svc_sorn_read_file(SvcFileHandle *handle, void *buffer, uint32_t size,
                               uint32_t *count) {
    const auto read = REAL(drm_svc_sorn_read_file);
    auto *bytes = static_cast<unsigned char *>(buffer);
    ++reads;
    if (fault("interrupt") && reads == 20) std::raise(SIGINT);
    if (fault("end") && reads == 20) std::raise(SIGTERM);
    if (fault("slow") && reads < 4) usleep(120000);
    if (fault("pieces") && is_payload(size)) {
        uint32_t rest = 0;
        read(handle, bytes, size - 1, count);
        read(handle, bytes + size - 1, 1, &rest);
        *count += rest;
        return DRM_SVC_SORN_OK;
    }
    if (fault("short") && is_payload(size)) --size;
    const bool far = REAL(drm_svc_sorn_tell_file)(handle) < 0;
    const int64_t code = read(handle, buffer, size, count);
    if (fault("far bytes") && far && is_payload(size)) bytes[size - 1] ^= 1;
    if (fault("bytes") && is_payload(size)) bytes[size - 1] ^= 1;
    return fault("read") ? -1 : code;
}

int32_t drm_svc_sorn_seek_file(SvcFileHandle *handle, int32_t offset, int whence) {
    const int32_t code = REAL(drm_svc_sorn_seek_file)(handle, offset, whence);
    return fault("seek") ? 0 : code;
}

int32_t drm_svc_sorn_tell_file(SvcFileHandle *handle) {
    const int32_t position = REAL(drm_svc_sorn_tell_file)(handle);
    return fault("tell") ? position + 1 : position;
}
