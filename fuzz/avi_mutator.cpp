#include "avi_mutator.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <string_view>
#include <vector>

namespace {

struct Chunk {
    std::string id;
    std::string body;  // of a list, its type only
    std::vector<Chunk> parts;
    std::uint32_t size = 0;  // as read; written again only when it lies
    bool lies = false;
    bool padded = true;
};

std::uint32_t u32_at(std::string_view bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    }
    return value;
}

bool holds_chunks(std::string_view id) {
    return id == "RIFF" || id == "LIST" || id == "MRIF";
}

// Bytes behind the last whole header become a chunk without an id.
std::vector<Chunk> parse(std::string_view bytes, int depth) {
    std::vector<Chunk> chunks;
    while (bytes.size() >= 8) {
        Chunk chunk;
        chunk.id = bytes.substr(0, 4);
        chunk.size = u32_at(bytes, 4);
        bytes.remove_prefix(8);
        const auto length = std::min<std::size_t>(chunk.size, bytes.size());
        chunk.lies = length != chunk.size;
        const std::string_view body = bytes.substr(0, length);
        if (holds_chunks(chunk.id) && length >= 4 && depth < 6) {
            chunk.body = body.substr(0, 4);
            chunk.parts = parse(body.substr(4), depth + 1);
        } else {
            chunk.body = body;
        }
        bytes.remove_prefix(length);
        chunk.padded = length % 2 == 1 && !bytes.empty() && bytes[0] == '\0';
        if (chunk.padded) bytes.remove_prefix(1);
        chunks.push_back(std::move(chunk));
    }
    if (!bytes.empty()) chunks.push_back({.id = "", .body = std::string(bytes), .parts = {}});
    return chunks;
}

std::string write(const std::vector<Chunk> &chunks) {
    std::string bytes;
    for (const Chunk &chunk : chunks) {
        const std::string payload = chunk.body + write(chunk.parts);
        if (!chunk.id.empty()) {
            const auto size = chunk.lies ? chunk.size : static_cast<std::uint32_t>(payload.size());
            bytes += chunk.id;
            for (int i = 0; i < 4; ++i) bytes += static_cast<char>(size >> (8 * i) & 0xff);
        }
        bytes += payload;
        if (chunk.padded && payload.size() % 2 == 1) bytes += '\0';
    }
    return bytes;
}

// Where a chunk stands: the list of chunks that it is in, and its place there.
struct Place {
    std::vector<Chunk> *chunks;
    std::size_t index;
};

void collect(std::vector<Chunk> &chunks, std::vector<Place> &places) {
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        places.push_back({&chunks, i});
        collect(chunks[i].parts, places);
    }
}

class Mutator {
public:
    Mutator(std::vector<Chunk> &chunks, std::uint32_t seed) : chunks_(chunks), random_(seed) {
        collect(chunks_, places_);
    }

    void mutate() {
        if (places_.empty()) return;
        const Place place = any_place();
        Chunk &chunk = (*place.chunks)[place.index];
        switch (below(9)) {
        case 0:
            return insert(any_place(), Chunk(chunk));
        case 1:
            return erase(place);
        case 2:
            return swap(place);
        case 3:
            return rename(chunk);
        case 4:
            return lie(chunk);
        case 5:
            return resize(chunk);
        case 6:
            return repeat(place);
        case 7:
            chunk.lies = false;
            return;
        default:
            return scribble(chunk);
        }
    }

private:
    std::uint32_t below(std::size_t bound) {
        return static_cast<std::uint32_t>(random_() % std::max<std::size_t>(bound, 1));
    }
    Place any_place() { return places_[below(places_.size())]; }

    static void insert(Place place, Chunk chunk) {
        const auto at = static_cast<std::ptrdiff_t>(place.index);
        place.chunks->insert(place.chunks->begin() + at, std::move(chunk));
    }
    static void erase(Place place) {
        place.chunks->erase(place.chunks->begin() + static_cast<std::ptrdiff_t>(place.index));
    }
    void swap(Place place) {
        std::swap((*place.chunks)[place.index], (*place.chunks)[below(place.chunks->size())]);
    }
    void repeat(Place place) {
        const Chunk chunk = (*place.chunks)[place.index];
        for (std::uint32_t i = below(24); i > 0; --i) insert(place, chunk);
    }

    void rename(Chunk &chunk) {
        static constexpr const char *kNames[] = {
            "RIFF", "MRIF", "LIST", "avih", "strh", "strf", "strd", "strn", "indx", "idx1",
            "1idx", "JUNK", "MTDA", "MENU", "AVI ", "hdrl", "strl", "odml", "movi", "QRDT",
            "QMNU", "QRSB", "vids", "auds", "txts", "00dc", "01wb", "list", "Auds"};
        const std::string name = kNames[below(std::size(kNames))];
        const bool type = chunk.body.size() >= 4 && below(2) == 0;
        if (type) {
            chunk.body.replace(0, 4, name);
        } else if (!chunk.id.empty()) {
            chunk.id = name;
        }
    }

    void lie(Chunk &chunk) {
        static constexpr std::uint32_t kSizes[] = {
            0,          1,          4,          8,          11,         12,        13,     16,
            17,         40,         55,         56,         57,         0x7fff,    0x8000, 0xffff,
            0x7fffffff, 0x80000000, 0xfffffff7, 0xfffffff8, 0xfffffffe, 0xffffffff};
        chunk.lies = true;
        chunk.size = below(4) == 0 ? static_cast<std::uint32_t>(chunk.body.size()) + below(64) - 32
                                   : kSizes[below(std::size(kSizes))];
    }

    void resize(Chunk &chunk) {
        const std::size_t size =
            below(2) == 0 ? below(chunk.body.size() + 1) : chunk.body.size() + below(64);
        chunk.body.resize(size, static_cast<char>(below(256)));
    }

    void scribble(Chunk &chunk) {
        if (chunk.body.empty()) return;
        chunk.body[below(chunk.body.size())] = static_cast<char>(below(256));
    }

    std::vector<Chunk> &chunks_;
    std::vector<Place> places_;
    std::minstd_rand random_;
};

}  // namespace

std::string mutate_avi(std::string file, std::uint32_t seed, std::size_t max_size) {
    std::vector<Chunk> chunks = parse(file, 0);
    Mutator(chunks, seed).mutate();
    std::string mutated = write(chunks);
    if (mutated.size() > max_size) mutated.resize(max_size);
    return mutated;
}
