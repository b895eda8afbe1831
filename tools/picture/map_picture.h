// The picture of a file: SVG, alone or in a page of HTML. Nothing in it needs a network.
#ifndef TOOLS_PICTURE_MAP_PICTURE_H
#define TOOLS_PICTURE_MAP_PICTURE_H

#include <string>
#include <vector>

#include "findings/finding.h"
#include "picture/map_model.h"

struct MapCaption {
    std::string file;     // as shown: printable UTF-8
    std::string verdict;  // "opens", or why not
    const AviReaderState *reader;
    std::vector<Finding> findings;
};

[[nodiscard]] std::string map_svg(MapModel &model, const MapCaption &caption);
[[nodiscard]] std::string map_html(MapModel &model, const MapCaption &caption);

#endif
