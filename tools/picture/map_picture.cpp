#include "picture/map_picture.h"

#include <algorithm>
#include <set>

#include "picture/canvas.h"
#include "picture/charts.h"
#include "terminal/text.h"

namespace {

// A file may have more findings than anyone reads; so many are listed and marked.
constexpr std::size_t kMostFindings = 200;

constexpr const char *kStyle = R"(
.map{--paper:#fff;--ink:#1b2130;--faint:#5b6475;--rule:#d7dbe3;--track:#f1f3f7;--amber:#b54708;
--good:#067647;--form:#98a2b3;--header:#7a5af8;--media:#2e90fa;--index:#f79009;--extension:#15b79e;
--filler:#d0d5dd;--other:#854a0e;--lost:#d92d20;
--video:#1570cd;--audio:#c4501b;--text:#0e8a74;--none:#667085;
font-family:system-ui,-apple-system,"Segoe UI",Roboto,"DejaVu Sans",sans-serif}
@media screen and (prefers-color-scheme:dark){.map{--paper:#12151c;--ink:#e6e9f0;--faint:#98a2b3;
--rule:#333a48;--track:#1c212c;--amber:#fdb022;--good:#47cd89;--form:#5b6579;--header:#9b8afb;
--media:#53a7fb;--index:#fdb022;--extension:#2ed3b7;--filler:#475066;--other:#d9a15c;--lost:#f97066;
--video:#60adf8;--audio:#f5955f;--text:#3fd0b5;--none:#98a2b3}}
.map,.map svg{-webkit-print-color-adjust:exact;print-color-adjust:exact}
.map svg{overflow:visible;display:block}.map svg.plot{overflow:hidden}
.map .paper{fill:var(--paper)}.map text{fill:var(--ink);font-size:12px}
.map .title{font-size:20px;font-weight:650}.map .head{font-size:15px;font-weight:650}
.map text.faint{fill:var(--faint)}.map .right{text-anchor:end}.map .middle{text-anchor:middle}
.map .inside{fill:#fff;font-weight:600;text-anchor:middle;pointer-events:none;
paint-order:stroke;stroke:rgba(0,0,0,.45);stroke-width:2px}
.map .level{pointer-events:none}.map text.level{font-size:10.5px}
.map rect.level{fill:var(--paper);opacity:.8}
.map .rule{stroke:var(--rule);pointer-events:none}.map .zero{stroke:var(--faint)}.map .track{fill:var(--track)}
.map .form{fill:var(--form)}.map .header{fill:var(--header)}.map .media{fill:var(--media)}
.map .index{fill:var(--index)}.map .extension{fill:var(--extension)}.map .filler{fill:var(--filler)}
.map .other{fill:var(--other)}.map .lost{fill:var(--lost)}
.map .video{fill:var(--video);stroke:var(--video)}.map .audio{fill:var(--audio);stroke:var(--audio)}
.map .subtitle{fill:var(--text);stroke:var(--text)}.map .none{fill:var(--none);stroke:var(--none)}
.map .marks{stroke:none}.map .marks rect{shape-rendering:crispEdges}
.map .parts rect{stroke:var(--paper);stroke-width:.5;vector-effect:non-scaling-stroke}
.map .line{fill:none;stroke-width:1.5;vector-effect:non-scaling-stroke;stroke-linejoin:round}
.map .line.video{stroke-width:3}.map .dashed{stroke-dasharray:5 4}
.map .hint{fill:transparent;stroke:none}
.map .pin line{stroke-width:1;stroke-dasharray:2 2}.map .pin path{stroke:var(--paper)}
.map .refusal,.map .error{fill:var(--lost);stroke:var(--lost)}
.map .warning{fill:var(--amber);stroke:var(--amber)}.map .note{fill:var(--none);stroke:var(--none)}
.map text:not(.inside){stroke:none}
.map .odd{fill:var(--amber);color:var(--amber);font-weight:600}
.map .wrong{fill:var(--lost);color:var(--lost);font-weight:600}
.map .good{fill:var(--good);color:var(--good);font-weight:600}
.map [data-mark]:hover{stroke:var(--ink);stroke-width:1.5;vector-effect:non-scaling-stroke}
@media (max-width:700px){.map .fine{display:none}}
)";

constexpr const char *kPageStyle = R"(
body{margin:0;background:var(--paper);color:var(--ink);line-height:1.45;font-size:14px}
main{max-width:1176px;margin:0 auto;padding:16px}
h1{font-size:22px;margin:0;overflow-wrap:anywhere}h2{font-size:16px;margin:26px 0 4px}
p{margin:2px 0}.faint{color:var(--faint)}
.keys{display:flex;flex-wrap:wrap;gap:2px 14px;font-size:13px;color:var(--faint);margin:0 0 6px}
.map .key{display:inline-block;width:11px;height:11px;margin-right:6px;border-radius:2px}
figure{margin:0 0 8px}
figcaption{display:flex;flex-wrap:wrap;gap:0 16px;justify-content:space-between;font-size:13px;
margin-bottom:2px;overflow-wrap:anywhere}
figcaption span{color:var(--faint);font-variant-numeric:tabular-nums}
.findings{padding-left:28px;margin:4px 0}
.findings li{margin:6px 0;overflow-wrap:anywhere}.findings li:target{background:var(--track)}
.findings b,code{font-size:13px}.findings small{display:block;color:var(--faint);font-size:13px}
li.refusal b,li.error b{color:var(--lost)}li.warning b{color:var(--amber)}li.note b{color:var(--faint)}
#pointed{position:sticky;bottom:0;min-height:1.5em;padding:8px 12px;margin:12px 0;
background:var(--track);border:1px solid var(--rule);border-radius:6px;font-size:13px;
font-variant-numeric:tabular-nums;overflow-wrap:anywhere}
table{border-collapse:collapse;font-size:13px;font-variant-numeric:tabular-nums}
th,td{text-align:left;vertical-align:top;padding:3px 14px 3px 0;border-bottom:1px solid var(--rule)}
td:nth-child(2){white-space:nowrap}td:last-child{overflow-wrap:anywhere}
@media print{@page{margin:12mm}#pointed{display:none}main{padding:0 10px}
figure,.findings li,tr{break-inside:avoid}h2,.keys{break-after:avoid}}
)";

