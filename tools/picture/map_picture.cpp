#include "picture/map_picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "chunks/stream_words.h"
#include "terminal/text.h"

namespace {

constexpr double kWidth = 1200;
constexpr double kMargin = 24;
constexpr double kInner = kWidth - 2 * kMargin;
constexpr double kSmallestPart = 2;
constexpr double kSmallestHeight = 2;
static_assert(kInner == MapModel::kColumns);  // a column is a unit wide

constexpr const char *kStyle = R"(
.map{--paper:#fff;--ink:#1b2130;--faint:#667085;--rule:#d7dbe3;--track:#f1f3f7;
--form:#98a2b3;--header:#7a5af8;--media:#2e90fa;--index:#f79009;--extension:#15b79e;
--filler:#d0d5dd;--other:#854a0e;--lost:#d92d20;
--video:#1570cd;--audio:#c4501b;--text:#0e8a74;--none:#667085;
font-family:system-ui,-apple-system,"Segoe UI",Roboto,"DejaVu Sans",sans-serif}
@media (prefers-color-scheme:dark){.map{--paper:#12151c;--ink:#e6e9f0;--faint:#98a2b3;--rule:#333a48;
--track:#1c212c;--form:#5b6579;--header:#9b8afb;--media:#53a7fb;--index:#fdb022;--extension:#2ed3b7;
--filler:#475066;--other:#d9a15c;--lost:#f97066;--video:#60adf8;--audio:#f5955f;--text:#3fd0b5;--none:#98a2b3}}
@media print{.map{--paper:#fff;--ink:#000;--faint:#333;--rule:#888;--track:#f4f4f4;--form:#98a2b3;
--header:#7a5af8;--media:#2e90fa;--index:#f79009;--extension:#15b79e;--filler:#d0d5dd;--other:#854a0e;
--lost:#d92d20;--video:#1570cd;--audio:#c4501b;--text:#0e8a74;--none:#667085;
-webkit-print-color-adjust:exact;print-color-adjust:exact}}
svg.map{background:var(--paper)}
.map .paper{fill:var(--paper)}.map text{fill:var(--ink);font-size:13px}
.map .title{font-size:20px;font-weight:650}.map .head{font-size:15px;font-weight:650}
.map .faint{fill:var(--faint)}.map .right{text-anchor:end}.map .middle{text-anchor:middle}
.map .inside{font-size:12px;fill:#fff;font-weight:600;text-anchor:middle;pointer-events:none;
paint-order:stroke;stroke:rgba(0,0,0,.4);stroke-width:2px}
.map .rule{stroke:var(--rule)}.map .track{fill:var(--track)}.map .wrong{fill:var(--lost)}
.map .form{fill:var(--form)}.map .header{fill:var(--header)}.map .media{fill:var(--media)}
.map .index{fill:var(--index)}.map .extension{fill:var(--extension)}.map .filler{fill:var(--filler)}
.map .other{fill:var(--other)}.map .lost{fill:var(--lost)}
.map .video{fill:var(--video)}.map .audio{fill:var(--audio)}.map .subtitle{fill:var(--text)}
.map .none{fill:var(--none)}
.map .marks{shape-rendering:crispEdges}
.map [data-mark]:hover{stroke:var(--ink);stroke-width:1.5}
)";

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

const char *class_of(PartKind kind) {
    constexpr std::array<const char *, 8> kClasses{"form",      "header", "media", "index",
                                                   "extension", "filler", "other", "lost"};
    return kClasses[static_cast<std::size_t>(kind)];
}

const char *words_of(PartKind kind) {
    constexpr std::array<const char *, 8> kWords{
        "form", "header list", "media", "index", "extension list", "filler", "other", "lost bytes"};
    return kWords[static_cast<std::size_t>(kind)];
}

std::uint64_t unsigned_of(std::int64_t number) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(number, 0));
}

std::string kbit_text(double bytes, double seconds) {
    const double rate = bytes * 8 / seconds / 1000;
    return short_number(rate < 100 ? std::round(rate * 10) / 10 : std::round(rate)) + " kbit/s";
}

