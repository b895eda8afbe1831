// Whether a picture can be shown without those before it.
#ifndef TOOLS_REPAIR_KEY_FRAME_H
#define TOOLS_REPAIR_KEY_FRAME_H

#include <optional>
#include <string_view>

#include "avi_reader/avi_reader.h"

// By a stream's compression and the first bytes of a chunk. None where that cannot be told.
[[nodiscard]] std::optional<bool> is_key_frame(FourCC compression, std::string_view bytes);

#endif
