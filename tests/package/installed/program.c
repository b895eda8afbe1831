#include <drm-service-sorn.h>

void _debug_message(int line, const char *file, unsigned category, unsigned level,
                    const char *format, ...) {
    printf("%x %s:%d %x %s", category, file, line, level, format);
}

int main(int argc, char **argv) {
    SvcFileHandle *file;
    return argc == 2 && drm_svc_sorn_open_file(argv[1], &file) == DRM_SVC_SORN_OK &&
                   drm_svc_sorn_close_file(file) == DRM_SVC_SORN_CLOSED
               ? 0
               : 1;
}
