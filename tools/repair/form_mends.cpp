#include "repair/form_mends.h"

#include <algorithm>
#include <limits>

#include "chunks/chunk_words.h"
#include "findings/sentences.h"

namespace {

constexpr std::size_t kLongestFront = std::size_t{1} << 20;

bool is_form_of(const std::string &bytes, std::size_t at, const char *type) {
    return bytes.compare(at, 4, "RIFF") == 0 && bytes.compare(at + 8, 4, type) == 0;
}

// Bytes up to a later form, where they are too few for a chunk and hide it; 0 for none.
std::int64_t before_next_form(const InputFile &file, std::int64_t pos) {
    const std::string bytes = bytes_of(file, pos, 20);
    for (std::size_t few = 1; few < kChunkHeaderSize && few + 12 <= bytes.size(); ++few) {
        if (is_form_of(bytes, few, "AVIX")) return static_cast<std::int64_t>(few);
    }
    return 0;
}

}  // namespace

std::vector<Edit> FrontMend::edits(const Seen &seen) {
    const FourCC first = fourcc_at(seen.file, 0);
    if (avi_fourcc_equal(first, kRiff) || avi_fourcc_equal(first, kMrif)) return {};
    const std::string front = bytes_of(seen.file, 0, kLongestFront);
    for (std::size_t at = 1; at + 12 <= front.size(); ++at) {
        if (!is_form_of(front, at, "AVI ")) continue;
        return {{0, static_cast<std::int64_t>(at), "", "not_a_form", "what stands before 'RIFF'"}};
    }
    return {};
}

// ---- outside the forms

void OutsideMend::add(Part part) {
    if (parts_.size() < kMostAtOnce) parts_.push_back(std::move(part));
}

void OutsideMend::leave(const Chunk &list, Parents parents) {
    if (parents.empty()) add({Is::form, "", list.pos, list.end(), list});
}

void OutsideMend::visit(const Chunk &chunk, Parents parents) {
    if (!parents.empty()) return;
    const bool whole = !chunk.cut_short() && !chunk.misleads;
    const bool belongs = whole && (is_known_id(chunk.id) || is_chunk(chunk, "LIST"));
    add({belongs ? Is::belonging : Is::stray, "behind_last_form", chunk.pos, chunk.end(), chunk});
}

void OutsideMend::lost(std::int64_t pos, std::int64_t size, Parents parents) {
    if (parents.empty()) add({Is::stray, "lost_bytes", pos, pos + size, {}});
}

void OutsideMend::hole(std::int64_t pos, std::int64_t size, Parents parents) {
    if (parents.empty()) add({Is::stray, "behind_last_form", pos, pos + size, {}});
}

std::vector<Edit> OutsideMend::edits(const Seen &seen) {
    std::vector<Edit> edits;
    if (parts_.empty() || parts_[0].is != Is::form || parts_[0].pos != 0) return edits;
    for (std::size_t i = 0; i < parts_.size();) {
        std::size_t next = i + 1;
        while (next < parts_.size() && parts_[next].is != Is::form) ++next;
        const std::span<const Part> behind(&parts_[i] + 1, next - i - 1);
        mend_behind(edits, seen, parts_[i], behind, next == parts_.size());
        i = next;
    }
    // The pad byte between two forms.
    for (std::size_t i = 0; i + 1 < parts_.size() && edits.empty(); ++i) {
        const Chunk &form = parts_[i].chunk;
        const bool padded = form.declared % 2 == 1 && parts_[i + 1].pos == parts_[i].end + 1;
        if (parts_[i].is != Is::form || parts_[i + 1].is != Is::form || !padded) continue;
        edits.push_back(size_edit(form, form.declared + 1, "odd_form"));
    }
    return edits;
}

// From the form on: what belongs to it, and then what belongs to nothing.
void OutsideMend::mend_behind(std::vector<Edit> &edits, const Seen &seen, const Part &form,
                              std::span<const Part> behind, bool last) {
    if (form.chunk.held != form.chunk.declared) return;
    const bool pad = behind.size() == 1 && last && form.chunk.declared % 2 == 1 &&
                     behind[0].end - form.end == 1 && bytes_of(seen.file, form.end, 1)[0] == '\0';
    std::int64_t end = pad ? form.end + 1 : form.end;
    std::string_view rule = pad ? behind[0].rule : "";
    std::size_t taken = pad ? 1 : 0;
    while (taken < behind.size() && behind[taken].is == Is::belonging) {
        rule = behind[taken].rule;
        end = behind[taken++].end;
    }
    if (end != form.end &&
        end - form.chunk.payload() <= std::numeric_limits<std::uint32_t>::max()) {
        edits.push_back(
            size_edit(form.chunk, static_cast<std::uint32_t>(end - form.chunk.payload()), rule));
    }
    const std::int64_t few = before_next_form(seen.file, end);
    const bool is_pad = few == 1 && form.chunk.declared % 2 == 1;
    if (few > 0 && !is_pad) {
        edits.push_back({end, few, "", "behind_last_form", "what lies between two forms"});
        return;
    }
    // What belongs somewhere is not cut off, and neither is what lies before it.
    const std::span<const Part> rest = behind.subspan(taken);
    const bool stray = !rest.empty() && std::all_of(rest.begin(), rest.end(), [](const Part &part) {
        return part.is == Is::stray;
    });
    if (!stray) return;
    const std::int64_t from = rest.front().pos;
    edits.push_back({from, rest.back().end - from, "", rest.front().rule,
                     last ? "what lies behind the last form" : "what lies between two forms"});
}

// ---- the end of the file

void EndMend::lost(std::int64_t pos, std::int64_t size, Parents parents) {
    if (parents.empty()) return;
    pos_ = pos;
    size_ = size;
    parents_.assign(parents.begin(), parents.end());
}

std::vector<Edit> EndMend::edits(const Seen &seen) {
    if (size_ == 0 || pos_ + size_ != seen.file.size()) return {};
    return resized({pos_, size_, "", "lost_bytes", "what is left of a chunk's header"}, parents_);
}
