#include "picture/charts.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "chunks/stream_words.h"
#include "picture/canvas.h"
#include "terminal/text.h"

namespace {

constexpr double kSmallestPart = 4;  // in units, so that it can be pointed at
constexpr double kSmallestMark = 3;
constexpr double kSmallestHeight = 2;
constexpr double kOverlap = 1;  // so that a column alone is seen on a narrow screen, too
constexpr double kAxisWords = 20;
constexpr std::size_t kHints = 144;  // places of a long chart that tell what is there

std::uint64_t unsigned_of(std::int64_t number) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(number, 0));
}

std::string kbit_text(double bytes, double seconds) {
    const double rate = bytes * 8 / seconds / 1000;
    return number_words(rate < 100 ? std::round(rate * 10) / 10 : std::round(rate)) + " kbit/s";
}

std::string range_text(std::int64_t start, std::int64_t end) {
    return fmt::format("0x{:x} to 0x{:x}", start, end);
}

std::string seconds_text(double seconds) {
    return seconds < 60 ? short_number(seconds) + " s" : time_text(seconds);
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
    if (lane == MapModel::kHighStreams) return "Streams 20 and up, not described";
    const AviStreamRecord *stream = stream_of(caption, lane);
    if (stream == nullptr) return fmt::format("Stream {}, not described", lane);
    std::string text = fmt::format("Stream {}: {}", lane, kind_text(*stream));
    const std::string format = format_text(*caption.reader, *stream);
    const std::string name = name_text(*caption.reader, *stream);
    if (format != "-") text += ", " + format;
    return name.empty() ? text : text + ", " + name;
}

std::string indexes_text(std::uint64_t count) {
    return with_commas(count) + (count == 1 ? " standard index" : " standard indexes");
}

std::string lane_figures(const Lane &lane) {
    std::string text = fmt::format("{}, {}", count_of(lane.chunks, "chunk"), size_text(lane.bytes));
    if (lane.time > 0) text += ", " + time_text(lane.time);
    std::uint64_t indexes = 0;
    for (const Mark &mark : lane.indexes) indexes += mark.chunks;
    return indexes == 0 ? text : text + ", " + indexes_text(indexes);
}

std::string mark_words(const Mark &mark) {
    std::string words = fmt::format("{}: {}, {}", range_text(mark.start, mark.end),
                                    count_of(mark.chunks, "chunk"), count_of(mark.bytes, "byte"));
    if (mark.first_time < 0) return words;
    return words + fmt::format(", {} to {}", time_text(mark.first_time), time_text(mark.end_time));
}

// Where the file's positions are in a chart.
class Scale {
public:
    explicit Scale(std::int64_t size)
        : size_(static_cast<double>(std::max<std::int64_t>(size, 1))) {}

    [[nodiscard]] double share(std::int64_t pos) const {
        return std::clamp(static_cast<double>(pos) / size_, 0.0, 1.0);
    }
    [[nodiscard]] double x(std::int64_t pos) const { return kPlotWidth * share(pos); }
    [[nodiscard]] double size() const { return size_; }

private:
    double size_;
};

// ---- the file

constexpr double kFormHeight = 18;
constexpr double kPartTop = 22;
constexpr double kPartEnd = 66;

std::string part_words(const Part &part) {
    return fmt::format("{} at {}: {}", part.name, range_text(part.start, part.end), part.words);
}

struct Place {
    const Part *part;
    double x;
    double width;
};

// In their order and all to be seen: the smallest push the others aside.
std::vector<Place> places_of(const std::vector<Part> &parts, const Scale &scale) {
    std::vector<Place> places;
    for (const Part &part : parts) {
        places.push_back({&part, scale.x(part.start), scale.x(part.end) - scale.x(part.start)});
    }
    std::stable_sort(places.begin(), places.end(),
                     [](const Place &a, const Place &b) { return a.part->start < b.part->start; });
    const double least = std::min(
        kSmallestPart, kPlotWidth / static_cast<double>(std::max<std::size_t>(places.size(), 1)));
    double free = 0;
    for (Place &place : places) {
        const double end = place.x + place.width;
        place.x = std::max(place.x, free);
        place.width = std::max(end - place.x, least);
        free = place.x + place.width;
    }
    double end = kPlotWidth;
    for (auto place = places.rbegin(); place != places.rend(); ++place) {
        if (place->x + place->width <= end) break;
        place->width = std::max(end - place->x, least);
        place->x = end - place->width;
        end = place->x;
    }
    return places;
}

