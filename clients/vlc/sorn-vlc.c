/* Plays an AVI file in VLC, which reads it through libdrm-sorn.
 *
 *     sorn-vlc [--direct] [--OPTION ...] [:OPTION ...] FILE
 *
 * The options are VLC's own, with two dashes for VLC itself (--fullscreen), with a colon for the
 * file
 * (:start-time=60); without a screen or speakers --vout=dummy --aout=dummy does. --direct lets VLC
 * read the file by itself, to compare.
 */
#include <semaphore.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vlc/vlc.h>

#include "stream64.h"

/* ---- VLC's view of a file. It may open one several times at once. */

static int open_file(void *path, void **opened, uint64_t *size) {
    Stream64 *stream = malloc(sizeof *stream);
    const int64_t result = stream != NULL ? stream64_open(stream, path) : DRM_SVC_SORN_NO_MEMORY;
    if (result != DRM_SVC_SORN_OK) {
        fprintf(stderr, "%s: %s\n", (const char *)path, stream64_refusal(path, result));
        free(stream);
        return -1;
    }
    *opened = stream;
    *size = (uint64_t)stream->size;
    return 0;
}

static ssize_t read_bytes(void *opened, unsigned char *buffer, size_t size) {
    return (ssize_t)stream64_read(opened, buffer, size);
}

static int seek(void *opened, uint64_t position) {
    if (position > INT64_MAX) return -1;
    ((Stream64 *)opened)->position = (int64_t)position;
    return 0;
}

static void close_file(void *opened) {
    stream64_close(opened);
    free(opened);
}

/* ---- the program */

static sem_t finished;
static volatile sig_atomic_t interrupted;

static void interrupt(int signal) {
    (void)signal;
    interrupted = 1;
    sem_post(&finished);
}

static void at_end(const libvlc_event_t *event, void *failed) {
    if (event->type == libvlc_MediaPlayerEncounteredError) *(int *)failed = 1;
    sem_post(&finished);
}

/* The exit status: 0 when the file was played to its end. */
static int play(libvlc_media_player_t *player) {
    static int failed;
    libvlc_event_manager_t *events = libvlc_media_player_event_manager(player);
    libvlc_event_attach(events, libvlc_MediaPlayerEndReached, at_end, &failed);
    libvlc_event_attach(events, libvlc_MediaPlayerEncounteredError, at_end, &failed);
    signal(SIGINT, interrupt);
    signal(SIGTERM, interrupt);
    libvlc_media_player_play(player);
    while (sem_wait(&finished) != 0) continue; /* a signal ends the wait without a post */
    libvlc_media_player_stop(player);          /* VLC has no way to cancel a read: waits for it */
    return interrupted ? 130 : failed;
}

int main(int argc, char **argv) {
    const int direct = argc > 1 && strcmp(argv[1], "--direct") == 0;
    const int first = 1 + direct;
    int colon = first;
    while (colon < argc && argv[colon][0] == '-') ++colon;
    if (colon >= argc || argv[argc - 1][0] == ':') {
        fputs("usage: sorn-vlc [--direct] [--OPTION ...] [:OPTION ...] FILE\n", stderr);
        return 2;
    }
    char *path = argv[argc - 1];
    sem_init(&finished, 0, 0);
    libvlc_instance_t *vlc = libvlc_new(colon - first, (const char *const *)argv + first);
    if (vlc == NULL) return 2; /* it has said what is wrong with its options */
    libvlc_media_t *media =
        direct ? libvlc_media_new_path(vlc, path)
               : libvlc_media_new_callbacks(vlc, open_file, read_bytes, seek, close_file, path);
    for (; colon < argc - 1; ++colon) libvlc_media_add_option(media, argv[colon]);
    libvlc_media_player_t *player = libvlc_media_player_new_from_media(media);
    const int status = play(player);
    libvlc_media_player_release(player);
    libvlc_media_release(media);
    libvlc_release(vlc);
    return status;
}
