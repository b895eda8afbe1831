/* The public header alone: what a C99 program gets from it, and that the library has it. */
#include "drm-service-sorn.h"

typedef char results_of_open_are_kept[DRM_SVC_SORN_OK == 0 && DRM_SVC_SORN_NO_MEMORY == -997 &&
                                              DRM_SVC_SORN_CANNOT_OPEN == -999
                                          ? 1
                                          : -1];
typedef char
    results_of_close_are_kept[DRM_SVC_SORN_NOT_CLOSED == 0 && DRM_SVC_SORN_CLOSED == 1 ? 1 : -1];

static int64_t (*const open_file)(const char *, SvcFileHandle **) = drm_svc_sorn_open_file;
static int32_t (*const close_file)(SvcFileHandle *) = drm_svc_sorn_close_file;
static int64_t (*const read_file)(SvcFileHandle *, void *, uint32_t,
                                  uint32_t *) = drm_svc_sorn_read_file;
static int32_t (*const seek_file)(SvcFileHandle *, int32_t, int) = drm_svc_sorn_seek_file;
static int32_t (*const tell_file)(SvcFileHandle *) = drm_svc_sorn_tell_file;

void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...);
void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...) {
    (void)line, (void)file, (void)category, (void)level, (void)format;
}

/* Plays the first bytes of the file named on the command line. */
int main(int argc, char **argv) {
    SvcFileHandle *file = NULL;
    char form[4] = {0};
    uint32_t count = 0;
    int failed;

    if (argc != 2 || open_file(argv[1], &file) != DRM_SVC_SORN_OK) return 1;
    failed = seek_file(file, 8, SEEK_SET) != 1 || tell_file(file) != 8 ||
             read_file(file, form, sizeof form, &count) != DRM_SVC_SORN_OK || count != 4 ||
             form[0] != 'A' || form[1] != 'V' || form[2] != 'I' || form[3] != ' ';
    return close_file(file) != DRM_SVC_SORN_CLOSED || failed;
}
