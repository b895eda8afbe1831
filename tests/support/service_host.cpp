#include "tests/support/service_host.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "tests/support/jail.h"

namespace {

template <typename Function>
void look_up(Function &function, void *library, const char *name) {
    void *symbol = dlsym(library, name);
    if (symbol == nullptr) throw std::runtime_error(dlerror());
    std::memcpy(&function, &symbol, sizeof function);
}

Plugin load() {
    void *library = dlopen(DRM_SORN_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw std::runtime_error(dlerror());
    Plugin plugin{};
    look_up(plugin.open, library, "drm_svc_sorn_open_file");
    look_up(plugin.close, library, "drm_svc_sorn_close_file");
    look_up(plugin.read, library, "drm_svc_sorn_read_file");
    look_up(plugin.seek, library, "drm_svc_sorn_seek_file");
    look_up(plugin.tell, library, "drm_svc_sorn_tell_file");
    return plugin;
}

const Plugin &unjailed() {
    static const Plugin loaded = load();
    return loaded;
}

JailedThread &jail() {
    static JailedThread thread(library_calls());
    return thread;
}

// One of the plug-in's functions, called on a thread that is jailed with the calls of its list.
template <auto function, typename Result, typename... Arguments>
Result in_jail(Arguments... arguments) {
    Result result{};
    jail().run([&] { result = (unjailed().*function)(arguments...); });
    return result;
}

Plugin load_into_jail() {
    unjailed();
    return {in_jail<&Plugin::open>, in_jail<&Plugin::close>, in_jail<&Plugin::read>,
            in_jail<&Plugin::seek>, in_jail<&Plugin::tell>};
}

}  // namespace

const Plugin &plugin() {
    static const Plugin loaded =
        std::getenv("DRM_SORN_JAIL") == nullptr ? unjailed() : load_into_jail();
    return loaded;
}

std::size_t open_descriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto &entry :
         std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

OpenFile::OpenFile(const char *path) {
    if (plugin().open(path, &handle_) != DRM_SVC_SORN_OK) {
        throw std::runtime_error("the plug-in refused a file");
    }
}

OpenFile::OpenFile(const avi_builder::Bytes &content) : file_(content) {
    if (plugin().open(file_->path(), &handle_) != DRM_SVC_SORN_OK) {
        throw std::runtime_error("the plug-in refused a file");
    }
}

OpenFile::~OpenFile() {
    plugin().close(handle_);
}

avi_builder::Bytes OpenFile::read(std::uint32_t size) const {
    avi_builder::Bytes buffer(size, '?');
    std::uint32_t count = 0xDEADBEEF;
    if (plugin().read(handle_, buffer.data(), size, &count) != DRM_SVC_SORN_OK) {
        throw std::runtime_error("a read returned a failure");
    }
    if (count > size) throw std::runtime_error("a read delivered more than asked for");
    if (buffer.find_first_not_of('?', count) != avi_builder::Bytes::npos) {
        throw std::runtime_error("a read wrote behind what it delivered");
    }
    buffer.resize(count);
    return buffer;
}

std::int32_t OpenFile::seek(std::int64_t offset, int whence) const {
    return plugin().seek(handle_, static_cast<std::int32_t>(offset), whence);
}

std::int32_t OpenFile::tell() const {
    return plugin().tell(handle_);
}
