/*
 * libdrm-sorn: file-like access to AVI files, plain ones and those with the Sorn extensions.
 *
 * A media service loads libdrm-sorn.so.0 and reaches a file through five functions:
 *
 *     #include <drm-service-sorn.h>
 *
 *     // Prints what form a file starts with, and how long the file is.
 *     int describe(const char *path)
 *     {
 *         SvcFileHandle *file;
 *         unsigned char header[12];
 *         uint32_t count;
 *
 *         if (drm_svc_sorn_open_file(path, &file) != DRM_SVC_SORN_OK)
 *             return 1;  // nothing to release
 *
 *         drm_svc_sorn_read_file(file, header, sizeof header, &count);
 *         if (count == sizeof header) {  // "RIFF", the form's size, "AVI "
 *             drm_svc_sorn_seek_file(file, 0, SEEK_END);
 *             int32_t length = drm_svc_sorn_tell_file(file);
 *             printf("%.4s of type %.4s, %ld bytes\n", (char *)header, (char *)header + 8,
 *                    (long)length);
 *         }
 *         drm_svc_sorn_close_file(file);
 *         return count == sizeof header ? 0 : 1;
 *     }
 *
 * Open accepts a file whose first form is an AVI form with a non-empty "movi" list; a header list
 * before it has to be in order, but need not be there. One to four stray bytes behind the last form
 * can have it refused, too. After that the file is read as it stands: a read delivers exactly the
 * bytes at the position, whatever they belong to.
 *
 * Logging. The library writes nothing itself. It calls a function that the process must provide,
 * by the platform's debug-message library or by the loading program itself:
 *
 *     void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
 *                         const char *format, ...);
 *
 * `line` and `file` say where in the library's source the message comes from, and `format` is a
 * printf-style one for the arguments behind it. Categories and levels:
 *
 *     0x6110000, level 0x4000000   start and success of open and close
 *     0x61e0000, level 0x4000000   inner steps: each read, seek and tell, what a read falls on
 *     0x61f0000, level 0x2000000   failures of open; the text begins "[DRM-ERROR]"
 *
 * It is called on the caller's thread, during the call that it reports on.
 *
 * Threads. There is no global state and there are no locks. Calls on one handle must not overlap;
 * calls on different handles may, also when both have the same file open.
 *
 * Positions are bytes from the start of the file and signed 32-bit values on every build. A file
 * may be longer: beyond 2147483647 it is reached by relative seeks, and tell answers -1 there.
 */
#ifndef DRM_SERVICE_SORN_H
#define DRM_SERVICE_SORN_H

#include <stdint.h>
#include <stdio.h> /* SEEK_SET, SEEK_CUR, SEEK_END */

#if defined(__GNUC__)
#define DRM_SVC_SORN_EXPORT __attribute__((visibility("default")))
#else
#define DRM_SVC_SORN_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* One open file. Made by open, released by close, owned by the caller in between. */
typedef struct SvcFileHandle SvcFileHandle;

/* Results of open, and of read, which has only the first. */
enum {
    DRM_SVC_SORN_OK = 0,            /* success */
    DRM_SVC_SORN_NO_MEMORY = -997,  /* no memory for the handle */
    DRM_SVC_SORN_CANNOT_OPEN = -999 /* no path, or a file that cannot be opened or is refused */
};

/* Results of close. */
enum {
    DRM_SVC_SORN_NOT_CLOSED = 0, /* the handle holds no file: nothing was released */
    DRM_SVC_SORN_CLOSED = 1      /* the handle was released */
};

/*
 * Opens the file at `path` and reads its headers. The cost depends on the headers, on the number of
 * chunks at the first level of the file and of its first form and on the size of the extension
 * chunks, not on the file's length.
 *
 *   path        NUL-terminated; only read during the call. Null is refused.
 *   new_handle  must not be null. On success it receives the handle, at position 0, which the
 *               caller releases with drm_svc_sorn_close_file. On failure it is left alone.
 *
 * Returns DRM_SVC_SORN_OK, or with nothing left to release:
 *   DRM_SVC_SORN_CANNOT_OPEN  `path` is null, the file cannot be opened or read, its first form is
 *                             no AVI form, its header list is malformed or has more than 19
 *                             streams or 12 of a kind, it has no "movi" list or an empty one, one
 *                             to four stray bytes end it, or there is no memory for its record
 *   DRM_SVC_SORN_NO_MEMORY    there is no memory for the handle
 */
DRM_SVC_SORN_EXPORT int64_t drm_svc_sorn_open_file(const char *path, SvcFileHandle **new_handle);

/*
 * Closes the file and releases the handle, which must not be used again.
 *
 *   handle  from a successful open and not yet closed; not null.
 *
 * Returns DRM_SVC_SORN_CLOSED. (DRM_SVC_SORN_NOT_CLOSED stands for a handle without a file, which
 * open never makes.)
 */
DRM_SVC_SORN_EXPORT int32_t drm_svc_sorn_close_file(SvcFileHandle *handle);

/*
 * Reads up to `size` bytes at the position and moves the position past them. When the position is
 * at the payload of an audio ("##wb") or compressed video ("##dc") chunk and `size` is exactly the
 * payload's, a message says so; what is delivered is the same in any case.
 *
 *   handle  from a successful open and not yet closed; not null.
 *   buffer  at least `size` bytes, written only as far as the count says; not null.
 *   size    bytes wanted, 0..4294967295.
 *   count   receives the number of bytes read, 0..size; not null. Fewer than `size` means the end
 *           of the file or a read error; there is no other sign of either.
 *
 * Returns DRM_SVC_SORN_OK, always.
 *
 * A read from 8 or more bytes past the end of the file delivers nothing and moves the position
 * back by 8, or not at all beyond 2147483647; from 1 to 7 bytes past the end, it moves the position
 * to the end.
 */
DRM_SVC_SORN_EXPORT int64_t drm_svc_sorn_read_file(SvcFileHandle *handle, void *buffer,
                                                   uint32_t size, uint32_t *count);

/*
 * Moves the position.
 *
 *   handle  from a successful open and not yet closed; not null.
 *   offset  bytes, -2147483648..2147483647, counted from where `whence` says.
 *   whence  SEEK_SET (0), SEEK_CUR (1) or SEEK_END (2).
 *
 * Returns 1, always. A move to before the start of the file, or with another `whence`, leaves the
 * position where it was; one past the end is done. Tell says where the position is.
 */
DRM_SVC_SORN_EXPORT int32_t drm_svc_sorn_seek_file(SvcFileHandle *handle, int32_t offset,
                                                   int whence);

/*
 * Tells the position.
 *
 *   handle  from a successful open and not yet closed; not null.
 *
 * Returns 0..2147483647, or -1 when the position is larger or cannot be told.
 */
DRM_SVC_SORN_EXPORT int32_t drm_svc_sorn_tell_file(SvcFileHandle *handle);

#ifdef __cplusplus
}
#endif

#endif
