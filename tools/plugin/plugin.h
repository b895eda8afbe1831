// The plug-in as a media service has it: loaded at run time, reached through its five functions,
// and heard through the debug-message function that this program exports to it.
#ifndef TOOLS_PLUGIN_PLUGIN_H
#define TOOLS_PLUGIN_PLUGIN_H

#include <cstdint>
#include <string>

#include "service/drm-service-sorn.h"

class Plugin {
public:
    // Loads the shared object. Throws Failure when it is missing or is not the plug-in.
    explicit Plugin(const std::string &path);
    ~Plugin();
    Plugin(const Plugin &) = delete;
    Plugin &operator=(const Plugin &) = delete;

private:
    void *library_;  // before the functions, which are looked up in it

public:
    decltype(&drm_svc_sorn_open_file) open;
    decltype(&drm_svc_sorn_close_file) close;
    decltype(&drm_svc_sorn_read_file) read;
    decltype(&drm_svc_sorn_seek_file) seek;
    decltype(&drm_svc_sorn_tell_file) tell;
};

// The plug-in that was built or installed with this program. Throws Failure when there is none.
std::string default_plugin();

// What was heard from the plug-in since the program began.
struct Heard {
    std::uint64_t audio_reads = 0;  // reads that it recognised as audio chunks
    std::uint64_t video_reads = 0;  // and as video chunks
};
const Heard &heard();

// Whether messages are also printed to standard error as they come. They are not at first.
void print_messages(bool print);

#endif
