#include "repair/edited_file.h"

#include <algorithm>
#include <cstring>

namespace {

std::int64_t length(const std::string &bytes) {
    return static_cast<std::int64_t>(bytes.size());
}

}  // namespace

std::int64_t EditedFile::end_of(std::size_t edit) const {
    return starts_[edit] + length(edits_[edit].added);
}

EditedFile::Piece EditedFile::piece_at(std::int64_t pos) const {
    const auto next = std::upper_bound(starts_.begin(), starts_.end(), pos);
    const auto index = static_cast<std::size_t>(next - starts_.begin());
    const std::int64_t limit = next == starts_.end() ? size() : *next;
    if (index == 0) return {nullptr, pos, limit - pos};
    const Edit &edit = edits_[index - 1];
    const std::int64_t at = pos - starts_[index - 1];
    const std::int64_t added = length(edit.added);
    if (at < added) return {&edit, at, added - at};
    return {nullptr, edit.pos + edit.removed + at - added, limit - pos};
}

std::size_t EditedFile::read(unsigned char *bytes, std::size_t count, std::int64_t pos) const {
    std::size_t done = 0;
    while (done < count && pos >= 0 && pos < size()) {
        const Piece piece = piece_at(pos);
        const auto some = static_cast<std::size_t>(
            std::min<std::int64_t>(piece.remaining, static_cast<std::int64_t>(count - done)));
        if (piece.edit != nullptr) {
            std::memcpy(bytes + done, piece.edit->added.data() + piece.at, some);
        } else if (original_.read(bytes + done, some, piece.at) != some) {
            break;  // it cannot be read there
        }
        done += some;
        pos += static_cast<std::int64_t>(some);
    }
    return done;
}

std::int64_t EditedFile::data_after(std::int64_t pos) const {
    while (pos < size()) {
        const Piece piece = piece_at(pos);
        if (piece.edit != nullptr) return pos;
        const std::int64_t empty = original_.data_after(piece.at) - piece.at;
        if (empty < piece.remaining) return pos + empty;
        pos += piece.remaining;
    }
    return size();
}

std::string EditedFile::bytes(std::int64_t from, std::int64_t to) const {
    std::string text(static_cast<std::size_t>(std::max<std::int64_t>(to - from, 0)), '\0');
    read(reinterpret_cast<unsigned char *>(text.data()), text.size(), from);
    return text;
}

// From the last to the first, so that those still to come lie where they did.
void EditedFile::apply(std::vector<Edit> edits) {
    std::stable_sort(edits.begin(), edits.end(),
                     [](const Edit &a, const Edit &b) { return a.pos < b.pos; });
    for (auto edit = edits.rbegin(); edit != edits.rend(); ++edit) apply(*edit);
}

void EditedFile::apply(const Edit &edit) {
    const std::int64_t end = edit.pos + edit.removed;
    std::size_t first = 0;
    while (first < edits_.size() && end_of(first) < edit.pos) ++first;
    // One that ends where this begins is another one, unless it is all that there is to be changed.
    while (first < edits_.size() && end_of(first) == edit.pos && starts_[first] < edit.pos) ++first;
    std::size_t last = first;
    while (last < edits_.size() && starts_[last] < end) ++last;
    merge(first, last, edit);
    place();
}

// What was changed may be changed back.
bool EditedFile::changes(const Edit &edit) const {
    if (edit.removed != length(edit.added)) return true;
    return !original_.holds(reinterpret_cast<const unsigned char *>(edit.added.data()),
                            edit.added.size(), edit.pos);
}

// Puts the edit in the place of those from `first` up to `last`, whose bytes it touches.
void EditedFile::merge(std::size_t first, std::size_t last, const Edit &edit) {
    const std::int64_t end = edit.pos + edit.removed;
    const auto original = [&](std::int64_t pos, std::size_t before) {
        if (before == 0) return pos;
        const Edit &previous = edits_[before - 1];
        return previous.pos + previous.removed + pos - end_of(before - 1);
    };
    Edit merged = edit;
    std::int64_t to = original(end, last);
    merged.pos = original(edit.pos, first);
    if (first < last) {
        const std::int64_t from = std::min(edit.pos, starts_[first]);
        const std::int64_t until = std::max(end, end_of(last - 1));
        merged.pos = std::min(original(from, first), edits_[first].pos);
        to = original(until, last);
        merged.added = bytes(from, edit.pos) + edit.added + bytes(end, until);
        // What is changed once more goes by what it was changed for at first, but where that was a
        // small part of this.
        const bool more = starts_[first] > edit.pos || end_of(last - 1) < end;
        if (!more || from < edit.pos || until > end) {
            merged.rule = edits_[first].rule;
            merged.what = edits_[first].what;
        }
    }
    merged.removed = to - merged.pos;
    const auto begin = edits_.begin() + static_cast<std::ptrdiff_t>(first);
    const auto place = edits_.erase(begin, edits_.begin() + static_cast<std::ptrdiff_t>(last));
    if (changes(merged)) edits_.insert(place, std::move(merged));
}

void EditedFile::place() {
    starts_.clear();
    grown_ = 0;
    for (const Edit &edit : edits_) {
        starts_.push_back(edit.pos + grown_);
        grown_ += length(edit.added) - edit.removed;
    }
}
