/* Demuxes an AVI file by libavformat, which reads it through libdrm-sorn, and says what each stream
 * delivered: its packets, their bytes, and the MD5 of the bytes and their times.
 *
 *     sorn-avformat [--direct] [--start=SECONDS] FILE
 *
 * --direct lets libavformat read the file by itself, to compare.
 */
#include <inttypes.h>
#include <libavformat/avformat.h>
#include <libavutil/md5.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "stream64.h"

/* ---- libavformat's view of a file */

/* Never 0, which says nothing to libavformat. */
static int read_packet(void *stream, uint8_t *buffer, int size) {
    const int64_t count = stream64_read(stream, buffer, (uint64_t)size);
    if (count < 0) return AVERROR(EIO);
    return count == 0 ? AVERROR_EOF : (int)count;
}

static int64_t seek(void *opaque, int64_t offset, int whence) {
    Stream64 *stream = opaque;
    switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
        return stream->size;
    case SEEK_SET:
        break;
    case SEEK_CUR:
        offset += stream->position;
        break;
    case SEEK_END:
        offset += stream->size;
        break;
    default:
        return AVERROR(EINVAL);
    }
    if (offset < 0) return AVERROR(EINVAL);
    return stream->position = offset;
}

static AVIOContext *new_io(Stream64 *stream) {
    enum { ROOM = 32768 };
    unsigned char *buffer = av_malloc(ROOM);
    AVIOContext *io = avio_alloc_context(buffer, ROOM, 0, stream, read_packet, NULL, seek);
    if (io == NULL) av_free(buffer);
    return io;
}

static void free_io(AVIOContext *io) {
    av_freep(&io->buffer); /* libavformat may have put another one there */
    avio_context_free(&io);
}

/* ---- the program */

static int complain(const char *path, int error) {
    fprintf(stderr, "%s: %s\n", path, av_err2str(error));
    return 1;
}

typedef struct {
    struct AVMD5 *md5;
    int64_t packets, bytes;
} Tally;

static void add(Tally *tally, const AVPacket *packet) {
    const int64_t times[] = {packet->pts, packet->dts, packet->duration, packet->pos};
    av_md5_update(tally->md5, (const uint8_t *)times, sizeof times);
    av_md5_update(tally->md5, packet->data, (size_t)packet->size);
    ++tally->packets;
    tally->bytes += packet->size;
}

static void print(unsigned number, Tally *tally) {
    uint8_t md5[16];
    av_md5_final(tally->md5, md5);
    printf("stream %u: %" PRId64 " packets, %" PRId64 " bytes, MD5 ", number, tally->packets,
           tally->bytes);
    for (size_t i = 0; i < sizeof md5; ++i) printf("%02x", md5[i]);
    printf("\n");
}

/* libavformat's error, AVERROR_EOF when all went well. */
static int demux(AVFormatContext *demuxer) {
    const unsigned streams = demuxer->nb_streams;
    Tally *tallies = calloc(streams, sizeof *tallies);
    AVPacket *packet = av_packet_alloc();
    int result;
    for (unsigned i = 0; i < streams; ++i) av_md5_init(tallies[i].md5 = av_md5_alloc());
    while ((result = av_read_frame(demuxer, packet)) == 0) {
        if ((unsigned)packet->stream_index < streams) add(&tallies[packet->stream_index], packet);
        av_packet_unref(packet);
    }
    for (unsigned i = 0; i < streams; ++i) {
        print(i, &tallies[i]);
        av_free(tallies[i].md5);
    }
    av_packet_free(&packet);
    free(tallies);
    return result;
}

/* libavformat's error, AVERROR_EOF when all went well. Without `io`, it opens the path itself. */
static int play(const char *path, AVIOContext *io, double start) {
    AVFormatContext *demuxer = avformat_alloc_context();
    demuxer->pb = io;
    int result = avformat_open_input(&demuxer, path, NULL, NULL);
    if (result < 0) return result;
    if (start > 0) {
        const int64_t time = (int64_t)(start * AV_TIME_BASE);
        result = avformat_seek_file(demuxer, -1, INT64_MIN, time, INT64_MAX, 0);
    }
    if (result >= 0) result = demux(demuxer);
    avformat_close_input(&demuxer);
    return result;
}

static int play_directly(const char *path, double start) {
    const int result = play(path, NULL, start);
    return result == AVERROR_EOF ? 0 : complain(path, result);
}

static int play_through_plug_in(const char *path, double start) {
    Stream64 stream;
    const int64_t result = stream64_open(&stream, path);
    if (result != DRM_SVC_SORN_OK) {
        fprintf(stderr, "%s: %s\n", path, stream64_refusal(path, result));
        return 1;
    }
    AVIOContext *io = new_io(&stream);
    int error = AVERROR(ENOMEM);
    if (io != NULL) {
        error = play(path, io, start);
        if (io->error < 0) error = io->error; /* a demuxer may have taken it for the end */
        free_io(io);
    }
    stream64_close(&stream);
    return error == AVERROR_EOF ? 0 : complain(path, error);
}

int main(int argc, char **argv) {
    int direct = 0, i = 1;
    double start = 0;
    for (; i < argc && strncmp(argv[i], "--", 2) == 0; ++i) {
        if (strcmp(argv[i], "--direct") == 0) direct = 1;
        if (strncmp(argv[i], "--start=", 8) == 0) start = strtod(argv[i] + 8, NULL);
    }
    if (i + 1 != argc) {
        fputs("usage: sorn-avformat [--direct] [--start=SECONDS] FILE\n", stderr);
        return 2;
    }
    av_log_set_level(AV_LOG_ERROR);
    return direct ? play_directly(argv[i], start) : play_through_plug_in(argv[i], start);
}
