#include "plug_in.h"

#include <dlfcn.h>

#include <stdexcept>

extern "C" __attribute__((visibility("default"))) void _debug_message(int, const char *,
                                                                      unsigned int, unsigned int,
                                                                      const char *, ...) {}

namespace {

template <typename Function>
void find(void *library, const char *name, Function &function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) throw std::runtime_error(dlerror());
}

}  // namespace

PlugIn load_plug_in(const char *path) {
    void *library = dlopen(path, RTLD_NOW);
    if (library == nullptr) throw std::runtime_error(dlerror());
    PlugIn plug_in;
    find(library, "drm_svc_sorn_open_file", plug_in.open);
    find(library, "drm_svc_sorn_close_file", plug_in.close);
    find(library, "drm_svc_sorn_read_file", plug_in.read);
    find(library, "drm_svc_sorn_seek_file", plug_in.seek);
    find(library, "drm_svc_sorn_tell_file", plug_in.tell);
    return plug_in;
}
