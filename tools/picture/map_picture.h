// The picture of a file: SVG, alone or in a page of HTML. Nothing in it needs a network.
#ifndef TOOLS_PICTURE_MAP_PICTURE_H
#define TOOLS_PICTURE_MAP_PICTURE_H

#include <string>
#include <vector>

#include "picture/map_model.h"

enum class Severity { refusal, error, warning, note };

// What is wrong with the file, as far as it can be pointed at.
struct MapFinding {
    Severity severity;
    std::int64_t pos;  // -1 for none
    std::string rule;
    std::string sentence;
    std::string remedy;
};

struct MapCaption {
    std::string file;     // as shown: printable UTF-8
    std::string verdict;  // "opens", or why not
    const AviReaderState *reader;
    std::vector<MapFinding> findings;
};

[[nodiscard]] std::string map_svg(MapModel &model, const MapCaption &caption);
[[nodiscard]] std::string map_html(MapModel &model, const MapCaption &caption);

#endif
