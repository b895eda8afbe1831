/* sornsrc: a GStreamer source that reads AVI files through libdrm-sorn.
 *
 *     gst-launch-1.0 sornsrc location=film.avi ! avidemux ! ...
 *     gst-launch-1.0 playbin uri=sorn:///films/film.avi
 */
#include <gmodule.h>
#include <gst/base/gstbasesrc.h>
#include <string.h>

#include "stream64.h"

GST_DEBUG_CATEGORY_STATIC(sornsrc_debug);
#define GST_CAT_DEFAULT sornsrc_debug

struct _GstSornSrc {
    GstBaseSrc parent;
    Stream64 stream; /* open between start and stop */

    /* The object's lock guards what follows: applications ask for it at any time. */
    gchar *location;
    guint64 reads, seeks, audio_chunks, video_chunks;
    gchar *last_error; /* of the plug-in's messages */
};

#define GST_TYPE_SORN_SRC (gst_sorn_src_get_type())
G_DECLARE_FINAL_TYPE(GstSornSrc, gst_sorn_src, GST, SORN_SRC, GstBaseSrc)
static void gst_sorn_src_uri_handler_init(gpointer interface, gpointer data);
G_DEFINE_TYPE_WITH_CODE(GstSornSrc, gst_sorn_src, GST_TYPE_BASE_SRC,
                        G_IMPLEMENT_INTERFACE(GST_TYPE_URI_HANDLER, gst_sorn_src_uri_handler_init))

/* ---- the plug-in's messages, which come during a call, on the thread that makes it */

static _Thread_local GstSornSrc *calling;

static void note_message(GstSornSrc *src, const char *format, GstDebugLevel level,
                         const gchar *text) {
    GST_OBJECT_LOCK(src);
    if (strcmp(format, "CHUNK_TYPE_AUDIO STARTS\n") == 0) ++src->audio_chunks;
    if (strcmp(format, "CHUNK_TYPE_VIDEO STARTS\n") == 0) ++src->video_chunks;
    if (level == GST_LEVEL_WARNING) {
        g_free(src->last_error);
        src->last_error = g_strdup(text);
    }
    GST_OBJECT_UNLOCK(src);
}

static GstDebugLevel debug_level(unsigned int category) {
    switch (category) {
    case 0x6110000: /* open and close */
        return GST_LEVEL_DEBUG;
    case 0x61f0000: /* failures of open */
        return GST_LEVEL_WARNING;
    default: /* each step */
        return GST_LEVEL_LOG;
    }
}

/* libdrm-sorn finds this one because this library is what loads it. */
G_MODULE_EXPORT void _debug_message(int line, const char *file, unsigned int category,
                                    unsigned int level, const char *format, ...)
    G_GNUC_PRINTF(5, 6);
void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...) {
    (void)level; /* each category has one */
    va_list arguments;
    va_start(arguments, format);
    gchar *text = g_strchomp(g_strdup_vprintf(format, arguments));
    va_end(arguments);
    const GstDebugLevel gst_level = debug_level(category);
    gst_debug_log(sornsrc_debug, gst_level, file, "", line, (GObject *)calling, "%s", text);
    if (calling != NULL) note_message(calling, format, gst_level, text);
    g_free(text);
}

/* ---- reading */

static gboolean gst_sorn_src_start(GstBaseSrc *base) {
    GstSornSrc *src = GST_SORN_SRC(base);
    const gchar *path = src->location; /* not to be set from here on */
    if (path == NULL) {
        GST_ELEMENT_ERROR(src, RESOURCE, NOT_FOUND, ("No file is named for reading."), (NULL));
        return FALSE;
    }
    GST_OBJECT_LOCK(src);
    src->reads = src->seeks = src->audio_chunks = src->video_chunks = 0;
    GST_OBJECT_UNLOCK(src);
    calling = src;
    const int64_t result = stream64_open(&src->stream, path);
    calling = NULL;
    if (result != DRM_SVC_SORN_OK) {
        GST_ELEMENT_ERROR(src, RESOURCE, OPEN_READ,
                          ("Could not open \"%s\": %s.", path, stream64_refusal(path, result)),
                          ("%s", src->last_error != NULL ? src->last_error : "no message"));
        return FALSE;
    }
    return TRUE;
}

