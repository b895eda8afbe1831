/* Lets libavformat demux an AVI file through libdrm-sorn, and checks that every packet equals the
 * one that libavformat gets when it reads the file itself.
 *
 *     avformat FILE...
 */
#include <errno.h>
#include <inttypes.h>
#include <libavformat/avformat.h>
#include <stdio.h>
#include <string.h>

#include "drm-service-sorn.h"

/* The library logs through this function, which the process must have. Nothing here needs it. */
void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...);
void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...) {
    (void)line, (void)file, (void)category, (void)level, (void)format;
}

/* ---- libavformat's view of a file, over the five functions */

static int read_packet(void *file, uint8_t *buffer, int size) {
    uint32_t count = 0;
    drm_svc_sorn_read_file(file, buffer, (uint32_t)size, &count);
    return count == 0 ? AVERROR_EOF : (int)count;
}

/* Seek does not say whether it moved, and tell cannot name a position past 2 GiB: ask afterwards.
 */
static int64_t seek(void *file, int64_t offset, int whence) {
    if (whence & AVSEEK_SIZE) {
        const int32_t before = drm_svc_sorn_tell_file(file);
        drm_svc_sorn_seek_file(file, 0, SEEK_END);
        const int32_t size = drm_svc_sorn_tell_file(file);
        drm_svc_sorn_seek_file(file, before, SEEK_SET);
        return size < 0 ? AVERROR(EFBIG) : size;
    }
    if (offset < INT32_MIN || offset > INT32_MAX) return AVERROR(EFBIG);
    drm_svc_sorn_seek_file(file, (int32_t)offset, whence & ~AVSEEK_FORCE);
    const int32_t position = drm_svc_sorn_tell_file(file);
    return position < 0 ? AVERROR(EFBIG) : position;
}

/* ---- the two demuxers, side by side */

static AVFormatContext *open_through_plug_in(SvcFileHandle *file) {
    enum { BUFFER = 32768 };
    AVFormatContext *demuxer = avformat_alloc_context();
    demuxer->pb = avio_alloc_context(av_malloc(BUFFER), BUFFER, 0, file, read_packet, NULL, seek);
    AVIOContext *io = demuxer->pb;
    if (avformat_open_input(&demuxer, NULL, NULL, NULL) == 0) return demuxer;
    av_freep(&io->buffer);
    avio_context_free(&io);
    return NULL;
}

static void close_through_plug_in(AVFormatContext *demuxer) {
    AVIOContext *io = demuxer->pb;
    avformat_close_input(&demuxer);
    av_freep(&io->buffer);
    avio_context_free(&io);
}

static int same_packet(const AVPacket *a, const AVPacket *b) {
    return a->stream_index == b->stream_index && a->pts == b->pts && a->dts == b->dts &&
           a->duration == b->duration && a->flags == b->flags && a->pos == b->pos &&
           a->size == b->size && (a->size == 0 || memcmp(a->data, b->data, (size_t)a->size) == 0);
}

/* The number of packets, all equal, or -1. */
static int64_t compare(AVFormatContext *through, AVFormatContext *direct) {
    if (through->iformat != direct->iformat || through->nb_streams != direct->nb_streams) return -1;
    AVPacket *a = av_packet_alloc(), *b = av_packet_alloc();
    int64_t packets = 0;
    for (;;) {
        const int a_result = av_read_frame(through, a), b_result = av_read_frame(direct, b);
        if (a_result != b_result || (a_result == 0 && !same_packet(a, b))) {
            fprintf(stderr, "packet %" PRId64 " differs\n", packets);
            packets = -1;
            break;
        }
        if (a_result < 0) break;
        ++packets;
        av_packet_unref(a);
        av_packet_unref(b);
    }
    av_packet_free(&a);
    av_packet_free(&b);
    return packets;
}

static int check(const char *path) {
    SvcFileHandle *file;
    if (drm_svc_sorn_open_file(path, &file) != DRM_SVC_SORN_OK) {
        fprintf(stderr, "%s: refused\n", path);
        return 1;
    }
    AVFormatContext *direct = NULL, *through = open_through_plug_in(file);
    int64_t packets = -1;
    if (through != NULL && avformat_open_input(&direct, path, NULL, NULL) == 0) {
        packets = compare(through, direct);
        avformat_close_input(&direct);
    }
    if (through != NULL) close_through_plug_in(through);
    drm_svc_sorn_close_file(file);
    if (packets <= 0) {
        fprintf(stderr, "%s: %s\n", path, packets == 0 ? "no packet" : "not the same");
        return 1;
    }
    printf("%s: %" PRId64 " packets, all equal\n", path, packets);
    return 0;
}

int main(int argc, char **argv) {
    int failed = argc < 2;
    av_log_set_level(AV_LOG_ERROR);
    for (int i = 1; i < argc; ++i) failed |= check(argv[i]);
    return failed;
}