std::string range_text(std::int64_t start, std::int64_t end) {
    return fmt::format("0x{:x} to 0x{:x}", start, end);
}

const AviStreamRecord *stream_of(const MapCaption &caption, int lane) {
    const bool described = caption.reader != nullptr && lane < caption.reader->stream_count;
    return described ? &caption.reader->streams[lane] : nullptr;
}

const char *lane_class(const MapCaption &caption, int lane) {
    const AviStreamRecord *stream = stream_of(caption, lane);
    switch (stream == nullptr ? ChunkKind::unknown : stream->kind) {
    case ChunkKind::audio:
        return "audio";
    case ChunkKind::compressed_video:
        return "video";
    case ChunkKind::bitmap_subtitle:
    case ChunkKind::text_subtitle:
    case ChunkKind::chapter:
        return "subtitle";
    default:
        return "none";
    }
}

std::string lane_name(const MapCaption &caption, int lane) {
    if (lane == MapModel::kOtherChunks) return "Chunks that name no stream";
    const AviStreamRecord *stream = stream_of(caption, lane);
    if (stream == nullptr) return fmt::format("Stream {}, not described", lane);
    std::string text = fmt::format("Stream {}: {}", lane, kind_text(*stream));
    const std::string format = format_text(*caption.reader, *stream);
    const std::string name = name_text(*caption.reader, *stream);
    if (format != "-") text += ", " + format;
    return name.empty() ? text : text + ", " + name;
}

std::string lane_figures(const Lane &lane) {
    std::string text = fmt::format("{}, {}", count_of(lane.chunks, "chunk"), size_text(lane.bytes));
    if (lane.time > 0) text += ", " + time_text(lane.time);
    return text;
}

class Picture {
public:
    Picture(MapModel &model, const MapCaption &caption) : model_(model), caption_(caption) {}

    std::string draw() {
        draw_title();
        draw_file();
        draw_lanes();
        draw_bitrates();
        return fmt::format(
            R"(<svg xmlns="http://www.w3.org/2000/svg" class="map" viewBox="0 0 {0} {1:.0f}" width="100%" role="img" aria-labelledby="map-title map-what">)"
            "\n<title id=\"map-title\">Map of {2}</title>\n<desc id=\"map-what\">{3}</desc>\n"
            "<style>{4}</style>\n<rect class=\"paper\" width=\"{0}\" "
            "height=\"{1:.0f}\"/>\n{5}</svg>\n",
            kWidth, y_ + 8, escaped(caption_.file), escaped(summary()), kStyle, out_);
    }

private:
    template <typename... Values>
    void put(fmt::format_string<Values...> format, Values &&...values) {
        fmt::format_to(std::back_inserter(out_), format, std::forward<Values>(values)...);
    }

    void text(double x, const char *classes, const std::string &words) {
        put("<text class=\"{}\" x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", classes, x, y_,
            escaped(words));
    }

    [[nodiscard]] double x_of(std::int64_t pos) const {
        const auto size = static_cast<double>(std::max<std::int64_t>(model_.file_size(), 1));
        return kMargin + kInner * static_cast<double>(pos) / size;
    }

    [[nodiscard]] std::string summary() const {
        return fmt::format("{}, {}; {}, {}", count_of(unsigned_of(model_.file_size()), "byte"),
                           caption_.verdict, count_of(model_.forms().size(), "form"),
                           count_of(model_.lanes().size(), "lane"));
    }

    void draw_title() {
        y_ = 38;
        text(kMargin, "title", caption_.file);
        y_ += 22;
        const bool opens = caption_.reader != nullptr;
        text(kMargin, opens ? "faint" : "wrong",
             fmt::format("{} ({}), {}", count_of(unsigned_of(model_.file_size()), "byte"),
                         size_text(unsigned_of(model_.file_size())), caption_.verdict));
        y_ += 12;
    }

    // Small parts are drawn last, so that large ones do not cover them.
    static std::vector<const Part *> by_size(const std::vector<Part> &parts) {
        std::vector<const Part *> sorted;
        for (const Part &part : parts) sorted.push_back(&part);
        std::stable_sort(sorted.begin(), sorted.end(), [](const Part *a, const Part *b) {
            return a->end - a->start > b->end - b->start;
        });
        return sorted;
    }