static gboolean gst_sorn_src_stop(GstBaseSrc *base) {
    GstSornSrc *src = GST_SORN_SRC(base);
    calling = src;
    stream64_close(&src->stream);
    calling = NULL;
    return TRUE;
}

/* One read of the plug-in for each buffer that is asked for, at its offset and of its size. */
static GstFlowReturn gst_sorn_src_fill(GstBaseSrc *base, guint64 offset, guint size,
                                       GstBuffer *buffer) {
    GstSornSrc *src = GST_SORN_SRC(base);
    GstMapInfo map;
    if (!gst_buffer_map(buffer, &map, GST_MAP_WRITE)) return GST_FLOW_ERROR;
    src->stream.position = (int64_t)offset;
    calling = src;
    const int64_t count = stream64_read(&src->stream, map.data, size);
    calling = NULL;
    gst_buffer_unmap(buffer, &map);

    GST_OBJECT_LOCK(src);
    src->reads = src->stream.reads;
    src->seeks = src->stream.seeks;
    GST_OBJECT_UNLOCK(src);
    if (count < 0) {
        GST_ELEMENT_ERROR(src, RESOURCE, READ, ("Could not read from \"%s\".", src->location),
                          ("nothing at %" G_GUINT64_FORMAT " of %" G_GINT64_FORMAT " bytes", offset,
                           src->stream.size));
        return GST_FLOW_ERROR;
    }
    gst_buffer_set_size(buffer, (gssize)count);
    return count == 0 ? GST_FLOW_EOS : GST_FLOW_OK;
}

static gboolean gst_sorn_src_get_size(GstBaseSrc *base, guint64 *size) {
    *size = (guint64)GST_SORN_SRC(base)->stream.size;
    return TRUE;
}

static gboolean gst_sorn_src_is_seekable(GstBaseSrc *base) {
    (void)base;
    return TRUE;
}

/* ---- properties */

enum { PROP_LOCATION = 1, PROP_STATS };

static gboolean gst_sorn_src_set_location(GstSornSrc *src, const gchar *location) {
    gboolean closed;
    GST_OBJECT_LOCK(src);
    closed = GST_STATE(src) <= GST_STATE_READY;
    if (closed) {
        g_free(src->location);
        src->location = g_strdup(location);
    }
    GST_OBJECT_UNLOCK(src);
    return closed;
}

static GstStructure *gst_sorn_src_stats(GstSornSrc *src) {
    GST_OBJECT_LOCK(src);
    GstStructure *stats = gst_structure_new(
        "application/x-sorn-source-stats", "reads", G_TYPE_UINT64, src->reads, "seeks",
        G_TYPE_UINT64, src->seeks, "audio-chunks", G_TYPE_UINT64, src->audio_chunks, "video-chunks",
        G_TYPE_UINT64, src->video_chunks, NULL);
    GST_OBJECT_UNLOCK(src);
    return stats;
}

static void gst_sorn_src_set_property(GObject *object, guint id, const GValue *value,
                                      GParamSpec *spec) {
    GstSornSrc *src = GST_SORN_SRC(object);
    if (id != PROP_LOCATION) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
    } else if (!gst_sorn_src_set_location(src, g_value_get_string(value))) {
        g_warning("The location of sornsrc cannot be changed while the file is open.");
    }
}

static void gst_sorn_src_get_property(GObject *object, guint id, GValue *value, GParamSpec *spec) {
    GstSornSrc *src = GST_SORN_SRC(object);
    switch (id) {
    case PROP_LOCATION:
        GST_OBJECT_LOCK(src);
        g_value_set_string(value, src->location);
        GST_OBJECT_UNLOCK(src);
        break;
    case PROP_STATS:
        g_value_take_boxed(value, gst_sorn_src_stats(src));
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
    }
}

static void gst_sorn_src_finalize(GObject *object) {
    g_free(GST_SORN_SRC(object)->location);
    g_free(GST_SORN_SRC(object)->last_error);
    G_OBJECT_CLASS(gst_sorn_src_parent_class)->finalize(object);
}

/* ---- sorn:// is file:// by another name: GLib encodes and decodes the path */

static GstURIType gst_sorn_src_uri_type(GType type) {
    (void)type;
    return GST_URI_SRC;
}

static const gchar *const *gst_sorn_src_protocols(GType type) {
    static const gchar *const protocols[] = {"sorn", NULL};
    (void)type;
    return protocols;
}