void draw_parts(Canvas &canvas, const std::vector<Part> &parts, const Scale &scale, double y,
                double height) {
    const std::vector<Place> places = places_of(parts, scale);
    canvas.begin_plot(y, height, "parts");
    for (const auto &[part, x, width] : places) {
        canvas.mark(x, 0, width, height, part_words(*part), class_of(part->kind));
    }
    canvas.end_plot();
    for (const auto &[part, x, width] : places) {
        const double needed = 8.0 * static_cast<double>(part->name.size());
        if (width < needed) continue;
        const bool narrow_too = width * 360 / kPlotWidth >= needed;
        canvas.text((x + width / 2) / kPlotWidth, y + height / 2 + 4.5,
                    narrow_too ? "inside" : "inside fine", part->name);
    }
}

// Within the parts that hold them.
void draw_lost(Canvas &canvas, const std::vector<Part> &lost, const Scale &scale) {
    if (lost.empty()) return;
    canvas.begin_plot(kPartTop, kPartEnd - kPartTop, "parts");
    for (const Part &part : lost) {
        const double x = std::min(scale.x(part.start), kPlotWidth - kSmallestPart);
        canvas.mark(x, 0, std::max(scale.x(part.end) - x, kSmallestPart), kPartEnd - kPartTop,
                    part_words(part), class_of(part.kind));
    }
    canvas.end_plot();
}

// Findings that lie too close to each other for a pin of their own share one.
struct Pin {
    std::size_t first;
    Severity worst;
    double x;
    std::string words;
};

std::vector<Pin> pins_of(const std::vector<Finding> &findings, const Scale &scale) {
    constexpr double kApart = 10;
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < findings.size(); ++i) {
        if (findings[i].pos >= 0) order.push_back(i);
    }
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return findings[a].pos < findings[b].pos;
    });
    std::vector<Pin> pins;
    for (const std::size_t i : order) {
        const Finding &finding = findings[i];
        const double x = scale.x(finding.pos);
        const std::string words = fmt::format("0x{:x}: {}", finding.pos, finding.sentence);
        if (pins.empty() || x - pins.back().x > kApart) {
            pins.push_back({i, finding.rule->severity, x, words});
        } else {
            Pin &pin = pins.back();
            pin.words += "; " + words;
            if (finding.rule->severity < pin.worst) {
                pin.worst = finding.rule->severity;
                pin.first = i;
            }
        }
    }
    return pins;
}

void draw_pins(Canvas &canvas, const std::vector<Pin> &pins) {
    for (const Pin &pin : pins) {
        canvas.put(
            "<svg class=\"pin {}\" x=\"{}%\" width=\"1\" height=\"1\" overflow=\"visible\"><line "
            "y2=\"{}\"/><a href=\"#finding-{}\"><path data-mark=\"\" d=\"M0 {}l6.5 "
            "11h-13z\"><title>"
            "{}</title></path></a></svg>\n",
            severity_word(pin.worst), units(100 * pin.x / kPlotWidth), kPartEnd, pin.first + 1,
            kPartEnd, escaped(pin.words));
    }
}

void draw_missing(Canvas &canvas, std::int64_t missing) {
    if (missing <= 0) return;
    canvas.put(
        "<svg x=\"100%\" width=\"1\" height=\"1\" overflow=\"visible\"><rect data-mark=\"\" "
        "class=\"lost\" x=\"2\" width=\"6\" height=\"{}\"><title>{} are declared beyond the "
        "end of the file</title></rect></svg>\n",
        kPartEnd, count_of(unsigned_of(missing), "byte"));
}

