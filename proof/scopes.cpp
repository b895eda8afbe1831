#include "proof/scopes.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <utility>

#include "tests/support/avi_builder.h"

namespace {

using avi_builder::Bytes;

// ---- words: chunks, and the beginnings and ends of lists

// A size that is wrong by some bytes, or a number that has nothing to do with what there is.
struct Size {
    bool relative = true;
    std::uint32_t value = 0;
};

struct Word {
    enum class Kind { bytes, opening, closing };
    Kind kind = Kind::bytes;
    Bytes bytes;  // of an opening, id, size and type
    Size size;    // of an opening
};
using Words = std::vector<Word>;

Word raw(const Bytes &bytes) {
    return {Word::Kind::bytes, bytes, {}};
}

Word opening(std::string_view id, std::string_view type, Size size = {}) {
    return {Word::Kind::opening, Bytes(id) + avi_builder::u32(0) + Bytes(type), size};
}

Word closing() {
    return {Word::Kind::closing, "", {}};
}

Words operator+(Words words, const Words &more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

// Exact, one off, too small for anything, one that ends inside what follows, too large, wrapping.
constexpr std::array kListSizes{
    Size{true, 0},  Size{true, 1},           Size{true, ~0U},          Size{false, 0},
    Size{false, 4}, Size{false, 0x7fffffff}, Size{false, 0xfffffff8U}, Size{false, 0xffffffffU}};

Words lists(std::string_view id, std::initializer_list<std::string_view> types) {
    Words words;
    for (const std::string_view type : types) {
        for (const Size size : kListSizes) words.push_back(opening(id, type, size));
    }
    return words;
}

// A chunk whose size claims what it claims and that has so many bytes.
Word claiming(std::string_view id, std::uint32_t size, std::size_t bytes) {
    return raw(avi_builder::claiming(id, size, avi_builder::filler(bytes, 7)));
}

// Small sizes with as many bytes, with and without a pad byte; one off; too large; wrapping.
Words chunks(std::initializer_list<std::string_view> ids) {
    Words words;
    for (const std::string_view id : ids) {
        for (const std::uint32_t size : {0U, 1U, 2U, 3U, 4U, 8U}) {
            words.push_back(claiming(id, size, size));
        }
        for (const std::uint32_t size : {1U, 3U}) words.push_back(claiming(id, size, size + 1));
        for (const std::uint32_t size : {3U, 5U, 0x7ffffff7U, 0x7fffffffU, 0x80000000U, 0xfffffff7U,
                                         0xfffffff8U, 0xffffffffU}) {
            words.push_back(claiming(id, size, 4));
        }
    }
    return words;
}

// The same with fewer sizes.
Words some_chunks(std::initializer_list<std::string_view> ids) {
    Words words;
    for (const std::string_view id : ids) {
        words.push_back(claiming(id, 0, 0));
        words.push_back(claiming(id, 1, 1));
        words.push_back(claiming(id, 4, 4));
        for (const std::uint32_t size : {5U, 0x7fffffffU, 0xffffffffU}) {
            words.push_back(claiming(id, size, 4));
        }
    }
    return words;
}

// ---- every sequence of up to so many of some symbols, the shorter ones first

class Sequences {
public:
    Sequences(std::size_t symbols, int most) : symbols_(symbols), most_(most) {}

    [[nodiscard]] std::uint64_t count() const {
        std::uint64_t sum = 0;
        std::uint64_t of_length = 1;
        for (int length = 0; length <= most_; ++length, of_length *= symbols_) sum += of_length;
        return sum;
    }

    // Gives each symbol of sequence number `index`.
    template <typename Use>
    void spell(std::uint64_t index, Use use) const {
        std::uint64_t of_length = 1;
        int length = 0;
        for (; index >= of_length; ++length, of_length *= symbols_) index -= of_length;
        for (; length > 0; --length, index /= symbols_) {
            use(static_cast<std::size_t>(index % symbols_));
        }
    }

private:
    std::size_t symbols_;
    int most_;
};

// ---- sentences: every sequence of up to so many words of a vocabulary, between fixed words

class Sentences : public Scope {
public:
    struct Form {
        Words before;
        Words vocabulary;
        int most;
        Words after;
        unsigned cuts = 1;  // cut short by 0 bytes, by 1, ...
    };
    Sentences(std::string name, Form form)
        : Scope(std::move(name)),
          form_(std::move(form)),
          sequences_(form_.vocabulary.size(), form_.most) {}

    [[nodiscard]] std::uint64_t count() const override { return sequences_.count() * form_.cuts; }

    void write(std::uint64_t index, std::vector<std::uint8_t> &file,
               std::vector<Step> &) const override {
        const std::uint64_t cut = index % form_.cuts;
        Writer writer(file);
        for (const Word &word : form_.before) writer.add(word);
        sequences_.spell(index / form_.cuts,
                         [&](std::size_t word) { writer.add(form_.vocabulary[word]); });
        for (const Word &word : form_.after) writer.add(word);
        writer.close_all();
        file.resize(file.size() - std::min<std::size_t>(cut, file.size()));
    }

private:
    struct Writer {
        struct Open {
            std::size_t at;
            Size size;
        };
        std::vector<std::uint8_t> &file;
        std::array<Open, 24> open{};
        std::size_t opened = 0;

        explicit Writer(std::vector<std::uint8_t> &to) : file(to) { file.clear(); }
        void add(const Word &word) {
            if (word.kind == Word::Kind::closing) {
                close();
                return;
            }
            if (word.kind == Word::Kind::opening) open[opened++] = {file.size(), word.size};
            file.insert(file.end(), word.bytes.begin(), word.bytes.end());
        }
        void close() {
            if (opened == 0) return;
            const auto [at, size] = open[--opened];
            const std::size_t there = file.size() - at - 8;
            const std::uint32_t value =
                size.value + (size.relative ? static_cast<std::uint32_t>(there) : 0);
            for (unsigned i = 0; i < 4; ++i) {
                file[at + 4 + i] = static_cast<std::uint8_t>(value >> (8 * i));
            }
        }
        void close_all() {
            while (opened > 0) close();
        }
    };

    Form form_;
    Sequences sequences_;
};

using avi_builder::avih;
using avi_builder::chunk;
using avi_builder::filler;
using avi_builder::list;
using avi_builder::u16;
using avi_builder::u32;

const std::string_view kZeros("\0\0\0\0", 4);

Word film_headers() {
    return raw(list("hdrl", avih(), avi_builder::video_stream()));
}

Word film_media() {
    return raw(list("movi", chunk("00dc", filler(9))));
}

// Every way in which forms and lists lie in each other at the top of a file.
Words of_a_file() {
    return lists("RIFF", {"AVI ", "MENU"}) + lists("riff", {"avi "}) + lists("MRIF", {"AVI "}) +
           lists("LIST", {"movi", "QMNU"}) + some_chunks({"JUNK", "MENU", "MRIF", kZeros}) +
           Words{closing(),
                 film_headers(),
                 film_media(),
                 claiming("idx1", 4, 4),
                 opening("RIFF", kZeros),
                 opening("RI\0x", "AVI ")};
}

Words of_the_first_form() {
    return lists("LIST", {"hdrl", "MOVI", "QRDT", "QMNU"}) + lists("list", {"INFO"}) +
           some_chunks({"idx1", "1IDX", "JUNK", "MTDA", "MENU", "LIST"}) +
           Words{closing(), film_headers(), film_media(), raw(avih()), opening("LIST", kZeros)};
}

Words main_headers() {
    Words words;
    for (const auto &[size, bytes] :
         std::initializer_list<std::pair<unsigned, std::size_t>>{{56, 56},
                                                                 {55, 55},
                                                                 {55, 56},
                                                                 {57, 57},
                                                                 {57, 58},
                                                                 {64, 64},
                                                                 {0, 0},
                                                                 {8, 56},
                                                                 {56, 20},
                                                                 {0x7fffffff, 56},
                                                                 {0xffffffff, 56}}) {
        words.push_back(claiming("avih", size, bytes));
    }
    return words;
}

Words of_the_header_list() {
    return main_headers() + lists("LIST", {"strl", "ODML"}) +
           some_chunks({"JUNK", "dmlh", "LIST"}) +
           Words{closing(),
                 raw(avi_builder::video_stream()),
                 raw(avi_builder::audio_stream()),
                 raw(avi_builder::text_stream()),
                 raw(avi_builder::odml(77)),
                 opening("list", "INFO"),
                 raw(avi_builder::strh())};
}

Words stream_headers() {
    Words words;
    for (const std::string_view type : {"vids", "auds", "txts", "AuDs", "mids"}) {
        const Bytes body = avi_builder::strh_body({.type = type, .handler = "abcd"});
        words.push_back(raw(avi_builder::claiming("strh", 56, body)));
        words.push_back(raw(avi_builder::claiming("strh", 57, body + filler(1))));
        words.push_back(raw(avi_builder::claiming("strh", 64, body + filler(8))));
        words.push_back(raw(avi_builder::claiming("strh", 55, body)));
    }
    const Bytes body = avi_builder::strh_body();
    for (const std::uint32_t size : {0U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
        words.push_back(raw(avi_builder::claiming("strh", size, body)));
    }
    words.push_back(raw(avi_builder::claiming("STRH", 56, body)));
    return words;
}

Words stream_formats() {
    using avi_builder::audio_format_body;
    using avi_builder::video_format_body;
    Words words;
    for (const std::string_view code : {"FMP4", "QRSB", "qrsb"}) {
        words.push_back(raw(chunk("strf", video_format_body({.compression = code}))));
    }
    const Bytes longer = video_format_body({.structure_size = 44}) + filler(4);
    words.push_back(raw(chunk("strf", longer)));
    words.push_back(raw(chunk("strf", video_format_body() + filler(4))));
    words.push_back(raw(avi_builder::claiming("strf", 39, video_format_body())));
    words.push_back(raw(avi_builder::claiming("strf", 0xffffffff, video_format_body())));
    words.push_back(raw(chunk("strf", audio_format_body())));
    for (const std::uint16_t extra : std::initializer_list<std::uint16_t>{0, 1, 22, 23, 0x8000}) {
        words.push_back(raw(
            chunk("strf", audio_format_body({.extra_size = extra, .extra = filler(extra % 64)}))));
    }
    words.push_back(raw(avi_builder::claiming("strf", 17, audio_format_body() + filler(2))));
    words.push_back(raw(avi_builder::text_strf()));
    return words;
}

Words stream_data_and_names() {
    Words words;
    words.push_back(raw(avi_builder::strd(7, filler(4))));
    words.push_back(raw(avi_builder::claiming("strd", 3, u32(7) + u32(5) + filler(5))));
    words.push_back(raw(chunk("STRD", u32(7) + u32(0))));
    words.push_back(raw(chunk("strd", u32(7) + u32(0x7fffffff) + filler(4))));
    words.push_back(raw(chunk("strd", u32(7) + u32(0xffffffffU))));
    for (const std::string_view name : {"Subtitle 1", "Chapter", "subtitle", "Chapte", ""}) {
        words.push_back(raw(avi_builder::strn(Bytes(name))));
    }
    for (const std::uint32_t size : {1U, 7U, 0x7fffU, 0x8000U, 0xffffU, 0x10008U, 0xffffffffU}) {
        words.push_back(raw(avi_builder::claiming("strn", size, "Subtitle")));
    }
    return words;
}

Words super_indexes() {
    Words words;
    for (const std::string_view id : {"00dc", "19wb", "20wb", "ix03", "a0b1", "9:00", "1x23"}) {
        words.push_back(raw(avi_builder::indx({.longs_per_entry = 4, .chunk_id = id})));
    }
    const Bytes body = avi_builder::indx().substr(8);
    for (const std::uint32_t size : {0U, 23U, 0x7fffffffU, 0xfffffff8U, 0xffffffffU}) {
        words.push_back(raw(avi_builder::claiming("INDX", size, body)));
    }
    return words;
}

Words of_a_stream_list() {
    return stream_headers() + stream_formats() + stream_data_and_names() + super_indexes() +
           some_chunks({"JUNK"}) + Words{closing(), opening("LIST", "strl")};
}

Words behind_a_format() {
    return stream_data_and_names() + super_indexes() +
           some_chunks({"JUNK", "strn", "strd", "indx"});
}

Words of_an_extension() {
    return chunks({"MTDA", "MENU", "MRIF"}) + some_chunks({"JUNK", kZeros}) +
           Words{closing(), opening("LIST", "QMNU"), opening("LIST", "QRDT"),
                 claiming("menu", 4, 4), claiming("mtda", 4, 4)};
}

const Words kFilmBegins{opening("RIFF", "AVI ")};
const Words kFilmEnds{film_media(), closing()};
const Words kHeadersBegin = kFilmBegins + Words{opening("LIST", "hdrl")};
const Words kHeadersEnd = Words{closing()} + kFilmEnds;
const Words kStreamBegins = kHeadersBegin + Words{raw(avih()), opening("LIST", "strl")};
const Words kStreamEnds = Words{closing()} + kHeadersEnd;

// A stream list of each kind as far as its format.
std::vector<std::pair<std::string, Bytes>> begun_streams() {
    using avi_builder::strh;
    return {
        {"video", strh() + avi_builder::video_strf()},
        {"audio", strh({.type = "auds"}) + avi_builder::audio_strf()},
        {"text", strh({.type = "txts"}) + avi_builder::text_strf()},
        {"bitmap", strh() + avi_builder::video_strf({.compression = "QRSB"})},
        {"other", strh({.type = "mids"}) + chunk("strf", filler(4))},
    };
}

// ---- numbers in formats, names and headers: every small one

Words formats_of_every_size() {
    Words words;
    for (std::uint32_t own = 0; own < 128; ++own) {
        for (std::uint32_t size = 0; size < 128; ++size) {
            const Bytes body = avi_builder::video_format_body({.structure_size = own});
            const Bytes longest = body + filler(128);
            words.push_back(raw(avi_builder::strh() +
                                avi_builder::claiming("strf", size, longest.substr(0, size))));
        }
    }
    for (std::uint16_t extra = 0; extra < 64; ++extra) {
        for (std::uint32_t size = 0; size < 64; ++size) {
            const Bytes longest =
                avi_builder::audio_format_body({.extra_size = extra, .extra = filler(64)});
            words.push_back(raw(avi_builder::strh({.type = "auds"}) +
                                avi_builder::claiming("strf", size, longest.substr(0, size))));
        }
    }
    return words;
}

Words headers_of_every_size() {
    Words words;
    const Bytes body = avi_builder::strh_body() + filler(200);
    for (std::uint32_t size = 0; size < 256; ++size) {
        words.push_back(raw(avi_builder::claiming("strh", size, body.substr(0, size)) +
                            avi_builder::video_strf()));
    }
    return words;
}

// Every 16-bit length of a name, which has 40 bytes or as many as it says.
Words names_of_every_size() {
    Words words;
    const auto begun = begun_streams();
    for (std::uint32_t size = 0; size < 0x10000; ++size) {
        const Bytes &stream = begun[size % begun.size()].second;
        words.push_back(raw(stream + avi_builder::claiming("strn", size, filler(40))));
    }
    for (std::uint32_t size = 0; size < 300; ++size) {
        for (const auto &[kind, stream] : begun) {
            words.push_back(raw(stream + avi_builder::claiming("strn", size, filler(size))));
        }
    }
    return words;
}

// ---- how many streams of each kind

class StreamCounts : public Scope {
public:
    explicit StreamCounts(unsigned most) : Scope("stream counts"), most_(most) {
        streams_ = {avi_builder::video_stream(), avi_builder::audio_stream(),
                    avi_builder::bitmap_subtitle_stream(), avi_builder::text_stream(),
                    avi_builder::text_stream({.name = "Chapter 1"})};
    }
    [[nodiscard]] std::uint64_t count() const override {
        std::uint64_t count = 1;
        for (std::size_t i = 0; i < streams_.size(); ++i) count *= most_ + 1;
        return count;
    }
    void write(std::uint64_t index, std::vector<std::uint8_t> &file,
               std::vector<Step> &) const override {
        Bytes lists;
        for (const Bytes &stream : streams_) {
            lists += avi_builder::repeat(stream, index % (most_ + 1));
            index /= most_ + 1;
        }
        const Bytes film = avi_builder::file_with(lists);
        file.assign(film.begin(), film.end());
    }

private:
    unsigned most_;
    std::array<Bytes, 5> streams_;
};

// ---- a film with bytes changed, or cut short

class ChangedBytes : public Scope {
public:
    ChangedBytes(std::string name, const Bytes &film) : Scope(std::move(name)), film_(film) {}
    [[nodiscard]] std::uint64_t count() const override { return film_.size() * 256; }
    void write(std::uint64_t index, std::vector<std::uint8_t> &file,
               std::vector<Step> &) const override {
        file.assign(film_.begin(), film_.end());
        file[index / 256] = static_cast<std::uint8_t>(index % 256);
    }

private:
    Bytes film_;
};

// Two bytes at once: emptied, filled, one more, one less, case changed.
class ChangedPairs : public Scope {
public:
    ChangedPairs(std::string name, const Bytes &film) : Scope(std::move(name)), film_(film) {}
    [[nodiscard]] std::uint64_t count() const override {
        return film_.size() * film_.size() * kWays * kWays;
    }
    void write(std::uint64_t index, std::vector<std::uint8_t> &file,
               std::vector<Step> &) const override {
        file.assign(film_.begin(), film_.end());
        for (int i = 0; i < 2; ++i) {
            const std::uint64_t way = index % kWays;
            index /= kWays;
            std::uint8_t &byte = file[index % film_.size()];
            index /= film_.size();
            const std::array<int, kWays> ways{0, 0xff, byte + 1, byte - 1, byte ^ 0x20};
            byte = static_cast<std::uint8_t>(ways[way]);
        }
    }

private:
    static constexpr std::uint64_t kWays = 5;
    Bytes film_;
};

class CutShort : public Scope {
public:
    CutShort(std::string name, const Bytes &film) : Scope(std::move(name)), film_(film) {}
    [[nodiscard]] std::uint64_t count() const override { return film_.size() + 1; }
    void write(std::uint64_t index, std::vector<std::uint8_t> &file,
               std::vector<Step> &) const override {
        file.assign(film_.begin(), film_.begin() + static_cast<std::ptrdiff_t>(index));
    }

private:
    Bytes film_;
};

// Every file of one or two bytes, and the empty one.
class FewBytes : public Scope {
public:
    FewBytes() : Scope("files of up to two bytes") {}
    [[nodiscard]] std::uint64_t count() const override { return 1 + 256 + 65536; }
    void write(std::uint64_t index, std::vector<std::uint8_t> &file,
               std::vector<Step> &) const override {
        file.clear();
        if (index == 0) return;
        const bool two = index > 256;
        const std::uint64_t value = index - (two ? 257 : 1);
        file.push_back(static_cast<std::uint8_t>(value));
        if (two) file.push_back(static_cast<std::uint8_t>(value >> 8));
    }
};

// ---- calls: every sequence of up to so many reads, seeks and tells on a film

class Calls : public Scope {
public:
    Calls(std::string name, const Bytes &film, int most)
        : Scope(std::move(name)), film_(film), most_(most) {
        const auto size = static_cast<std::int32_t>(film.size());
        for (const std::int32_t count : {0, 1, 7, 8, 9, 24, size, size + 100}) {
            steps_.push_back({Step::Kind::read, count, 0});
        }
        for (const int whence : {0, 1, 2}) {
            for (const std::int32_t offset :
                 {0, 1, 7, 8, -1, -7, -8, -9, size, -size, INT32_MAX, INT32_MIN}) {
                steps_.push_back({Step::Kind::seek, offset, whence});
            }
        }
        // Behind the header of the first frame, and of the second.
        const auto frame = static_cast<std::int32_t>(film.find("00dc")) + 8;
        steps_.push_back({Step::Kind::seek, frame, 0});
        steps_.push_back({Step::Kind::seek, 0, 3});
        steps_.push_back({Step::Kind::seek, 0, -1});
    }
    [[nodiscard]] std::uint64_t count() const override { return sequences().count(); }
    void write(std::uint64_t index, std::vector<std::uint8_t> &file,
               std::vector<Step> &steps) const override {
        file.assign(film_.begin(), film_.end());
        sequences().spell(index, [&](std::size_t step) { steps.push_back(steps_[step]); });
    }

private:
    [[nodiscard]] Sequences sequences() const { return {steps_.size(), most_}; }

    Bytes film_;
    int most_;
    std::vector<Step> steps_;
};

// A film as small as one with two streams can be.
Bytes small_film() {
    return avi_builder::riff(
        "AVI ", list("hdrl", avih(), avi_builder::video_stream(), avi_builder::audio_stream()),
        list("movi", chunk("00dc", filler(24)), chunk("01wb", filler(9))), chunk("idx1", ""));
}

Bytes smallest_film() {
    return avi_builder::riff("AVI ", list("hdrl", avih()), list("movi", chunk("00dc", filler(8))));
}

}  // namespace

std::vector<std::unique_ptr<Scope>> scopes(Extent extent) {
    std::vector<std::unique_ptr<Scope>> all;
    const bool whole = extent == Extent::whole;
    const auto sentences = [&](const std::string &name, Sentences::Form form) {
        if (!whole) --form.most;
        all.push_back(std::make_unique<Sentences>(name, std::move(form)));
    };
    const Words film = {opening("RIFF", "AVI "), film_headers(), film_media(), closing()};

    all.push_back(std::make_unique<FewBytes>());
    sentences("forms and lists", {{}, of_a_file(), 4, {}});
    sentences("forms and lists, cut short", {{}, of_a_file(), 3, {}, 13});
    sentences("the first form", {kFilmBegins, of_the_first_form(), 4, kFilmEnds});
    sentences("the first form, cut short", {kFilmBegins, of_the_first_form(), 3, {}, 13});
    sentences("the header list", {kHeadersBegin, of_the_header_list(), 4, kHeadersEnd});
    sentences("the header list, cut short", {kHeadersBegin, of_the_header_list(), 3, {}, 25});
    sentences("a stream list", {kStreamBegins, of_a_stream_list(), 4, kStreamEnds});
    sentences("a stream list, cut short", {kStreamBegins, of_a_stream_list(), 3, {}, 13});
    for (const auto &[kind, begun] : begun_streams()) {
        const Words before = kStreamBegins + Words{raw(begun)};
        sentences("behind a format of " + kind, {before, behind_a_format(), 3, kStreamEnds});
        sentences("behind a format of " + kind + ", cut short",
                  {before, behind_a_format(), 2, {}, 49});
    }
    for (const std::string_view type : {"QRDT", "QMNU"}) {
        sentences("a " + Bytes(type) + " list",
                  {kFilmBegins + Words{opening("LIST", type)}, of_an_extension(), 4,
                   Words{closing(), film_headers()} + kFilmEnds});
    }
    sentences(
        "a menu form",
        {film + Words{opening("RIFF", "MENU"), opening("LIST", "QMNU")}, of_an_extension(), 4, {}});
    sentences("a menu form, cut short",
              {film + Words{opening("RIFF", "MENU"), opening("LIST", "QMNU")},
               of_an_extension(),
               3,
               {},
               13});
    const auto each = [&](const std::string &name, Words vocabulary) {
        all.push_back(std::make_unique<Sentences>(
            name, Sentences::Form{kStreamBegins, std::move(vocabulary), 1, kStreamEnds}));
    };
    each("sizes of formats", formats_of_every_size());
    each("sizes of stream headers", headers_of_every_size());
    each("sizes of names", names_of_every_size());
    all.push_back(std::make_unique<StreamCounts>(whole ? 13 : 5));
    all.push_back(std::make_unique<ChangedBytes>("bytes of a rich film", avi_builder::rich_file()));
    all.push_back(std::make_unique<CutShort>("a rich film, cut short", avi_builder::rich_file()));
    all.push_back(std::make_unique<ChangedPairs>("pairs of bytes of a film",
                                                 whole ? small_film() : smallest_film()));
    all.push_back(std::make_unique<Calls>("calls on a film", small_film(), whole ? 4 : 3));
    return all;
}
