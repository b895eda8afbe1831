#include "findings/extension_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <span>
#include <string>

#include "findings/sentences.h"
#include "terminal/text.h"

namespace {

constexpr std::uint32_t kVideoFormat = size_of(layout::kVideoFormat);
constexpr std::uint32_t kSoundFormat =
    size_of(layout::kSoundFormat) + size_of(layout::kSoundExtension);

constexpr std::array<const char *, 5> kStreamOrder{"strh", "strf", "strd", "strn", "indx"};

std::string lower(FourCC fourcc) {
    char c[5];
    avi_fourcc_to_chars(fourcc, c);
    std::string text(c, 4);
    for (char &letter : text)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return text;
}

// Whether one letter is another, or two neighbours have changed places.
bool one_slip_apart(const std::string &a, const std::string &b) {
    std::size_t others = 0;
    for (std::size_t i = 0; i < a.size(); ++i) others += a[i] != b[i] ? 1U : 0U;
    if (others == 1) return true;
    for (std::size_t i = 0; i + 1 < a.size(); ++i) {
        std::string swapped = a;
        std::swap(swapped[i], swapped[i + 1]);
        if (swapped == b) return true;
    }
    return false;
}

// The word that was meant, or null.
const char *meant(FourCC found, std::span<const char *const> words) {
    const std::string text = lower(found);
    const char *close = nullptr;
    for (const char *word : words) {
        const FourCC right = avi_fourcc_from_string(word);
        if (avi_fourcc_equal(found, right)) return nullptr;
        if (one_slip_apart(text, lower(right))) close = word;
    }
    return close;
}

constexpr std::array kFormLists{"hdrl", "movi", "QRDT", "QMNU", "INFO"};
constexpr std::array kHeaderLists{"strl", "odml"};
constexpr std::array kFormChunks{"idx1", "1idx", "JUNK", "LIST"};
constexpr std::array kHeaderChunks{"avih", "JUNK", "LIST"};
constexpr std::array kStreamChunks{"strh", "strf", "strd", "strn", "indx", "vprp", "JUNK"};
constexpr std::array kExtensionChunks{"MTDA", "MENU", "MRIF", "JUNK"};
constexpr std::array kStreamTypes{"vids", "auds", "txts", "mids", "iavs"};

// What a chunk or list may be called in these parents.
std::span<const char *const> words_for(const Chunk &chunk, Parents parents) {
    const bool list = chunk.type.value != 0;
    if (parents.size() == 1) {
        return list ? std::span<const char *const>(kFormLists) : kFormChunks;
    }
    const Chunk &parent = parents.back();
    if (is_list(parent, "hdrl"))
        return list ? std::span<const char *const>(kHeaderLists) : kHeaderChunks;
    if (list) return {};
    if (is_list(parent, "strl")) return kStreamChunks;
    if (is_list(parent, "QRDT") || is_list(parent, "QMNU")) return kExtensionChunks;
    return {};
}

bool is_extension_list(const Chunk &list) {
    return is_list(list, "QRDT") || is_list(list, "QMNU");
}

}  // namespace

int order_in_stream_list(const Chunk &chunk) {
    for (std::size_t i = 0; i < kStreamOrder.size(); ++i) {
        if (is_chunk(chunk, kStreamOrder[i])) return static_cast<int>(i);
    }
    return -1;
}

const char *meant_name(const Chunk &chunk, Parents parents) {
    if (parents.empty()) return nullptr;
    const FourCC name = chunk.type.value != 0 ? chunk.type : chunk.id;
    return meant(name, words_for(chunk, parents));
}

const char *meant_stream_type(FourCC type) {
    return meant(type, kStreamTypes);
}

void ExtensionChecks::check_spelling(const Chunk &chunk, Parents parents) {
    const char *word = meant_name(chunk, parents);
    if (word == nullptr) return;
    findings_.add("misspelt_type", chunk.pos,
                  fmt::format("{} is one letter away from '{}'", at(chunk), word));
}

void ExtensionChecks::check_place(const Chunk &chunk, Parents parents) {
    const bool data = is_chunk(chunk, "MTDA");
    const bool menu = is_chunk(chunk, "MENU") || is_chunk(chunk, "MRIF");
    if ((!data && !menu) || parents.empty()) return;
    const bool inside = is_list(parents.back(), data ? "QRDT" : "QMNU");
    const bool in_menu_form = menu_form_ && parents.front().pos == menu_form_->pos;
    if (inside || in_menu_form) return;
    findings_.add("extension_chunk_outside", chunk.pos,
                  fmt::format("{} lies outside a '{}' list", at(chunk), data ? "QRDT" : "QMNU"));
}

