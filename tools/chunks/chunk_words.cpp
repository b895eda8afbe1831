#include "chunks/chunk_words.h"

#include <array>

#include "chunks/chunk_tree.h"

namespace {

struct Meaning {
    const char *id;
    const char *words;
};

constexpr auto kChunks = std::to_array<Meaning>({
    {"avih", "main header"},
    {"strh", "stream header"},
    {"strf", "stream format"},
    {"strd", "stream data"},
    {"strn", "stream name"},
    {"indx", "super index"},
    {"vprp", "video properties"},
    {"dmlh", "extended main header"},
    {"idx1", "index"},
    {"1idx", "index"},
    {"MTDA", "data chunk"},
    {"MENU", "menu"},
    {"MRIF", "menu form"},
    {"JUNK", "filler"},
    {"RES1", "reserved"},
    {"RES2", "reserved"},
    {"RES3", "reserved"},
    {"IDIT", "date of recording"},
    {"ISFT", "software"},
    {"LIST", "list without a type"},
    {"RIFF", "form without a type"},
});

constexpr auto kLists = std::to_array<Meaning>({
    {"hdrl", "header list"},
    {"strl", "stream list"},
    {"odml", "extended header list"},
    {"movi", "media"},
    {"rec ", "media kept together"},
    {"QRDT", "data list"},
    {"QMNU", "menu list"},
    {"INFO", "information"},
});

constexpr auto kForms = std::to_array<Meaning>({
    {"AVI ", "first form"},
    {"AVIX", "later form"},
    {"MENU", "menu form"},
});

template <std::size_t Count>
const char *find(const std::array<Meaning, Count> &meanings, FourCC id) {
    for (const Meaning &meaning : meanings) {
        if (avi_fourcc_equal(id, avi_fourcc_from_string(meaning.id))) return meaning.words;
    }
    return nullptr;
}

const char *media_words(FourCC id) {
    if (!avi_stream_number(id) && !avi_trailing_stream_number(id)) return nullptr;
    if (avi_fourcc_equal({id.value >> 16}, {avi_fourcc_from_string("pc__").value & 0xFFFF})) {
        return "palette change";
    }
    if (avi_fourcc_equal({id.value >> 16}, {avi_fourcc_from_string("tx__").value & 0xFFFF})) {
        return "text";
    }
    switch (avi_chunk_kind(id, true)) {
    case ChunkKind::audio:
        return "audio";
    case ChunkKind::uncompressed_video:
        return "uncompressed video";
    case ChunkKind::compressed_video:
        return "compressed video";
    case ChunkKind::dd:
        return "data of kind dd";
    case ChunkKind::text_subtitle:
        return "subtitle";
    case ChunkKind::bitmap_subtitle:
        return "bitmap subtitle";
    case ChunkKind::chapter:
        return "chapter";
    case ChunkKind::index:
        return "stream index";
    default:
        return nullptr;
    }
}

const char *form_words(const Chunk &form) {
    const char *words = find(kForms, form.type);
    if (words == nullptr) return "form of another type";
    return form.pos != 0 && avi_fourcc_equal(form.type, kAvi) ? "later form" : words;
}

}  // namespace

bool is_known_id(FourCC id) {
    return find(kChunks, id) != nullptr || media_words(id) != nullptr;
}

bool is_media_id(FourCC id) {
    return media_words(id) != nullptr;
}

bool is_known_list(FourCC type) {
    return find(kLists, type) != nullptr;
}

int stream_number(FourCC id) {
    const auto number = avi_stream_number(id);
    return number ? static_cast<int>(*number) : -1;
}

const char *chunk_words(const Chunk &chunk, Parents parents) {
    const char *words = nullptr;
    if (parents.empty() && chunk.type.value != 0) {
        words = form_words(chunk);
    } else if (chunk.type.value != 0) {
        words = find(kLists, chunk.type);
        if (words == nullptr) words = "list of another type";
    } else {
        words = media_words(chunk.id);
        if (words == nullptr) words = find(kChunks, chunk.id);
        if (words == nullptr && !parents.empty() && is_list(parents.back(), "INFO")) {
            words = "information";
        }
    }
    return words == nullptr ? "unknown" : words;
}