std::vector<Key> keys_of(const MapModel &model) {
    constexpr std::array<const char *, 8> kWords{
        "form", "header list", "media", "index", "extension list", "filler", "other", "lost bytes"};
    std::array<bool, kWords.size()> used{};
    used[static_cast<std::size_t>(PartKind::lost)] = !model.lost_inside().empty();
    for (const Part &part : model.parts()) used[static_cast<std::size_t>(part.kind)] = true;
    std::vector<Key> keys;
    for (std::size_t i = 1; i < used.size(); ++i) {
        if (used[i]) keys.push_back({class_of(static_cast<PartKind>(i)), kWords[i]});
    }
    return keys;
}

// ---- the streams

// What the charts of streams share.
struct Streams {
    const MapModel &model;
    const MapCaption &caption;
    Scale scale;
    std::vector<Tick> sizes;

    void words_below(Canvas &canvas, double bottom) const {
        canvas.words_along(sizes, scale.size(), bottom);
    }
};

bool is_played(const Lane &lane) {
    return lane.time > 0 && !lane.clock.empty();
}

double longest_time(const MapModel &model) {
    double longest = 0;
    for (const auto &[number, lane] : model.lanes()) longest = std::max(longest, lane.time);
    return longest;
}

// Several streams of a kind have one colour; all but the first are dashed.
std::string line_class(const Streams &streams, int number) {
    const std::string colour = lane_class(streams.caption, number);
    for (const auto &[other, lane] : streams.model.lanes()) {
        if (other >= number) break;
        if (is_played(lane) && lane_class(streams.caption, other) == colour) {
            return colour + " dashed";
        }
    }
    return colour;
}

// The line of a stream goes up while its chunks play, and level over those of others.
void draw_clock(Canvas &canvas, const Streams &streams, int number, const Lane &lane,
                double longest, double height) {
    const auto y = [&](double time) { return units(height * (1 - time / longest)); };
    canvas.put("<polyline class=\"line {}\" points=\"", line_class(streams, number));
    for (const ClockSpan &span : lane.clock) {
        canvas.put("{},{} {},{} ", units(streams.scale.x(span.start)), y(span.from),
                   units(streams.scale.x(span.end)), y(span.to));
    }
    canvas.put("\"/>\n");
}

// The time that a lane has reached at a position; asked for with positions that grow.
class Clock {
public:
    explicit Clock(const Lane &lane) : spans_(lane.clock) {}

    double at(std::int64_t pos) {
        while (next_ < spans_.size() && spans_[next_].start < pos) ++next_;
        return next_ == 0 ? 0 : spans_[next_ - 1].to;
    }

private:
    const std::vector<ClockSpan> &spans_;
    std::size_t next_ = 0;
};

void draw_clock_hints(Canvas &canvas, const Streams &streams, double height) {
    std::map<int, Clock> clocks;
    for (const auto &[number, lane] : streams.model.lanes()) {
        if (is_played(lane)) clocks.emplace(number, lane);
    }
    const double width = kPlotWidth / static_cast<double>(kHints);
    for (std::size_t i = 0; i < kHints; ++i) {
        const auto pos =
            static_cast<std::int64_t>(streams.scale.size() * static_cast<double>(i + 1) / kHints);
        std::string words = fmt::format("up to 0x{:x}:", pos);
        const char *between = " ";
        for (auto &[number, clock] : clocks) {
            words +=
                fmt::format("{}stream {} has played {}", between, number, time_text(clock.at(pos)));
            between = ", ";
        }
        canvas.mark(width * static_cast<double>(i), 0, width, height, words, "hint");
    }
}

Section clock_chart(const Streams &streams, double longest) {
    constexpr double kTop = 4;
    constexpr double kHeight = 200;
    Section section{"Time against place", {}, {}};
    Canvas canvas;
    canvas.track(kTop, kHeight);
    canvas.lines_along(streams.sizes, streams.scale.size(), kTop, kTop + kHeight);
    canvas.axis_up(time_ticks(longest, 6), 0, longest, kTop, kHeight);
    canvas.begin_plot(kTop, kHeight);
    for (const auto &[number, lane] : streams.model.lanes()) {
        if (!is_played(lane)) continue;
        draw_clock(canvas, streams, number, lane, longest, kHeight);
        section.keys.push_back({line_class(streams, number), lane_name(streams.caption, number)});
    }
    draw_clock_hints(canvas, streams, kHeight);
    canvas.end_plot();
    streams.words_below(canvas, kTop + kHeight);
    section.panels.push_back({"clock", "How far each stream has played at each place",
                              "lines that run apart are badly interleaved",
                              kTop + kHeight + kAxisWords, canvas.take()});
    return section;
}