    void draw_parts(const std::vector<Part> &parts, double height) {
        for (const Part *part : by_size(parts)) {
            const double x = std::min(x_of(part->start), kWidth - kMargin - kSmallestPart);
            const double width = std::max(x_of(part->end) - x, kSmallestPart);
            put("<rect data-mark=\"\" class=\"{}\" x=\"{:.2f}\" y=\"{:.1f}\" width=\"{:.2f}\" "
                "height=\"{:.1f}\" rx=\"2\"><title>{} at {}: {}</title></rect>\n",
                class_of(part->kind), x, y_, width, height, escaped(part->name),
                range_text(part->start, part->end), escaped(part->words));
            if (width < 8.0 * static_cast<double>(part->name.size())) continue;
            put("<text class=\"inside\" x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", x + width / 2,
                y_ + height / 2 + 4.5, escaped(part->name));
        }
    }

    void draw_missing(double height) {
        if (model_.missing() <= 0) return;
        put("<rect data-mark=\"\" class=\"lost\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"6\" "
            "height=\"{:.1f}\"><title>{} are claimed beyond the end of the file</title></rect>\n",
            kWidth - kMargin + 3, y_, height, count_of(unsigned_of(model_.missing()), "byte"));
    }

    void draw_file() {
        y_ += 26;
        text(kMargin, "head", "The file, to scale");
        draw_legend();
        y_ += 12;
        draw_missing(72);
        draw_parts(model_.forms(), 20);
        y_ += 24;
        put("<rect class=\"track\" x=\"{}\" y=\"{:.1f}\" width=\"{}\" height=\"48\"/>\n", kMargin,
            y_, kInner);
        draw_parts(model_.parts(), 48);
        y_ += 48;
        draw_axis([](double size) { return size_text(static_cast<std::uint64_t>(size)); },
                  static_cast<double>(model_.file_size()));
    }

    void draw_legend() {
        std::array<bool, 8> used{};
        for (const Part &part : model_.parts()) used[static_cast<std::size_t>(part.kind)] = true;
        double x = kWidth - kMargin;
        for (std::size_t i = used.size(); i-- > 1;) {
            if (!used[i]) continue;
            const auto kind = static_cast<PartKind>(i);
            const std::string words = words_of(kind);
            x -= 7.2 * static_cast<double>(words.size()) + 8;
            text(x, "faint", words);
            put("<rect class=\"{}\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"11\" height=\"11\" "
                "rx=\"2\"/>\n",
                class_of(kind), x - 16, y_ - 10);
            x -= 26;
        }
    }

    template <typename Words>
    void draw_axis(Words words, double whole) {
        y_ += 18;
        constexpr int kSteps = 4;
        for (int i = 0; i <= kSteps; ++i) {
            const double x = kMargin + kInner * i / kSteps;
            put("<line class=\"rule\" x1=\"{0:.1f}\" x2=\"{0:.1f}\" y1=\"{1:.1f}\" "
                "y2=\"{2:.1f}\"/>\n",
                x, y_ - 16, y_ - 11);
            const char *place = i == 0 ? "faint" : i == kSteps ? "faint right" : "faint middle";
            text(x, place, words(whole * i / kSteps));
        }
        y_ += 8;
    }

    void draw_lanes() {
        if (model_.lanes().empty()) return;
        y_ += 34;
        text(kMargin, "head", "Where each stream's chunks lie in it");
        y_ += 8;
        for (const auto &[number, lane] : model_.lanes()) draw_lane(number, lane);
    }

