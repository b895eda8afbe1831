// The entries of the first form's index, wherever they lead.
#ifndef TOOLS_REPAIR_INDEX_ENTRIES_H
#define TOOLS_REPAIR_INDEX_ENTRIES_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>

#include "chunks/chunk_tree.h"

inline constexpr std::int64_t kIndexEntry = 16;

struct IndexEntry {
    FourCC id;
    std::uint32_t flags;
    std::uint32_t offset;  // from whatever the index counts from
    std::uint32_t size;
};

// All that the index holds, in their order.
void for_each_entry(const InputFile &file, const Chunk &index,
                    const std::function<void(const IndexEntry &)> &use);

// Those that lead to one of these positions, counted from the start of the file or from there.
template <typename Value>
std::map<std::int64_t, IndexEntry> entries_for(const InputFile &file, const Chunk &index,
                                               std::int64_t origin,
                                               const std::map<std::int64_t, Value> &positions) {
    std::map<std::int64_t, IndexEntry> found;
    for_each_entry(file, index, [&](const IndexEntry &entry) {
        for (const std::int64_t target : {entry.offset + origin, std::int64_t{entry.offset}}) {
            if (positions.contains(target)) found.emplace(target, entry);
        }
    });
    return found;
}

#endif
