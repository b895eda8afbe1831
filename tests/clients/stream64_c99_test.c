/* stream64.h is plain C: this is compiled as C99 without extensions, every warning an error. */
#include "clients/stream64.h"

int measure(const char *path, int64_t *size);

int measure(const char *path, int64_t *size) {
    Stream64 stream;
    if (stream64_open(&stream, path) != DRM_SVC_SORN_OK) return 1;
    *size = stream.size;
    stream64_close(&stream);
    return 0;
}