    // A chunk stands where it lies. Where chunks are too narrow for that, the height of a column is
    // the part of its bytes that belongs to the stream.
    void draw_lane(int number, const Lane &lane) {
        constexpr double kHeight = 34;
        const std::string name = lane_name(caption_, number);
        y_ += 22;
        put("<g class=\"lane\" role=\"group\" aria-label=\"{}\">\n",
            escaped(name + ": " + lane_figures(lane)));
        text(kMargin, "", name);
        text(kWidth - kMargin, "faint right", lane_figures(lane));
        y_ += 7;
        put("<rect class=\"track\" x=\"{}\" y=\"{:.1f}\" width=\"{}\" height=\"{}\"/>\n", kMargin,
            y_, kInner, kHeight);
        put("<g class=\"marks {}\">\n", lane_class(caption_, number));
        for (std::size_t i = 0; i < lane.columns.size(); ++i) {
            if (lane.columns[i].covered > 0) draw_column(i, lane.columns[i], kHeight);
        }
        for (const Mark &mark : lane.wide) draw_wide(mark, kHeight);
        put("</g></g>\n");
        y_ += kHeight;
    }

    static std::string mark_words(const Mark &mark) {
        std::string words =
            fmt::format("{}: {}, {}", range_text(mark.start, mark.end),
                        count_of(mark.chunks, "chunk"), count_of(mark.bytes, "byte"));
        if (mark.first_time < 0) return words;
        return words +
               fmt::format(", {} to {}", time_text(mark.first_time), time_text(mark.end_time));
    }

    void draw_mark(double x, double width, double room, double height, const std::string &words) {
        put("<rect data-mark=\"\" x=\"{:.2f}\" y=\"{:.1f}\" width=\"{:.2f}\" "
            "height=\"{:.1f}\"><title>{}</title></rect>\n",
            x, y_ + room - height, width, height, words);
    }

    void draw_wide(const Mark &mark, double room) {
        draw_mark(x_of(mark.start), x_of(mark.end) - x_of(mark.start), room, room,
                  mark_words(mark));
    }

    void draw_column(std::size_t place, const Column &column, double room) {
        const double share = std::min(column.covered / model_.column_bytes(), 1.0);
        std::string words = column.mark.chunks == 0
                                ? fmt::format("0x{:x}: the end of a chunk before",
                                              static_cast<std::int64_t>(static_cast<double>(place) *
                                                                        model_.column_bytes()))
                                : mark_words(column.mark);
        words += fmt::format("; {:.0f}% of the bytes here", share * 100);
        draw_mark(kMargin + static_cast<double>(place), 1, room,
                  std::max(room * share, kSmallestHeight), words);
    }

    void draw_bitrates() {
        double longest = 0;
        double interval = 0;
        for (const auto &[number, lane] : model_.lanes()) {
            longest = std::max(longest, lane.time);
            if (lane.time > 0) interval = std::max(interval, lane.bitrate.interval());
        }
        if (longest <= 0) return;
        y_ += 36;
        text(kMargin, "head", "Bitrate over time");
        y_ += 8;
        for (auto &[number, lane] : model_.lanes()) {
            if (lane.time <= 0 || lane.bytes == 0) continue;
            lane.bitrate.widen_to(interval);
            draw_bitrate(number, lane, longest);
        }
        draw_axis(time_text, longest);
    }

    void draw_bitrate(int number, const Lane &lane, double longest) {
        constexpr double kHeight = 56;
        const std::vector<double> &bytes = lane.bitrate.bytes();
        const double interval = lane.bitrate.interval();
        // The last interval plays only in part.
        const auto seconds = [&](std::size_t i) {
            return std::clamp(lane.time - interval * static_cast<double>(i), interval * 0.05,
                              interval);
        };
        double peak = 0;
        for (std::size_t i = 0; i < bytes.size(); ++i) peak = std::max(peak, bytes[i] / seconds(i));

        const std::string figures =
            fmt::format("average {}, peak {}",
                        kbit_text(static_cast<double>(lane.bytes), lane.time), kbit_text(peak, 1));
        const std::string name = lane_name(caption_, number);
        y_ += 22;
        put("<g class=\"bitrate\" role=\"group\" aria-label=\"Bitrate of {}\">\n",
            escaped(name + ": " + figures));
        text(kMargin, "", name);
        text(kWidth - kMargin, "faint right", figures);
        y_ += 7;
        put("<rect class=\"track\" x=\"{}\" y=\"{:.1f}\" width=\"{}\" height=\"{}\"/>\n<g "
            "class=\"marks {}\">\n",
            kMargin, y_, kInner, kHeight, lane_class(caption_, number));
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const double start = interval * static_cast<double>(i);
            const double end = std::min(start + interval, lane.time);
            if (bytes[i] <= 0 || end <= start) continue;
            const double rate = bytes[i] / seconds(i);
            const double height = std::max(kHeight * rate / peak, 0.5);
            put("<rect data-mark=\"\" x=\"{:.2f}\" y=\"{:.2f}\" width=\"{:.2f}\" "
                "height=\"{:.2f}\"><title>{} to {}: {}</title></rect>\n",
                kMargin + kInner * start / longest, y_ + kHeight - height,
                kInner * (end - start) / longest, height, time_text(start), time_text(end),
                kbit_text(rate, 1));
        }
        put("</g></g>\n");
        y_ += kHeight;
    }

    MapModel &model_;
    const MapCaption &caption_;
    std::string out_;
    double y_ = 0;
};

