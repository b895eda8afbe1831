// The least that an open can get by with: reads the headers that it must see, and keeps nothing.
#ifndef BENCH_HEADER_WALK_H
#define BENCH_HEADER_WALK_H

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

// Reads at positions, with one call of the kernel each.
struct DescriptorSource {
    int descriptor;

    bool read(std::int64_t pos, unsigned char *bytes, std::size_t count) {
        return pread(descriptor, bytes, count, pos) == static_cast<ssize_t>(count);
    }
};

// Reads at positions through the C library, which is asked to seek only where it must.
struct StreamSource {
    std::FILE *file;
    std::int64_t pos = 0;

    bool read(std::int64_t at, unsigned char *bytes, std::size_t count) {
        if (at != pos && fseeko(file, at, SEEK_SET) != 0) return false;
        const std::size_t got = std::fread(bytes, 1, count, file);
        pos = at + static_cast<std::int64_t>(got);
        return got == count;
    }
};

struct WalkedHeader {
    unsigned char bytes[12];

    [[nodiscard]] bool is(const char *id) const { return std::memcmp(bytes, id, 4) == 0; }
    [[nodiscard]] bool is_type(const char *type) const {
        return std::memcmp(bytes + 8, type, 4) == 0;
    }
    [[nodiscard]] std::uint32_t size() const {
        return bytes[4] | static_cast<std::uint32_t>(bytes[5]) << 8 |
               static_cast<std::uint32_t>(bytes[6]) << 16 |
               static_cast<std::uint32_t>(bytes[7]) << 24;
    }
};

// The chunks from `pos` to `end`, with the bodies of headers and formats.
template <typename Source>
void walk_list(Source &source, std::int64_t pos, std::int64_t end) {
    WalkedHeader header;
    while (pos + 12 <= end && source.read(pos, header.bytes, sizeof header.bytes)) {
        const std::int64_t body = pos + 8;
        unsigned char content[64];
        if (header.is("LIST") && (header.is_type("hdrl") || header.is_type("strl"))) {
            walk_list(source, body + 4, body + header.size());
        } else if (header.is("avih") || header.is("strh") || header.is("strf")) {
            const std::size_t wanted = header.size() < 64 ? header.size() : 64;
            if (wanted > 4) source.read(body + 4, content, wanted - 4);
        } else if (header.is("idx1")) {
            return;
        }
        pos = body + header.size() + header.size() % 2;
    }
}

// The first form, then the headers of those behind it.
template <typename Source>
void walk_headers(Source source) {
    WalkedHeader form;
    if (!source.read(0, form.bytes, sizeof form.bytes)) return;
    std::int64_t pos = 8 + std::int64_t{form.size()};
    walk_list(source, 12, pos);
    while (source.read(pos, form.bytes, sizeof form.bytes)) pos += 8 + std::int64_t{form.size()};
}

#endif