static gchar *gst_sorn_src_get_uri(GstURIHandler *handler) {
    GstSornSrc *src = GST_SORN_SRC(handler);
    GST_OBJECT_LOCK(src);
    gchar *file_uri = src->location ? gst_filename_to_uri(src->location, NULL) : NULL;
    GST_OBJECT_UNLOCK(src);
    gchar *uri = file_uri ? g_strconcat("sorn", file_uri + strlen("file"), NULL) : NULL;
    g_free(file_uri);
    return uri;
}

static gboolean gst_sorn_src_set_uri(GstURIHandler *handler, const gchar *uri, GError **error) {
    gchar *file_uri = g_strconcat("file", uri + strlen("sorn"), NULL);
    gchar *host = NULL;
    gchar *location = g_filename_from_uri(file_uri, &host, NULL);
    const gboolean here = location != NULL && (host == NULL || strcmp(host, "localhost") == 0);
    gboolean done = FALSE;
    if (!here) {
        g_set_error(error, GST_URI_ERROR, GST_URI_ERROR_BAD_URI,
                    "\"%s\" names no file of this machine: sorn:///PATH does, encoded as a URI is",
                    uri);
    } else if (!gst_sorn_src_set_location(GST_SORN_SRC(handler), location)) {
        g_set_error(error, GST_URI_ERROR, GST_URI_ERROR_BAD_STATE,
                    "The location of sornsrc cannot be changed while the file is open");
    } else {
        done = TRUE;
    }
    g_free(location);
    g_free(host);
    g_free(file_uri);
    return done;
}

static void gst_sorn_src_uri_handler_init(gpointer interface, gpointer data) {
    GstURIHandlerInterface *handler = interface;
    (void)data;
    handler->get_type = gst_sorn_src_uri_type;
    handler->get_protocols = gst_sorn_src_protocols;
    handler->get_uri = gst_sorn_src_get_uri;
    handler->set_uri = gst_sorn_src_set_uri;
}

/* ---- the element */

static void gst_sorn_src_install_properties(GObjectClass *class) {
    class->set_property = gst_sorn_src_set_property;
    class->get_property = gst_sorn_src_get_property;
    class->finalize = gst_sorn_src_finalize;
    g_object_class_install_property(
        class, PROP_LOCATION,
        g_param_spec_string(
            "location", "File location", "Path of the AVI file to read", NULL,
            (GParamFlags)(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY)));
    g_object_class_install_property(
        class, PROP_STATS,
        g_param_spec_boxed("stats", "Statistics",
                           "What was asked of the plug-in since the file was opened, and what it "
                           "recognised: reads, seeks, audio-chunks, video-chunks",
                           GST_TYPE_STRUCTURE,
                           (GParamFlags)(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));
}

static void gst_sorn_src_class_init(GstSornSrcClass *class) {
    static GstStaticPadTemplate source =
        GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS_ANY);
    GstElementClass *element = GST_ELEMENT_CLASS(class);
    GstBaseSrcClass *base = GST_BASE_SRC_CLASS(class);
    gst_sorn_src_install_properties(G_OBJECT_CLASS(class));
    gst_element_class_add_static_pad_template(element, &source);
    gst_element_class_set_static_metadata(
        element, "Sorn AVI file source", "Source/File",
        "Reads AVI files, plain ones and those with the Sorn extensions, through libdrm-sorn",
        "drm-sorn maintainers <maintainers@drm-sorn.invalid>");
    base->start = gst_sorn_src_start;
    base->stop = gst_sorn_src_stop;
    base->fill = gst_sorn_src_fill;
    base->get_size = gst_sorn_src_get_size;
    base->is_seekable = gst_sorn_src_is_seekable;
}

static void gst_sorn_src_init(GstSornSrc *src) {
    (void)src; /* zeroed, which is right */
}

static gboolean plugin_init(GstPlugin *plugin) {
    GST_DEBUG_CATEGORY_INIT(sornsrc_debug, "sornsrc", 0, "AVI files through libdrm-sorn");
    return gst_element_register(plugin, "sornsrc", GST_RANK_PRIMARY, GST_TYPE_SORN_SRC);
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, sorn, "Reads AVI files through libdrm-sorn",
                  plugin_init, PACKAGE_VERSION, GST_LICENSE_UNKNOWN, PACKAGE,
                  "https://drm-sorn.invalid")
