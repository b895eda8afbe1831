#include "memory.h"

#include <algorithm>

AviBytes avi_allocate(std::uint64_t size) {
    if (!avi_can_allocate(size)) return nullptr;
    const auto room = static_cast<std::size_t>(std::max<std::uint64_t>(size, 1));
    return AviBytes(static_cast<unsigned char *>(std::calloc(room, 1)));
}
