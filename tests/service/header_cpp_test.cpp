// The public header alone, first and in the oldest C++, with the C program's checks.
#include "drm-service-sorn.h"

extern "C" void _debug_message(int, const char *, unsigned int, unsigned int, const char *, ...) {}

namespace {

const int results_of_open_are_kept[] = {DRM_SVC_SORN_OK, DRM_SVC_SORN_NO_MEMORY,
                                        DRM_SVC_SORN_CANNOT_OPEN};

int64_t (*const open_file)(const char *, SvcFileHandle **) = drm_svc_sorn_open_file;
int32_t (*const close_file)(SvcFileHandle *) = drm_svc_sorn_close_file;
int64_t (*const read_file)(SvcFileHandle *, void *, uint32_t, uint32_t *) = drm_svc_sorn_read_file;
int32_t (*const seek_file)(SvcFileHandle *, int32_t, int) = drm_svc_sorn_seek_file;
int32_t (*const tell_file)(SvcFileHandle *) = drm_svc_sorn_tell_file;

}  // namespace

int main(int argc, char **argv) {
    SvcFileHandle *file = 0;
    unsigned char bytes[2] = {0, 0};
    uint32_t count = 0;
    if (results_of_open_are_kept[1] != -997 || results_of_open_are_kept[2] != -999) return 1;
    if (argc != 2 || open_file(argv[1], &file) != results_of_open_are_kept[0]) return 1;
    const bool works = seek_file(file, -1, SEEK_END) == 1 && tell_file(file) > 0 &&
                       read_file(file, bytes, 2, &count) == DRM_SVC_SORN_OK && count == 1;
    return close_file(file) == DRM_SVC_SORN_CLOSED && works ? 0 : 1;
}
