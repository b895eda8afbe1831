#include "plugin/plugin.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <sys/auxv.h>

#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "terminal/failure.h"
#include "terminal/text.h"

namespace fs = std::filesystem;

namespace {

constexpr const char *kLibrary = "libdrm-sorn.so.0";

Heard messages_heard;
bool printing_messages = false;

void *load(const std::string &path) {
    // A bare name would be searched for along the system's library path.
    const std::string full_path = fs::absolute(path).string();
    void *library = dlopen(full_path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char *reason = dlerror();
        throw Failure(Exit::no_plugin,
                      fmt::format("cannot load the plug-in: {}",
                                  path_text(reason != nullptr ? reason : full_path)));
    }
    return library;
}

void *find(void *library, const char *function) {
    void *address = dlsym(library, function);
    if (address == nullptr) {
        throw Failure(Exit::no_plugin, fmt::format("not the plug-in: it has no {}", function));
    }
    return address;
}

template <typename Function>
Function find_as(void *library, const char *name) {
    return reinterpret_cast<Function>(find(library, name));
}

const char *category_name(unsigned int category) {
    switch (category) {
    case 0x6110000:
        return "api";
    case 0x61e0000:
        return "detail";
    case 0x61f0000:
        return "error";
    default:
        return "other";
    }
}

// As it was started: /proc/self/exe is another file where the loader or an emulator is told to run
// this one.
const char *program_path() {
    return reinterpret_cast<const char *>(getauxval(AT_EXECFN));
}

__attribute__((format(printf, 5, 0))) void print_message(int line, const char *file,
                                                         unsigned int category, unsigned int level,
                                                         const char *format, va_list arguments) {
    std::fprintf(stderr, "%-6s %x/%x %s:%d: ", category_name(category), category, level, file,
                 line);
    std::vfprintf(stderr, format, arguments);
}

}  // namespace

// The one symbol that this program exports. The plug-in's messages end in a line end themselves.
extern "C" __attribute__((format(printf, 5, 6))) void _debug_message(int line, const char *file,
                                                                     unsigned int category,
                                                                     unsigned int level,
                                                                     const char *format, ...) {
    const std::string_view text(format);
    if (text == "CHUNK_TYPE_AUDIO STARTS\n") ++messages_heard.audio_reads;
    if (text == "CHUNK_TYPE_VIDEO STARTS\n") ++messages_heard.video_reads;
    if (!printing_messages) return;
    va_list arguments;
    va_start(arguments, format);
    print_message(line, file, category, level, format, arguments);
    va_end(arguments);
}

Plugin::Plugin(const std::string &path)
    : library_(load(path)),
      open(find_as<decltype(open)>(library_, "drm_svc_sorn_open_file")),
      close(find_as<decltype(close)>(library_, "drm_svc_sorn_close_file")),
      read(find_as<decltype(read)>(library_, "drm_svc_sorn_read_file")),
      seek(find_as<decltype(seek)>(library_, "drm_svc_sorn_seek_file")),
      tell(find_as<decltype(tell)>(library_, "drm_svc_sorn_tell_file")) {}

Plugin::~Plugin() {
    dlclose(library_);
}

std::string default_plugin() {
    std::error_code error;
    const fs::path here = fs::canonical(program_path(), error).parent_path();
    for (const char *folder : {".", "../lib", "../" SORN_INSTALL_LIBDIR}) {
        const fs::path candidate = here / folder / kLibrary;
        if (fs::exists(candidate, error)) return candidate.lexically_normal().string();
    }
    throw Failure(
        Exit::no_plugin,
        fmt::format("no {} is installed with this program: name one with --plugin", kLibrary));
}

const Heard &heard() {
    return messages_heard;
}

void print_messages(bool print) {
    printing_messages = print;
}