struct LeadRange {
    double low = 0;
    double high = 0;
};

LeadRange lead_range(const Lane &lane) {
    LeadRange range;
    for (const LeadSpan &span : lane.lead) {
        range.low = std::min(range.low, span.low);
        range.high = std::max(range.high, span.high);
    }
    return range;
}

std::string lead_figures(const LeadRange &range) {
    return fmt::format("at most {} ahead, {} behind", seconds_text(range.high),
                       seconds_text(std::abs(range.low)));
}

void draw_lead_line(Canvas &canvas, const Streams &streams, const Lane &lane, auto y) {
    canvas.put("<polyline class=\"line\" points=\"");
    for (const LeadSpan &span : lane.lead) {
        const std::string start = units(streams.scale.x(span.start));
        const std::string end = units(streams.scale.x(span.end));
        canvas.put("{0},{2} {0},{3} {1},{4} {1},{5} ", start, end, y(span.first), y(span.low),
                   y(span.high), y(span.last));
    }
    canvas.put("\"/>\n");
}

// The spans that begin within each stretch of the chart.
void draw_lead_hints(Canvas &canvas, const Streams &streams, const Lane &lane, double height) {
    const double width = kPlotWidth / static_cast<double>(kHints);
    std::size_t next = 0;
    for (std::size_t i = 0; i < kHints; ++i) {
        const double end = width * static_cast<double>(i + 1);
        const std::size_t first = next;
        LeadSpan whole{};
        for (; next < lane.lead.size() && streams.scale.x(lane.lead[next].start) < end; ++next) {
            const LeadSpan &span = lane.lead[next];
            if (next == first) whole = span;
            whole.end = span.end;
            whole.low = std::min(whole.low, span.low);
            whole.high = std::max(whole.high, span.high);
        }
        if (next == first) continue;
        canvas.mark(end - width, 0, width, height,
                    fmt::format("{}: from {:+.3f} s to {:+.3f} s",
                                range_text(whole.start, whole.end), whole.low, whole.high),
                    "hint");
    }
}

Panel lead_panel(const Streams &streams, int number, const Lane &lane, bool last) {
    constexpr double kTop = 2;
    constexpr double kHeight = 64;
    const LeadRange range = lead_range(lane);
    const double room = std::max((range.high - range.low) * 0.06, 1e-6);
    const double low = range.low - room;
    const double high = range.high + room;
    Canvas canvas;
    canvas.track(kTop, kHeight);
    canvas.lines_along(streams.sizes, streams.scale.size(), kTop, kTop + kHeight);
    canvas.begin_plot(kTop, kHeight, lane_class(streams.caption, number));
    draw_lead_line(canvas, streams, lane,
                   [&](double lead) { return units(kHeight * (high - lead) / (high - low)); });
    draw_lead_hints(canvas, streams, lane, kHeight);
    canvas.end_plot();
    canvas.axis_up(lead_ticks(low, high), low, high, kTop, kHeight);
    if (last) streams.words_below(canvas, kTop + kHeight);
    return {"lead", lane_name(streams.caption, number), lead_figures(range),
            kTop + kHeight + (last ? kAxisWords : 2), canvas.take()};
}

Section lead_chart(const Streams &streams) {
    const int leading = streams.model.leading();
    Section section{
        fmt::format("Ahead of stream {} (+) and behind it (-), in seconds", leading), {}, {}};
    const bool led = leading >= 0 && is_played(streams.model.lanes().at(leading));
    if (!led) return section;
    std::vector<int> numbers;
    for (const auto &[number, lane] : streams.model.lanes()) {
        if (!lane.lead.empty()) numbers.push_back(number);
    }
    for (const int number : numbers) {
        section.panels.push_back(lead_panel(streams, number, streams.model.lanes().at(number),
                                            number == numbers.back()));
    }
    return section;
}