constexpr const char *kPageStyle = R"(
body{margin:0;background:var(--paper);color:var(--ink);line-height:1.45}
main{max-width:1280px;margin:0 auto;padding:12px}
#pointed{position:sticky;bottom:0;min-height:1.5em;padding:8px 24px;background:var(--track);
border-radius:6px;font-variant-numeric:tabular-nums}
section{padding:8px 24px}h2{font-size:15px;margin:12px 0 6px}
table{border-collapse:collapse;font-size:13px;font-variant-numeric:tabular-nums}
th,td{text-align:left;padding:3px 18px 3px 0;border-bottom:1px solid var(--rule)}
li,p{font-size:13px}
.key{display:inline-block;width:11px;height:11px;border-radius:2px;margin-right:6px}
@media print{#pointed{display:none}}
)";

// What is pointed at is told at once, in one place; without scripts the browser's own hints remain.
constexpr const char *kScript = R"(
const pointed = document.getElementById("pointed");
const hint = pointed.textContent;
document.querySelector("svg").addEventListener("pointerover", event => {
  const title = event.target.querySelector(":scope > title");
  pointed.textContent = title && event.target.tagName === "rect" ? title.textContent : hint;
});
)";

std::string parts_table(const MapModel &model) {
    std::vector<const Part *> all;
    for (const Part &part : model.forms()) all.push_back(&part);
    for (const Part &part : model.parts()) all.push_back(&part);
    std::stable_sort(all.begin(), all.end(),
                     [](const Part *a, const Part *b) { return a->start < b->start; });
    std::string rows;
    for (const Part *part : all) {
        rows += fmt::format(
            "<tr><td>0x{:x}</td><td><span class=\"key\" "
            "style=\"background:var(--{})\"></span>{}</td>"
            "<td>{}</td></tr>\n",
            part->start, class_of(part->kind), escaped(part->name), escaped(part->words));
    }
    return "<h2>Its parts</h2>\n<table><thead><tr><th>offset</th><th>part</th><th>what it is"
           "</th></tr></thead><tbody>\n" +
           rows + "</tbody></table>\n";
}

std::string findings_list(const std::vector<Finding> &findings) {
    if (findings.empty()) return {};
    std::string items;
    for (const Finding &finding : findings) items += "<li>" + escaped(finding.sentence) + "</li>\n";
    return "<h2>What is odd in it</h2>\n<ul>\n" + items + "</ul>\n";
}

}  // namespace

std::string map_svg(MapModel &model, const MapCaption &caption) {
    return Picture(model, caption).draw();
}

std::string map_html(MapModel &model, const MapCaption &caption) {
    const std::string svg = map_svg(model, caption);
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\" class=\"map\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width\">\n"
        "<meta name=\"color-scheme\" content=\"light dark\">\n<link rel=\"icon\" href=\"data:,\">\n"
        "<title>Map of {}</title>\n<style>{}</style>\n</head>\n<body>\n<main>\n{}"
        "<p id=\"pointed\">Point at a mark to see where it lies, how large it is and when it "
        "plays.</p>\n<section>\n{}{}</section>\n</main>\n<script>{}</script>\n</body>\n</html>\n",
        escaped(caption.file), kPageStyle, svg, findings_list(caption.findings), parts_table(model),
        kScript);
}