// What is pointed at is told at once, in one place; without scripts the browser's own hints remain.
constexpr const char *kScript = R"(
const pointed = document.getElementById("pointed");
const hint = pointed.textContent;
document.querySelector("main").addEventListener("pointerover", event => {
  const title = event.target.querySelector(":scope > title");
  pointed.textContent = title ? title.textContent : hint;
});
)";

std::uint64_t unsigned_of(std::int64_t number) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(number, 0));
}

std::string size_words(const MapModel &model) {
    const std::uint64_t size = unsigned_of(model.file_size());
    const std::string words = count_of(size, "byte");
    return size < 1024 ? words : fmt::format("{} ({})", words, size_text(size));
}

// The refusal says itself what is wrong, so that only what comes on top of it is counted.
std::string verdict_words(const MapCaption &caption) {
    const auto &findings = caption.findings;
    const bool opens = caption.reader != nullptr;
    const auto told = static_cast<std::size_t>(std::count_if(
        findings.begin(), findings.end(),
        [](const Finding &finding) { return finding.rule->severity != Severity::refusal; }));
    const std::size_t count = opens ? findings.size() : told;
    if (count == 0) return caption.verdict;
    return fmt::format("{}, {}{}", caption.verdict, opens ? "" : "and besides ",
                       count_of(count, "finding"));
}

const char *verdict_class(const MapCaption &caption) {
    if (caption.reader == nullptr) return "wrong";
    return caption.findings.empty() ? "good" : "odd";
}

