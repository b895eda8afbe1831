/* Plays an AVI file through libdrm-sorn as a player would: steps from chunk to chunk, reads each
 * payload and says what every stream delivered.
 *
 *     cc -std=c99 play.c -ldrm-sorn -o play && ./play film.avi
 */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "drm-service-sorn.h"

#define LOG_LEVEL_ERROR 0x2000000u

/* The library logs through this function, which the process must have. */
void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...) {
    (void)line, (void)file, (void)category;
    if (level != LOG_LEVEL_ERROR && getenv("DRM_SORN_LOG") == NULL) return;
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
}

static uint32_t little_endian(const unsigned char *b) {
    return b[0] | (uint32_t)b[1] << 8 | (uint32_t)b[2] << 16 | (uint32_t)b[3] << 24;
}

static struct {
    unsigned long chunks;
    unsigned long long bytes;
} streams[100];

int main(int argc, char **argv) {
    static unsigned char payload[1 << 20]; /* a read of exactly one payload is logged as such */
    unsigned char header[8], type[4];
    uint32_t count;
    SvcFileHandle *file;
    if (argc != 2) {
        fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    if (drm_svc_sorn_open_file(argv[1], &file) != DRM_SVC_SORN_OK) {
        fprintf(stderr, "%s: cannot be opened, or is no AVI file that drm-sorn reads\n", argv[1]);
        return 1;
    }

    while (drm_svc_sorn_read_file(file, header, 8, &count), count == 8) {
        if (memcmp(header, "RIFF", 4) == 0 || memcmp(header, "LIST", 4) == 0) {
            drm_svc_sorn_read_file(file, type, 4, &count);
            if (header[0] == 'R' || memcmp(type, "movi", 4) == 0 || memcmp(type, "rec ", 4) == 0)
                continue; /* its first chunk is next */
            drm_svc_sorn_seek_file(file, -4, SEEK_CUR);
        }
        const unsigned stream = (header[0] - '0') * 10u + (header[1] - '0');
        const int media = header[0] >= '0' && header[0] <= '9' && stream < 100 &&
                          header[1] >= '0' && header[1] <= '9' && header[2] != 'i';
        uint32_t left = little_endian(header + 4);
        const int32_t pad = left & 1;
        if (media) ++streams[stream].chunks;
        do { /* reads never fail: at the end of the file they deliver nothing */
            drm_svc_sorn_read_file(file, payload, left < sizeof payload ? left : sizeof payload,
                                   &count);
            if (media) streams[stream].bytes += count;
            left -= count;
        } while (left > 0 && count > 0);
        drm_svc_sorn_seek_file(file, pad, SEEK_CUR);
    }
    drm_svc_sorn_close_file(file);
    for (unsigned i = 0; i < 100; ++i) {
        if (streams[i].chunks == 0) continue;
        printf("stream %u: %lu chunks, %llu bytes\n", i, streams[i].chunks, streams[i].bytes);
    }
    return 0;
}
