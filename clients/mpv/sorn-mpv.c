/* Plays an AVI file in mpv, which reads it through libdrm-sorn.
 *
 *     sorn-mpv [--direct] [--OPTION=VALUE ...] FILE
 *
 * The options are mpv's own, each with its value (--fullscreen=yes); without a screen or speakers
 * --vo=null --ao=null does. --direct lets mpv read the file by itself, to compare.
 */
#include <mpv/client.h>
#include <mpv/stream_cb.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "stream64.h"

#define PROTOCOL "sorn"

/* ---- mpv's view of a file. All but `cancel` are called by one thread at a time. */

typedef struct {
    Stream64 stream;
    atomic_int cancelled;
} File;

static int64_t read_bytes(void *cookie, char *buffer, uint64_t size) {
    File *file = cookie;
    return atomic_load(&file->cancelled) ? -1 : stream64_read(&file->stream, buffer, size);
}

static int64_t seek(void *cookie, int64_t position) {
    if (position < 0) return MPV_ERROR_GENERIC;
    return ((File *)cookie)->stream.position = position;
}

static int64_t size(void *cookie) {
    return ((File *)cookie)->stream.size;
}

/* Called by another thread. A read that is under way cannot be stopped; there is none after it. */
static void cancel(void *cookie) {
    atomic_store(&((File *)cookie)->cancelled, 1);
}

static void close_file(void *cookie) {
    stream64_close(&((File *)cookie)->stream);
    free(cookie);
}

static int open_file(void *unused, char *uri, mpv_stream_cb_info *info) {
    (void)unused;
    const char *path = uri + strlen(PROTOCOL "://");
    File *file = calloc(1, sizeof *file);
    const int64_t result =
        file != NULL ? stream64_open(&file->stream, path) : DRM_SVC_SORN_NO_MEMORY;
    if (result != DRM_SVC_SORN_OK) {
        fprintf(stderr, "%s: %s\n", path, stream64_refusal(path, result));
        free(file);
        return MPV_ERROR_LOADING_FAILED;
    }
    info->cookie = file;
    info->read_fn = read_bytes;
    info->seek_fn = seek;
    info->size_fn = size;
    info->close_fn = close_file;
    info->cancel_fn = cancel;
    return 0;
}

/* ---- the program */

static volatile sig_atomic_t interrupted;

static void interrupt(int signal) {
    (void)signal;
    interrupted = 1;
}

/* The exit status: 0 when the file was played to its end or the window was closed. */
static int play(mpv_handle *mpv, const char *uri) {
    mpv_command(mpv, (const char *[]){"loadfile", uri, NULL});
    while (!interrupted) {
        const mpv_event *event = mpv_wait_event(mpv, 0.1);
        if (event->event_id == MPV_EVENT_SHUTDOWN) return 0;
        if (event->event_id != MPV_EVENT_END_FILE) continue;
        const mpv_event_end_file *end = event->data;
        if (end->reason != MPV_END_FILE_REASON_ERROR) return 0;
        fprintf(stderr, "%s: %s\n", uri, mpv_error_string(end->error));
        return 1;
    }
    return 130;
}

static int set_option(mpv_handle *mpv, char *option) {
    char *value = strchr(option, '=');
    if (value != NULL) *value++ = '\0';
    const int result = mpv_set_option_string(mpv, option + 2, value != NULL ? value : "yes");
    if (result < 0) fprintf(stderr, "%s: %s\n", option, mpv_error_string(result));
    return result;
}

int main(int argc, char **argv) {
    const char *protocol = PROTOCOL "://";
    int i = 1;
    mpv_handle *mpv = mpv_create();
    if (mpv == NULL) return 1;
    mpv_set_option_string(mpv, "input-default-bindings", "yes");
    mpv_set_option_string(mpv, "input-vo-keyboard", "yes");
    mpv_set_option_string(mpv, "osc", "yes");
    for (; i < argc && strncmp(argv[i], "--", 2) == 0; ++i) {
        if (strcmp(argv[i], "--direct") == 0) {
            protocol = ""; /* a plain path */
        } else if (set_option(mpv, argv[i]) < 0) {
            return 2;
        }
    }
    if (i + 1 != argc) {
        fputs("usage: sorn-mpv [--direct] [--OPTION=VALUE ...] FILE\n", stderr);
        return 2;
    }
    signal(SIGINT, interrupt);
    signal(SIGTERM, interrupt);
    if (mpv_initialize(mpv) < 0) return 1;
    mpv_stream_cb_add_ro(mpv, PROTOCOL, NULL, open_file);

    char *uri = malloc(strlen(protocol) + strlen(argv[i]) + 1);
    if (uri == NULL) return 1;
    strcat(strcpy(uri, protocol), argv[i]);
    const int status = play(mpv, uri);
    mpv_terminate_destroy(mpv); /* cancels what is being read */
    free(uri);
    return status;
}