std::string place_words(const Finding &finding) {
    return finding.pos < 0 ? "" : fmt::format("0x{:x}", finding.pos);
}

std::size_t listed(const MapCaption &caption) {
    return std::min(caption.findings.size(), kMostFindings);
}

std::string more_words(const MapCaption &caption) {
    const std::size_t more = caption.findings.size() - listed(caption);
    return more == 0 ? "" : fmt::format("and {} more", with_commas(more));
}

// ---- the picture alone

// Lays the charts out below each other, with their words, on paper of a fixed width.
class Sheet {
public:
    std::string draw(MapModel &model, const MapCaption &caption) {
        line(28, "title", caption.file);
        line(22, "faint", size_words(model));
        line(20, verdict_class(caption), verdict_words(caption));
        add(file_chart(model, caption));
        add_findings(caption);
        for (const Section &section : stream_charts(model, caption)) add(section);
        return fmt::format(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"map\" viewBox=\"0 0 {0} {1}\" "
            "width=\"100%\" role=\"img\" aria-labelledby=\"map-title map-what\">\n"
            "<title id=\"map-title\">Map of {2}</title>\n<desc id=\"map-what\">{3}; {4}</desc>\n"
            "<style>{5}</style>\n<rect class=\"paper\" width=\"{0}\" height=\"{1}\"/>\n{6}</svg>\n",
            kPlotWidth + 2 * kMargin, units(y_ + 12), escaped(caption.file),
            escaped(size_words(model)), escaped(verdict_words(caption)), kStyle, canvas_.take());
    }

private:
    static constexpr double kMargin = 24;
    static constexpr std::size_t kLineLength = 150;  // characters that surely fit
    static constexpr std::size_t kMostLines = 20;    // of findings

    void text(double x, const char *classes, const std::string &words) {
        canvas_.put("<text class=\"{}\" x=\"{}\" y=\"{}\">{}</text>\n", classes, units(x),
                    units(y_), escaped(shortened(words, kLineLength)));
    }

    void line(double height, const char *classes, const std::string &words) {
        y_ += height;
        text(kMargin, classes, words);
    }

    void add(const Section &section) {
        y_ += 14;
        line(22, "head", section.heading);
        add_keys(section.keys);
        for (const Panel &panel : section.panels) add(panel);
    }

    void add_keys(const std::vector<Key> &keys) {
        if (keys.empty()) return;
        y_ += 20;
        double x = kMargin;
        for (const Key &key : keys) {
            const double width = 6.6 * static_cast<double>(std::min(key.words.size(), kLineLength));
            if (x > kMargin && x + width > kPlotWidth) {
                x = kMargin;
                y_ += 18;
            }
            canvas_.put("<rect class=\"{}\" x=\"{}\" y=\"{}\" width=\"11\" height=\"11\"/>\n",
                        key.classes, units(x), units(y_ - 10));
            text(x + 16, "faint", key.words);
            x += width + 34;
        }
    }

    void add(const Panel &panel) {
        const std::string label = fmt::format("{}: {}", panel.name, panel.figures);
        canvas_.put("<g class=\"{}\" role=\"group\" aria-label=\"{}\">\n", panel.kind,
                    escaped(label));
        y_ += 20;
        text(kMargin, "", shortened(panel.name, 100));
        text(kMargin + kPlotWidth, "faint right", panel.figures);
        y_ += 6;
        canvas_.put(
            "<svg x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" overflow=\"visible\">\n{}"
            "</svg></g>\n",
            kMargin, units(y_), kPlotWidth, units(panel.height), panel.content);
        y_ += panel.height;
    }

    void add_findings(const MapCaption &caption) {
        y_ += 6;
        const std::size_t shown = std::min(caption.findings.size(), kMostLines);
        for (std::size_t i = 0; i < shown; ++i) {
            const Finding &finding = caption.findings[i];
            const std::string place = place_words(finding);
            canvas_.put("<g id=\"finding-{}\">", i + 1);
            line(18, severity_word(finding.rule->severity),
                 fmt::format("{}{}{}: {}", severity_word(finding.rule->severity),
                             place.empty() ? "" : " at ", place, finding.sentence));
            canvas_.put("</g>\n");
        }
        if (shown == caption.findings.size()) return;
        line(18, "faint", fmt::format("and {} more", with_commas(caption.findings.size() - shown)));
    }

