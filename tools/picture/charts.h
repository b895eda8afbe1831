// The charts of a file's picture, one below the other. Each is SVG without a frame, so that a page
// and a picture alone can both hold it.
#ifndef TOOLS_PICTURE_CHARTS_H
#define TOOLS_PICTURE_CHARTS_H

#include <string>
#include <vector>

#include "picture/map_picture.h"

struct Panel {
    std::string kind;  // "lane", "bitrate", ...: a class of the markup
    std::string name;
    std::string figures;
    double height;
    std::string content;
};

struct Key {
    std::string classes;
    std::string words;
};

struct Section {
    std::string heading;
    std::vector<Key> keys;  // what the colours stand for
    std::vector<Panel> panels;
};

[[nodiscard]] Section file_chart(const MapModel &model, const MapCaption &caption);

// Time against place, leads, lanes and bitrates, as far as the file has them.
[[nodiscard]] std::vector<Section> stream_charts(MapModel &model, const MapCaption &caption);

// The class that a part's colour is of, in charts and tables.
[[nodiscard]] const char *class_of(PartKind kind);

#endif
