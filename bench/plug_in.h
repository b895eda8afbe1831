// The plug-in as a media service has it: a library loaded at run time, and a log that goes nowhere.
#ifndef BENCH_PLUG_IN_H
#define BENCH_PLUG_IN_H

#include "service/drm-service-sorn.h"

struct PlugIn {
    decltype(&drm_svc_sorn_open_file) open;
    decltype(&drm_svc_sorn_close_file) close;
    decltype(&drm_svc_sorn_read_file) read;
    decltype(&drm_svc_sorn_seek_file) seek;
    decltype(&drm_svc_sorn_tell_file) tell;
};

// Throws when the library or one of its functions is not there. It stays loaded.
PlugIn load_plug_in(const char *path);

#endif
