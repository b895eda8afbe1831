#include "repair/index_entries.h"

#include <algorithm>
#include <vector>

void for_each_entry(const InputFile &file, const Chunk &index,
                    const std::function<void(const IndexEntry &)> &use) {
    constexpr std::size_t kEntry = kIndexEntry;
    std::vector<unsigned char> block(4096 * kEntry);
    const std::int64_t end = index.payload() + index.held / kIndexEntry * kIndexEntry;
    for (std::int64_t pos = index.payload(); pos < end;) {
        const std::int64_t wanted = std::min(end - pos, static_cast<std::int64_t>(block.size()));
        const std::size_t got = file.read(block.data(), static_cast<std::size_t>(wanted), pos);
        const std::size_t whole = got - got % kEntry;
        for (std::size_t i = 0; i < whole; i += kEntry) {
            const unsigned char *bytes = &block[i];
            use({{avi_get_u32le(bytes)},
                 avi_get_u32le(bytes + 4),
                 avi_get_u32le(bytes + 8),
                 avi_get_u32le(bytes + 12)});
        }
        if (whole == 0) return;
        pos += static_cast<std::int64_t>(whole);
    }
}