// A chunk stands where it lies. Where chunks are too narrow for that, the height of a column is the
// part of its bytes that belongs to the stream.
void draw_column(Canvas &canvas, const MapModel &model, std::size_t place, const Column &column,
                 double room) {
    constexpr double kWidth = kPlotWidth / static_cast<double>(MapModel::kColumns);
    const double share = std::min(column.covered / model.column_bytes(), 1.0);
    const auto start = static_cast<std::int64_t>(static_cast<double>(place) * model.column_bytes());
    std::string words = column.mark.chunks == 0
                            ? fmt::format("0x{:x}: the end of a chunk before", start)
                            : mark_words(column.mark);
    words += fmt::format("; {:.0f}% of the bytes here", share * 100);
    const double height = std::max(room * share, kSmallestHeight);
    canvas.mark(kWidth * static_cast<double>(place), room - height, kWidth + kOverlap, height,
                words);
}

Panel lane_panel(const Streams &streams, int number, const Lane &lane, bool last) {
    constexpr double kTop = 2;
    constexpr double kHeight = 28;
    const Scale &scale = streams.scale;
    const auto width = [&](const Mark &mark) { return scale.x(mark.end) - scale.x(mark.start); };
    Canvas canvas;
    canvas.track(kTop, kHeight);
    canvas.lines_along(streams.sizes, scale.size(), kTop, kTop + kHeight);
    canvas.begin_plot(kTop, kHeight, fmt::format("marks {}", lane_class(streams.caption, number)));
    for (std::size_t i = 0; i < lane.columns.size(); ++i) {
        if (lane.columns[i].covered > 0) {
            draw_column(canvas, streams.model, i, lane.columns[i], kHeight);
        }
    }
    for (const Mark &mark : lane.wide) {
        canvas.mark(scale.x(mark.start), 0, std::max(width(mark), kSmallestMark), kHeight,
                    mark_words(mark));
    }
    for (const Mark &mark : lane.indexes) {
        canvas.mark(scale.x(mark.start), 0, std::max(width(mark), kSmallestPart), kHeight,
                    fmt::format("{}: {}, {}", range_text(mark.start, mark.end),
                                indexes_text(mark.chunks), count_of(mark.bytes, "byte")),
                    "index");
    }
    canvas.end_plot();
    if (last) streams.words_below(canvas, kTop + kHeight);
    return {"lane", lane_name(streams.caption, number), lane_figures(lane),
            kTop + kHeight + (last ? kAxisWords : 2), canvas.take()};
}

Section lane_chart(const Streams &streams) {
    Section section{"Where each stream's chunks lie", {}, {}};
    const auto &lanes = streams.model.lanes();
    for (const auto &[number, lane] : lanes) {
        const bool last = number == lanes.rbegin()->first;
        section.panels.push_back(lane_panel(streams, number, lane, last));
        if (!lane.indexes.empty()) section.keys = {{"index", "standard index"}};
    }
    return section;
}

// ---- bitrates

// The last interval plays only in part.
double seconds_of(const Lane &lane, std::size_t interval) {
    const double whole = lane.bitrate.interval();
    return std::clamp(lane.time - whole * static_cast<double>(interval), whole * 0.05, whole);
}

double peak_rate(const Lane &lane) {
    double peak = 0;
    const std::vector<double> &bytes = lane.bitrate.bytes();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        peak = std::max(peak, bytes[i] / seconds_of(lane, i));
    }
    return peak;
}

void draw_bars(Canvas &canvas, const Lane &lane, double longest, double peak, double height) {
    const double interval = lane.bitrate.interval();
    const std::vector<double> &bytes = lane.bitrate.bytes();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const double start = interval * static_cast<double>(i);
        const double end = std::min(start + interval, lane.time);
        if (bytes[i] <= 0 || end <= start) continue;
        const double rate = bytes[i] / seconds_of(lane, i);
        const double bar = std::max(height * rate / peak, 0.5);
        canvas.mark(
            kPlotWidth * start / longest, height - bar,
            kPlotWidth * (end - start) / longest + kOverlap, bar,
            fmt::format("{} to {}: {}", time_text(start), time_text(end), kbit_text(rate, 1)));
    }
}