    Canvas canvas_;
    double y_ = 10;
};

// ---- the page

std::string keys_markup(const std::vector<Key> &keys) {
    if (keys.empty()) return {};
    std::string items;
    for (const Key &key : keys) {
        items += fmt::format(
            "<span><svg class=\"key {}\" width=\"11\" height=\"11\"><rect "
            "width=\"11\" height=\"11\"/></svg>{}</span>\n",
            key.classes, escaped(key.words));
    }
    return "<p class=\"keys\">" + items + "</p>\n";
}

std::string panel_markup(const Panel &panel) {
    return fmt::format(
        "<figure class=\"{0}\" role=\"group\" aria-label=\"{1}: {2}\"><figcaption><b>{1}</b> "
        "<span>{2}</span></figcaption>\n<svg width=\"100%\" height=\"{3}\">\n{4}</svg></figure>\n",
        panel.kind, escaped(panel.name), escaped(panel.figures), units(panel.height),
        panel.content);
}

std::string section_markup(const Section &section) {
    std::string markup =
        fmt::format("<h2>{}</h2>\n{}", escaped(section.heading), keys_markup(section.keys));
    for (const Panel &panel : section.panels) markup += panel_markup(panel);
    return markup;
}

// What a rule means for players is told once.
std::string findings_markup(const MapCaption &caption) {
    if (caption.findings.empty()) return {};
    std::string items;
    std::set<const Rule *> told;
    for (std::size_t i = 0; i < listed(caption); ++i) {
        const auto &[rule, pos, sentence] = caption.findings[i];
        items += fmt::format(
            "<li id=\"finding-{0}\" class=\"{1}\"><b>{1}</b> <code>{2}</code> {3}<small>", i + 1,
            severity_word(rule->severity), place_words(caption.findings[i]), escaped(sentence));
        if (told.insert(rule).second) {
            items += fmt::format("{} {} ", escaped(rule->effect), escaped(rule->remedy));
        }
        items += fmt::format("<code>{}</code></small></li>\n", rule->id);
    }
    return fmt::format(
        "<h2>What was found in it</h2>\n<ol class=\"findings\">\n{}</ol>\n<p>{}</p>\n", items,
        more_words(caption));
}

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

MapCaption marked(const MapCaption &caption) {
    MapCaption most = caption;
    most.findings.resize(listed(caption));
    return most;
}

}  // namespace

std::string map_svg(MapModel &model, const MapCaption &caption) {
    return Sheet().draw(model, caption);
}

std::string map_html(MapModel &model, const MapCaption &caption) {
    std::string charts = section_markup(file_chart(model, marked(caption)));
    charts += findings_markup(caption);
    for (const Section &section : stream_charts(model, caption)) charts += section_markup(section);
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\" class=\"map\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width\">\n"
        "<meta name=\"color-scheme\" content=\"light dark\">\n<link rel=\"icon\" href=\"data:,\">\n"
        "<title>Map of {0}</title>\n<style>{1}{2}</style>\n</head>\n<body>\n<main>\n<h1>{0}</h1>\n"
        "<p class=\"faint\">{3}</p>\n<p class=\"{4}\">{5}</p>\n{6}"
        "<p id=\"pointed\">Point at a mark to see where it lies, how large it is and when it "
        "plays.</p>\n{7}</main>\n<script>{8}</script>\n</body>\n</html>\n",
        escaped(caption.file), kStyle, kPageStyle, escaped(size_words(model)),
        verdict_class(caption), escaped(verdict_words(caption)), charts, parts_table(model),
        kScript);
}