void ExtensionChecks::check_padding(const Chunk &chunk, Parents parents) {
    const bool in_menu_form = menu_form_ && !parents.empty() &&
                              parents.front().pos == menu_form_->pos && chunk.type.value == 0;
    if (!in_menu_form) return;
    if (last_in_menu_ && last_in_menu_->declared % 2 == 1 &&
        chunk.pos == last_in_menu_->end() + 1) {
        findings_.add("menu_form_padded", last_in_menu_->pos,
                      fmt::format("{} declares {}, and a pad byte follows it at 0x{:x}: the reader "
                                  "looks for the next chunk there",
                                  at(*last_in_menu_), count_of(last_in_menu_->declared, "byte"),
                                  last_in_menu_->end()));
    }
    last_in_menu_ = chunk;
}

void ExtensionChecks::enter(const Chunk &list, Parents parents) {
    if (parents.empty()) menu_form_.reset();
    last_in_menu_.reset();
    if (parents.size() == 1 && parents[0].pos != 0 && is_list(list, "QMNU") &&
        list.pos == parents[0].pos + 12) {
        menu_form_ = parents[0];
    }
    check_spelling(list, parents);
    if (is_extension_list(list)) list_has_chunk_ = false;
    if (is_list(list, "strl")) {
        last_in_stream_.reset();
        long_format_.reset();
        order_ = 0;
    }
    const bool header = is_list(list, "hdrl") || is_list(list, "strl");
    if (header && described_.media() != nullptr && !parents.empty() && parents[0].pos == 0 &&
        (parents.size() == 1 || !is_list(parents.back(), "hdrl"))) {
        findings_.add("list_behind_media", list.pos,
                      fmt::format("{} lies behind 'movi'", at(list)));
    }
}

void ExtensionChecks::leave(const Chunk &list, Parents /*parents*/) {
    if (!is_extension_list(list) || list_has_chunk_) return;
    findings_.add("extension_list_empty", list.pos,
                  fmt::format("{} is without {}", at(list),
                              is_list(list, "QRDT") ? "an 'MTDA' chunk" : "a 'MENU' chunk"));
}

void ExtensionChecks::visit(const Chunk &chunk, Parents parents) {
    check_spelling(chunk, parents);
    check_place(chunk, parents);
    check_padding(chunk, parents);
    if (!parents.empty() && is_extension_list(parents.back())) {
        list_has_chunk_ |= is_list(parents.back(), "QRDT")
                               ? is_chunk(chunk, "MTDA")
                               : is_chunk(chunk, "MENU") || is_chunk(chunk, "MRIF");
    }
    if (in_stream_list(parents)) check_stream_chunk(chunk);
}

void ExtensionChecks::check_stream_chunk(const Chunk &chunk) {
    const int order = order_in_stream_list(chunk);
    if (order >= 0 && order < order_) {
        findings_.add("stream_chunk_order", chunk.pos,
                      fmt::format("{} stands behind '{}' in its stream list", at(chunk),
                                  kStreamOrder[static_cast<std::size_t>(order_)]));
    }
    order_ = std::max(order_, order);
    const bool sought = order >= order_in_stream_list({0, kStrd, {}, 0, 0});
    if (sought && last_in_stream_ && last_in_stream_->declared % 2 == 1 &&
        order_in_stream_list(*last_in_stream_) >= 0) {
        findings_.add(
            "odd_stream_chunk", last_in_stream_->pos,
            fmt::format("{} declares {}, an odd length, and {} follows it", at(*last_in_stream_),
                        count_of(last_in_stream_->declared, "byte"), at(chunk)));
    }
    if ((is_chunk(chunk, "strd") || is_chunk(chunk, "strn")) && long_format_) {
        findings_.add("hidden_by_format", chunk.pos,
                      fmt::format("{} follows {}, which is longer than what the reader reads",
                                  at(chunk), at(*long_format_)));
    }
    if (is_chunk(chunk, "strf")) check_format_length(chunk);
    last_in_stream_ = chunk;
}

void ExtensionChecks::check_format_length(const Chunk &format) {
    if (described_.streams().empty()) return;
    const DescribedStream &stream = described_.streams().back();
    std::uint32_t read = format.declared;
    if (stream.is("vids")) {
        read = kVideoFormat;
    } else if (stream.is("auds") && stream.format && format.declared >= kSoundFormat) {
        const std::uint32_t extra = stream.format->u16(strf::kExtra);
        read = kSoundFormat + (extra <= 22 ? extra : 0);
    }
    if (format.declared > read) long_format_ = format;
}

void ExtensionChecks::finish() {
    for (std::size_t i = 0; i < described_.streams().size(); ++i) {
        const DescribedStream &stream = described_.streams()[i];
        if (!stream.header) continue;
        const FourCC type = stream.header->fourcc(strh::kType);
        const char *word = meant_stream_type(type);
        if (word == nullptr) continue;
        findings_.add("misspelt_type", stream.header->at(strh::kType),
                      fmt::format("stream {} is of type '{}' at 0x{:x}, one letter away from '{}'",
                                  i, text_of(type), stream.header->at(strh::kType), word));
    }
}
