#include "bench_files.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace bench_files {

using namespace avi_builder;

namespace {

constexpr std::uint32_t kKeyFrame = 0x10;
constexpr int kPictures = 250;  // 10 s at 25 a second
constexpr int kSounds = 383;    // 10 s of mp3 at 44100 Hz, 1152 samples each
constexpr std::uint32_t kSoundSize = 418;

const AudioFormat kMp3 = {.format_tag = 0x55,
                          .channels = 2,
                          .samples_per_second = 44100,
                          .average_bytes_per_second = 16000,
                          .block_align = 1152,
                          .bits_per_sample = 0,
                          .extra_size = 12,
                          .extra = Bytes("\x01\0\x02\0\0\0\xA2\x01\x01\0\x71\x05", 12)};

// The "movi" list and its index grow together.
struct Media {
    Bytes chunks;
    Bytes index;

    void add(std::string_view id, const Bytes &payload, std::uint32_t flags = kKeyFrame) {
        const auto offset = static_cast<std::uint32_t>(4 + chunks.size());
        index +=
            Bytes(id) + u32(flags) + u32(offset) + u32(static_cast<std::uint32_t>(payload.size()));
        chunks += chunk(id, payload);
    }
};

// A stream list that keeps room for a super index, as a writer leaves it that never needed one.
Bytes with_reserve(const Bytes &stream_list) {
    const Bytes inside = stream_list.substr(12);
    return list("strl", inside, chunk("JUNK", Bytes(4120, '\0')));
}

VideoStream video(std::uint32_t pictures) {
    VideoStream stream;
    stream.header.length = pictures;
    return stream;
}

AudioStream sound(std::uint32_t chunks) {
    AudioStream stream;
    stream.header = {.type = "auds", .scale = 1152, .rate = 44100, .length = chunks};
    stream.format = kMp3;
    return stream;
}

std::uint32_t picture_size(int number) {
    return number % 12 == 0 ? 12000 : 2000 + 37 * (static_cast<std::uint32_t>(number) % 41);
}

Bytes film_with(const Bytes &extension, const std::optional<Bytes> &stream_data = {}) {
    Media media;
    media.add("00dc", filler(1000));
    VideoStream stream = video(1);
    stream.strd = stream_data;
    return riff("AVI ", list("hdrl", avih({.total_frames = 1}), video_stream(stream)), extension,
                list("movi", media.chunks), chunk("idx1", media.index));
}

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

File open_file(const std::string &path, const char *mode) {
    File file(std::fopen(path.c_str(), mode));
    if (file == nullptr) throw std::runtime_error("cannot open " + path);
    return file;
}

struct Header {
    std::string id;
    std::uint32_t size;
};

bool read_header(std::FILE *file, Header &header) {
    unsigned char b[8];
    if (std::fread(b, 1, sizeof b, file) != sizeof b) return false;
    header.id.assign(reinterpret_cast<const char *>(b), 4);
    header.size = b[4] | static_cast<std::uint32_t>(b[5]) << 8 |
                  static_cast<std::uint32_t>(b[6]) << 16 | static_cast<std::uint32_t>(b[7]) << 24;
    return true;
}

bool is_list(const std::string &id) {
    return id == "RIFF" || id == "LIST";
}

bool holds_media(const std::string &id) {
    return id[0] >= '0' && id[0] <= '9' && id[1] >= '0' && id[1] <= '9';
}

void collect_media(std::FILE *file, std::int64_t pos, std::int64_t end,
                   std::vector<MediaChunk> &chunks) {
    Header header;
    while (pos + 8 <= end && fseeko(file, static_cast<off_t>(pos), SEEK_SET) == 0 &&
           read_header(file, header)) {
        const std::int64_t payload = pos + 8;
        if (is_list(header.id)) {
            collect_media(file, payload + 4, std::min(end, payload + header.size), chunks);
        } else if (holds_media(header.id)) {
            chunks.push_back({payload, header.size});
        }
        pos = payload + header.size + header.size % 2;
    }
}

}  // namespace

Bytes film() {
    Media media;
    for (int picture = 0, sounds = 0; picture < kPictures; ++picture) {
        media.add("00dc", filler(picture_size(picture), static_cast<std::uint32_t>(picture)),
                  picture % 12 == 0 ? kKeyFrame : 0);
        for (; sounds < kSounds * (picture + 1) / kPictures; ++sounds) {
            media.add("01wb", filler(kSoundSize, static_cast<std::uint32_t>(sounds)));
        }
    }
    return riff("AVI ",
                list("hdrl", avih({.total_frames = kPictures, .streams = 2}),
                     with_reserve(video_stream(video(kPictures))),
                     with_reserve(audio_stream(sound(kSounds))), chunk("JUNK", Bytes(260, '\0'))),
                list("INFO", chunk("ISFT", "a writer's name")), chunk("JUNK", Bytes(1016, '\0')),
                list("movi", media.chunks), chunk("idx1", media.index));
}

Bytes with_streams(int streams) {
    Bytes headers = avih({.total_frames = 1, .streams = static_cast<std::uint32_t>(streams)});
    Media media;
    for (int stream = 0; stream < streams; ++stream) {
        const bool is_video = stream % 2 == 0;
        headers += is_video ? video_stream(video(1)) : audio_stream(sound(1));
        const Bytes number = {static_cast<char>('0' + stream / 10),
                              static_cast<char>('0' + stream % 10)};
        media.add(number + (is_video ? "dc" : "wb"), filler(1000));
    }
    return riff("AVI ", list("hdrl", headers), list("movi", media.chunks),
                chunk("idx1", media.index));
}

Bytes with_chunks(int chunks) {
    Bytes extension;
    for (int i = 0; i < chunks; ++i) extension += chunk("JUNK", filler(100));
    return film_with(extension);
}

Bytes with_pictures(std::uint32_t size, std::uint32_t total, const Bytes &before_movi) {
    Media media;
    const std::uint32_t pictures = total / size;
    const Bytes payload = filler(size);
    for (std::uint32_t i = 0; i < pictures; ++i) media.add("00dc", payload);
    return riff("AVI ",
                list("hdrl", avih({.total_frames = pictures}), video_stream(video(pictures))),
                before_movi, list("movi", media.chunks), chunk("idx1", media.index));
}

Bytes with_stream_data(std::uint32_t size) {
    return film_with("", strd(1, filler(size)));
}

Bytes with_data_chunk(std::uint32_t size) {
    return film_with(data_list(chunk("MTDA", filler(size))));
}

Bytes with_menu_chunk(std::uint32_t size) {
    return film_with(menu_list(chunk("MENU", filler(size))));
}

void write_file(const std::string &path, const Bytes &content) {
    const File file = open_file(path, "wb");
    if (std::fwrite(content.data(), 1, content.size(), file.get()) != content.size()) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::vector<MediaChunk> media_chunks(const std::string &path) {
    const File file = open_file(path, "rb");
    if (fseeko(file.get(), 0, SEEK_END) != 0) throw std::runtime_error("cannot measure " + path);
    std::vector<MediaChunk> chunks;
    collect_media(file.get(), 0, ftello(file.get()), chunks);
    if (chunks.empty()) throw std::runtime_error("no media chunks in " + path);
    return chunks;
}

}  // namespace bench_files
