#include "findings/size_checks.h"

#include <fmt/format.h>

#include "findings/sentences.h"
#include "terminal/text.h"

namespace {

// A size that a recorder writes at first, to fill in the real one at the end.
constexpr std::uint32_t kNeverFilledIn = 12;

}  // namespace

std::string_view size_rule(const Chunk &chunk, Parents parents, std::int64_t file_size) {
    const std::int64_t end_of_parent = parents.empty() ? file_size : parents.back().end();
    const bool at_an_end = chunk.end() == file_size || chunk.end() == end_of_parent;
    if (chunk.cut_short() && at_an_end) return "claims_too_much";
    if (!chunk.misleads || chunk.held == chunk.declared) return {};
    const bool unfinished = chunk.type.value != 0 && chunk.declared <= kNeverFilledIn;
    return unfinished ? "never_finished" : "wrong_size";
}

void SizeChecks::check_size(const Chunk &chunk, Parents parents) {
    const std::string_view rule = size_rule(chunk, parents, file_size_);
    if (rule.empty()) return;
    const std::string declares =
        fmt::format("{} declares {}", at(chunk), count_of(chunk.declared, "byte"));
    const std::string there = bytes_text(chunk.held);
    if (rule == "claims_too_much") {
        const char *end = chunk.end() == file_size_ ? "the file" : "what holds it";
        findings_.add(rule, chunk.pos, fmt::format("{}: {} ends after {}", declares, end, there));
    } else if (rule == "never_finished") {
        findings_.add(rule, chunk.pos,
                      fmt::format("{}, and {} follow that belong to it", declares, there));
    } else {
        findings_.add(rule, chunk.pos,
                      fmt::format("{}: what follows it begins after {}", declares, there));
    }
}

void SizeChecks::enter(const Chunk &list, Parents parents) {
    if (parents.size() == 1 && list.pos == parents[0].pos + kListHeaderSize) {
        check_form(parents[0], list);
    }
    if (!parents.empty()) return;
    if (last_form_ && last_form_->declared % 2 == 1 && list.pos == last_form_->end() + 1) {
        findings_.add("odd_form", last_form_->pos,
                      fmt::format("{} declares {}, and is padded: the reader looks for the next "
                                  "form at 0x{:x}, which lies at 0x{:x}",
                                  at(*last_form_), count_of(last_form_->declared, "byte"),
                                  last_form_->end(), list.pos));
    }
}

// What a form is for is told by its type, or of a menu by its first list.
void SizeChecks::check_form(const Chunk &form, const Chunk &first) {
    const bool known = avi_fourcc_equal(form.type, kAvi) ||
                       avi_fourcc_equal(form.type, avi_fourcc_from_string("AVIX")) ||
                       is_list(first, "QMNU");
    if (known || form.pos == 0) return;
    findings_.add("unknown_form", form.pos, fmt::format("{} is no part of an AVI file", at(form)));
}

void SizeChecks::leave(const Chunk &list, Parents parents) {
    check_size(list, parents);
    if (parents.empty()) last_form_ = list;
}

void SizeChecks::visit(const Chunk &chunk, Parents parents) {
    check_size(chunk, parents);
    if (parents.empty() && chunk.pos != 0) {
        findings_.add("behind_last_form", chunk.pos,
                      fmt::format("{} lies outside the forms", at(chunk)));
    }
}

void SizeChecks::lost(std::int64_t pos, std::int64_t size, Parents parents) {
    const std::string where = parents.empty() ? "the file" : name_of_chunk(parents.back());
    findings_.add(
        "lost_bytes", pos,
        fmt::format("{} at 0x{:x}, at the end of {}, are no chunk", bytes_text(size), pos, where));
}

void SizeChecks::hole(std::int64_t pos, std::int64_t size, Parents parents) {
    if (parents.empty()) {
        findings_.add("behind_last_form", pos,
                      fmt::format("{} at 0x{:x} lie outside the forms, and begin with zeros",
                                  bytes_text(size), pos));
        return;
    }
    findings_.add("zero_hole", pos,
                  fmt::format("zeros at 0x{:x}, in {}, where a chunk should begin: {} are lost",
                              pos, name_of_chunk(parents.back()), bytes_text(size)));
}
