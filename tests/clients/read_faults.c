/* Preloaded into a player, makes libdrm-sorn's reads slow or lets them fail:
 *
 *     READ_DELAY_MS    each read after the first READ_SPARED ones takes that long
 *     READ_MARK        a file that grows by a byte when one of those begins
 *     READ_FAILS=1     those reads deliver nothing
 */
#include <dlfcn.h>
#include <fcntl.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include "drm-service-sorn.h"

typedef int64_t ReadFile(SvcFileHandle *, void *, uint32_t, uint32_t *);

static long number(const char *name) {
    const char *value = getenv(name);
    return value == NULL ? 0 : strtol(value, NULL, 10);
}

static ReadFile *real_read(void) {
    void *plug_in = dlopen("libdrm-sorn.so.0", RTLD_NOW | RTLD_NOLOAD);
    ReadFile *function;
    *(void **)&function = dlsym(plug_in, "drm_svc_sorn_read_file");
    return function;
}

static void mark(void) {
    const char *path = getenv("READ_MARK");
    if (path == NULL) return;
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (write(file, "r", 1) != 1) abort();
    close(file);
}

int64_t drm_svc_sorn_read_file(SvcFileHandle *handle, void *buffer, uint32_t size,
                               uint32_t *count) {
    static atomic_long reads;
    if (atomic_fetch_add(&reads, 1) >= number("READ_SPARED")) {
        const long delay = number("READ_DELAY_MS");
        mark();
        nanosleep(&(struct timespec){delay / 1000, delay % 1000 * 1000000}, NULL);
        if (number("READ_FAILS") != 0) {
            *count = 0;
            return DRM_SVC_SORN_OK;
        }
    }
    return real_read()(handle, buffer, size, count);
}
