/*
 * 64-bit reading over the five functions of libdrm-sorn, whose positions have 32 bits: what a
 * player needs of a file. Each player's part is then a thin layer; see the folders beside this
 * file.
 *
 *     Stream64 film;
 *     const int64_t result = stream64_open(&film, path);
 *     if (result != DRM_SVC_SORN_OK) return complain(stream64_refusal(path, result));
 *     film.position = film.size / 2;
 *     const int64_t count = stream64_read(&film, buffer, sizeof buffer);
 *     stream64_close(&film);
 *
 * A stream has no lock: one caller at a time. Different streams are independent, also on one file.
 * What the process must have for libdrm-sorn's messages is in drm-service-sorn.h.
 */
#ifndef CLIENTS_STREAM64_H
#define CLIENTS_STREAM64_H

#include <errno.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

#include "drm-service-sorn.h"

/* An open file. `position` is the caller's to set, to 0 or more, and says where the next read
 * starts; the other fields are to be looked at only. */
typedef struct Stream64 {
    int64_t position;
    int64_t size;           /* bytes in the file when it was opened */
    uint64_t reads, seeks;  /* calls made so far */
    SvcFileHandle *file;    /* owned */
    int64_t plug_in_stands; /* where libdrm-sorn's own position is; -1 when not known */
} Stream64;

/* Tell has no answer beyond 2 GiB, so its answer is asked for further and further before the end.
 * From there a step of INT32_MAX back never leaves the file. */
static inline int64_t stream64_measure(SvcFileHandle *file) {
    int64_t stepped_back = 0;
    int32_t told;
    drm_svc_sorn_seek_file(file, 0, SEEK_END);
    while ((told = drm_svc_sorn_tell_file(file)) < 0) {
        drm_svc_sorn_seek_file(file, -INT32_MAX, SEEK_CUR);
        stepped_back += INT32_MAX;
    }
    return stepped_back + told;
}

/*
 * Opens the file at `path`, at position 0. Returns what drm_svc_sorn_open_file does:
 * DRM_SVC_SORN_OK, and the stream is to be closed; or an error, and there is nothing to close.
 */
static inline int64_t stream64_open(Stream64 *stream, const char *path) {
    SvcFileHandle *file;
    const int64_t result = drm_svc_sorn_open_file(path, &file);
    if (result != DRM_SVC_SORN_OK) return result;
    memset(stream, 0, sizeof *stream);
    stream->file = file;
    stream->size = stream64_measure(file);
    stream->plug_in_stands = -1;
    return DRM_SVC_SORN_OK;
}

static inline void stream64_close(Stream64 *stream) {
    drm_svc_sorn_close_file(stream->file);
}

/* Why an open returned `result`, as the second half of a sentence: what is wrong with the path, or
 * that the file itself is refused. The text is valid until the next call of strerror. */
static inline const char *stream64_refusal(const char *path, int64_t result) {
    if (result == DRM_SVC_SORN_NO_MEMORY) return "out of memory";
    if (access(path, R_OK) != 0) return strerror(errno);
    return "refused: no AVI file, or a damaged one (sorn-tool check says where)";
}

/* One absolute seek as far as its offset reaches, and relative ones from there. */
static inline void stream64_go(Stream64 *stream, int64_t position) {
    int whence = SEEK_SET;
    do {
        const int32_t step = position < INT32_MAX ? (int32_t)position : INT32_MAX;
        drm_svc_sorn_seek_file(stream->file, step, whence);
        ++stream->seeks;
        whence = SEEK_CUR;
        position -= step;
    } while (position > 0);
}

/*
 * Reads up to `size` bytes at the position and moves it past them. One call of the plug-in, of
 * exactly `size` bytes where the file holds them and 4 GiB is enough. Nothing is asked for past the
 * end, where a read would move libdrm-sorn's position.
 *
 * Returns the bytes read, fewer than `size` at the end or before an error; 0 at the end of the file
 * or beyond; -1 when nothing could be read although the end is not reached: libdrm-sorn itself does
 * not tell the two apart.
 */
static inline int64_t stream64_read(Stream64 *stream, void *buffer, uint64_t size) {
    if (size == 0 || stream->position >= stream->size) return 0;
    const uint64_t left = (uint64_t)(stream->size - stream->position);
    uint64_t wanted = size < left ? size : left;
    if (wanted > UINT32_MAX) wanted = UINT32_MAX;

    if (stream->plug_in_stands != stream->position) stream64_go(stream, stream->position);
    uint32_t count = 0;
    drm_svc_sorn_read_file(stream->file, buffer, (uint32_t)wanted, &count);
    ++stream->reads;
    stream->position += count;
    stream->plug_in_stands = count == wanted ? stream->position : -1;
    return count > 0 ? (int64_t)count : -1;
}

#endif
