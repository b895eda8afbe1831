// A small film to put parts into, for tests of what the reader finds beside the media.
#ifndef TESTS_SUPPORT_FILM_WITH_H
#define TESTS_SUPPORT_FILM_WITH_H

#include "tests/support/avi_builder.h"

namespace avi_builder {

inline const Bytes kHeaders = list("hdrl", avih(), video_stream());
inline const Bytes kMedia = list("movi", chunk("00dc", filler(24)), chunk("00dc", filler(8)));
inline const Bytes kPlain = riff("AVI ", kHeaders, kMedia);

// A file that opens, with `parts` in front of its media.
template <typename... Parts>
Bytes film_with(const Parts &...parts) {
    return riff("AVI ", kHeaders, parts..., kMedia);
}

}  // namespace avi_builder

#endif