Panel bitrate_panel(const MapCaption &caption, int number, const Lane &lane, double longest,
                    bool last) {
    constexpr double kTop = 2;
    constexpr double kHeight = 72;
    const std::vector<Tick> times = time_ticks(longest);
    const double peak = peak_rate(lane);
    const double highest = peak * 1.08;  // room above the highest bar
    Canvas canvas;
    canvas.track(kTop, kHeight);
    canvas.lines_along(times, longest, kTop, kTop + kHeight);
    canvas.begin_plot(kTop, kHeight, fmt::format("marks {}", lane_class(caption, number)));
    draw_bars(canvas, lane, longest, highest, kHeight);
    canvas.end_plot();
    canvas.axis_up(rate_ticks(highest), 0, highest, kTop, kHeight);
    if (last) canvas.words_along(times, longest, kTop + kHeight);
    return {"bitrate", lane_name(caption, number),
            fmt::format("average {}, peak {}",
                        kbit_text(static_cast<double>(lane.bytes), lane.time), kbit_text(peak, 1)),
            kTop + kHeight + (last ? kAxisWords : 2), canvas.take()};
}

Section bitrate_chart(MapModel &model, const MapCaption &caption, double longest) {
    Section section{"Bitrate over time", {}, {}};
    std::vector<int> numbers;
    double interval = 0;
    for (const auto &[number, lane] : model.lanes()) {
        if (lane.time <= 0 || lane.bytes == 0) continue;
        numbers.push_back(number);
        interval = std::max(interval, lane.bitrate.interval());
    }
    for (const int number : numbers) {
        Lane &lane = model.lanes().at(number);
        lane.bitrate.widen_to(interval);
        section.panels.push_back(
            bitrate_panel(caption, number, lane, longest, number == numbers.back()));
    }
    return section;
}

}  // namespace

const char *class_of(PartKind kind) {
    constexpr std::array<const char *, 8> kClasses{"form",      "header", "media", "index",
                                                   "extension", "filler", "other", "lost"};
    return kClasses[static_cast<std::size_t>(kind)];
}

Section file_chart(const MapModel &model, const MapCaption &caption) {
    const Scale scale(model.file_size());
    const std::vector<Pin> pins = pins_of(caption.findings, scale);
    const double bottom = pins.empty() ? kPartEnd : kPartEnd + 14;
    const std::vector<Tick> sizes = size_ticks(static_cast<double>(model.file_size()));
    Canvas canvas;
    canvas.track(kPartTop, kPartEnd - kPartTop);
    canvas.lines_along(sizes, scale.size(), kPartEnd, bottom + 4);
    draw_missing(canvas, model.missing());
    draw_parts(canvas, model.forms(), scale, 0, kFormHeight);
    draw_parts(canvas, model.parts(), scale, kPartTop, kPartEnd - kPartTop);
    draw_lost(canvas, model.lost_inside(), scale);
    draw_pins(canvas, pins);
    canvas.words_along(sizes, scale.size(), bottom + 4);
    return {"The file, to scale",
            keys_of(model),
            {{"file", "Forms and their parts",
              fmt::format("{}, {}", count_of(model.forms().size(), "form"),
                          count_of(model.parts().size(), "part")),
              bottom + kAxisWords + 4, canvas.take()}}};
}

std::vector<Section> stream_charts(MapModel &model, const MapCaption &caption) {
    std::vector<Section> sections;
    if (model.lanes().empty()) return sections;
    const Streams streams{model, caption, Scale(model.file_size()),
                          size_ticks(static_cast<double>(model.file_size()))};
    const double longest = longest_time(model);
    if (longest > 0) sections.push_back(clock_chart(streams, longest));
    sections.push_back(lead_chart(streams));
    sections.push_back(lane_chart(streams));
    if (longest > 0) sections.push_back(bitrate_chart(model, caption, longest));
    std::erase_if(sections, [](const Section &section) { return section.panels.empty(); });
    return sections;
}
