// The plug-in's five functions.
#include "drm-service-sorn.h"

#include <cstdlib>
#include <limits>
#include <memory>

#include "avi_reader/avi_reader.h"
#include "service_log.h"

struct SvcFileHandle {
    AviReaderState *reader;  // owned; never null in a handle that open returned
};

namespace {

struct ReleaseHandle {
    void operator()(SvcFileHandle *handle) const {
        aviin_close(handle->reader);
        std::free(handle);
    }
};
using Handle = std::unique_ptr<SvcFileHandle, ReleaseHandle>;

// The position as the callers' 32-bit `long` holds it: one that does not fit cannot be told.
std::int32_t told_position(const AviStream &stream) {
    const std::int64_t pos = avi_file_tell(stream);
    return pos <= std::numeric_limits<std::int32_t>::max() ? static_cast<std::int32_t>(pos) : -1;
}

// Says in the log what a read of `size` bytes at `pos` falls on, by the 8 bytes before it. The
// payload is read from where looking back leaves the stream.
void log_chunk(AviReaderState &reader, std::int32_t pos, std::uint32_t size) {
    const AviChunkHeader chunk = avi_look_back(reader.stream);
    const ChunkKind kind = avi_chunk_kind(chunk.id, reader.open_option != 0);
    const bool whole_chunk = avi_stream_number(chunk.id) && chunk.size == size;
    if (whole_chunk && kind == ChunkKind::audio) {
        SVC_LOG_DETAIL("CHUNK_TYPE_AUDIO STARTS\n");
    } else if (whole_chunk && kind == ChunkKind::compressed_video) {
        SVC_LOG_DETAIL("CHUNK_TYPE_VIDEO STARTS\n");
    } else {
        SVC_LOG_DETAIL("unknown chunk type : offset - %x\n", static_cast<unsigned int>(pos));
    }
}

// The reader's queries succeed today; open stays right with a reader whose queries can fail.
bool describe_tracks(const AviReaderState &reader, const char *function) {
    std::int32_t tracks = 0;
    std::int32_t with_stream_data = 0;
    if (avvin_get_summary(reader, tracks, with_stream_data) != kAviOk) {
        SVC_LOG_ERROR("[DRM-ERROR]%s : Error avvin_get_summary.\n", function);
        return false;
    }
    for (std::int32_t track = 0; track < tracks; ++track) {
        ChunkKind kind{};
        if (avvin_get_track_chunk_type(reader, track, kind) != kAviOk) {
            SVC_LOG_ERROR("[DRM-ERROR]%s : Error getting chunk type, track %d\n", function, track);
            return false;
        }
        if (kind == ChunkKind::audio) continue;
        if (kind != ChunkKind::compressed_video) {
            SVC_LOG_DETAIL("%s : Found unknown chynk type, ignoring.\n", function);
            continue;
        }
        const unsigned char *payload = nullptr;
        std::uint32_t size = 0;
        if (avvin_get_track_strd(reader, track, payload, size) != kAviOk) {
            SVC_LOG_ERROR("[DRM-ERROR]%s : Error getting stream data, track %d\n", function, track);
            return false;
        }
    }
    return true;
}

}  // namespace

int64_t drm_svc_sorn_open_file(const char *path, SvcFileHandle **new_handle) {
    SVC_LOG_API("%s starts. filepath:%s\n", __func__, path);
    if (path == nullptr) {
        SVC_LOG_ERROR("[DRM-ERROR]No input fileame specified.\n");
        return DRM_SVC_SORN_CANNOT_OPEN;
    }
    Handle handle(static_cast<SvcFileHandle *>(std::calloc(1, sizeof(SvcFileHandle))));
    if (handle == nullptr) return DRM_SVC_SORN_NO_MEMORY;
    handle->reader = aviin_open(path, 0);
    if (handle->reader == nullptr) {
        SVC_LOG_ERROR("[DRM-ERROR]%s : aviin_open is failed.\n", __func__);
        return DRM_SVC_SORN_CANNOT_OPEN;
    }
    AviReaderState &reader = *handle->reader;
    if (!describe_tracks(reader, __func__)) return DRM_SVC_SORN_CANNOT_OPEN;

    avi_file_seek(reader.stream, 0, SEEK_SET);
    *new_handle = handle.release();
    SVC_LOG_API("%s  success: *hfile = %p, handle = %p\n", __func__,
                static_cast<void *>(*new_handle), static_cast<void *>(&reader));
    return DRM_SVC_SORN_OK;
}

int32_t drm_svc_sorn_close_file(SvcFileHandle *handle) {
    SVC_LOG_API("%s  starts : hfile = %p, handle = %p\n", __func__, static_cast<void *>(handle),
                static_cast<void *>(handle->reader));
    if (handle->reader == nullptr) return DRM_SVC_SORN_NOT_CLOSED;
    ReleaseHandle()(handle);
    SVC_LOG_API("%s  success. \n", __func__);
    return DRM_SVC_SORN_CLOSED;
}

int64_t drm_svc_sorn_read_file(SvcFileHandle *handle, void *buffer, uint32_t size,
                               uint32_t *count) {
    AviReaderState &reader = *handle->reader;
    SVC_LOG_DETAIL("%s  starts : hfile = %p, handle = %p\n", __func__, static_cast<void *>(handle),
                   static_cast<void *>(&reader));
    const std::int32_t pos = told_position(reader.stream);
    if (pos > 7) {
        log_chunk(reader, pos, size);
    } else {
        SVC_LOG_DETAIL("%s : This is not data frame area\n", __func__);
    }
    *count = static_cast<std::uint32_t>(avi_file_read(reader.stream, buffer, size));
    return DRM_SVC_SORN_OK;
}

int32_t drm_svc_sorn_seek_file(SvcFileHandle *handle, int32_t offset, int whence) {
    SVC_LOG_DETAIL("%s start\n", __func__);
    avi_file_seek(handle->reader->stream, offset, whence);
    return 1;
}

int32_t drm_svc_sorn_tell_file(SvcFileHandle *handle) {
    SVC_LOG_DETAIL("%s start\n", __func__);
    return told_position(handle->reader->stream);
}
