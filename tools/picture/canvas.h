// SVG that is as wide as there is room: words keep their size, marks are stretched.
#ifndef TOOLS_PICTURE_CANVAS_H
#define TOOLS_PICTURE_CANVAS_H

#include <fmt/format.h>

#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "picture/ticks.h"

// Plots are so many units wide, however wide they are shown.
inline constexpr double kPlotWidth = 1152;

// The text as markup, within an element or an attribute.
[[nodiscard]] std::string escaped(std::string_view text);

// At most so many characters of it, and "..." for the rest.
[[nodiscard]] std::string shortened(const std::string &text, std::size_t most);

// A number without digits that nobody can see: "12.5", "3".
[[nodiscard]] std::string units(double number);

class Canvas {
public:
    template <typename... Values>
    void put(fmt::format_string<Values...> format, Values &&...values) {
        fmt::format_to(std::back_inserter(out_), format, std::forward<Values>(values)...);
    }

    // What is put between both is stretched: units across, pixels down.
    void begin_plot(double y, double height, std::string_view classes = {});
    void end_plot() { put("</svg>\n"); }

    void text(double x, double y, std::string_view classes, const std::string &words);
    void track(double y, double height);
    // A mark that says what it is when it is pointed at.
    void mark(double x, double y, double width, double height, const std::string &words,
              std::string_view classes = {});

    // Lines across the chart, and the words below them.
    void lines_along(const std::vector<Tick> &ticks, double whole, double top, double bottom);
    void words_along(const std::vector<Tick> &ticks, double whole, double bottom);
    // Lines along the chart from low, at its bottom, to high, with their words on them.
    void axis_up(const std::vector<Tick> &ticks, double low, double high, double top,
                 double height);

    [[nodiscard]] std::string take() { return std::move(out_); }

private:
    std::string out_;
};

#endif
