#include "picture/canvas.h"

#include <cmath>

std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string shortened(const std::string &text, std::size_t most) {
    const auto is_start = [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; };
    std::size_t characters = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (is_start(text[i]) && ++characters > most) return text.substr(0, i) + "...";
    }
    return text;
}

std::string units(double number) {
    std::string text = fmt::format("{:.2f}", number);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text;
}

void Canvas::begin_plot(double y, double height, std::string_view classes) {
    put("<svg class=\"plot {0}\" y=\"{1}\" width=\"100%\" height=\"{2}\" viewBox=\"0 0 {3} {2}\" "
        "preserveAspectRatio=\"none\">\n",
        classes, units(y), units(height), kPlotWidth);
}

void Canvas::text(double x, double y, std::string_view classes, const std::string &words) {
    put("<text class=\"{}\" x=\"{}%\" y=\"{}\">{}</text>\n", classes, units(100 * x), units(y),
        escaped(words));
}

void Canvas::track(double y, double height) {
    put("<rect class=\"track\" y=\"{}\" width=\"100%\" height=\"{}\"/>\n", units(y), units(height));
}

void Canvas::mark(double x, double y, double width, double height, const std::string &words,
                  std::string_view classes) {
    put("<rect data-mark=\"\"{}{}{} x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"><title>{}</title>"
        "</rect>\n",
        classes.empty() ? "" : " class=\"", classes, classes.empty() ? "" : "\"", units(x),
        units(y), units(width), units(height), escaped(words));
}

void Canvas::lines_along(const std::vector<Tick> &ticks, double whole, double top, double bottom) {
    for (const Tick &tick : ticks) {
        put("<line class=\"rule{0}\" x1=\"{1}%\" x2=\"{1}%\" y1=\"{2}\" y2=\"{3}\"/>\n",
            tick.fine ? " fine" : "", units(100 * tick.value / whole), units(top), units(bottom));
    }
}

void Canvas::words_along(const std::vector<Tick> &ticks, double whole, double bottom) {
    for (const Tick &tick : ticks) {
        const double x = tick.value / whole;
        const char *place = x < 0.02 ? "" : x > 0.95 ? " right" : " middle";
        text(x, bottom + 14, fmt::format("faint{}{}", place, tick.fine ? " fine" : ""), tick.words);
    }
}

void Canvas::axis_up(const std::vector<Tick> &ticks, double low, double high, double top,
                     double height) {
    const double apart =
        ticks.size() < 2 ? height : height * (ticks[1].value - ticks[0].value) / (high - low);
    for (const Tick &tick : ticks) {
        const double y = top + height * (high - tick.value) / (high - low);
        const bool zero = std::abs(tick.value) < 1e-9;
        put("<line class=\"rule{1}\" x1=\"0\" x2=\"100%\" y1=\"{0}\" y2=\"{0}\"/>\n", units(y),
            zero ? " zero" : "");
        if (tick.value == low) continue;  // the chart's own edge
        const bool below = y - top < 14;
        if (below && apart < 28) continue;  // it would meet the next one
        const double bottom = below ? y + 14 : y;
        put("<rect class=\"level\" x=\"2\" y=\"{}\" width=\"{}\" height=\"13\"/>"
            "<text class=\"level\" x=\"5\" y=\"{}\">{}</text>\n",
            units(bottom - 14), units(6.4 * static_cast<double>(tick.words.size()) + 6),
            units(bottom - 4), escaped(tick.words));
    }
}
