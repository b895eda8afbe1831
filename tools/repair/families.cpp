#include "repair/families.h"

namespace {

constexpr std::size_t kNone = kMostAtOnce;

}  // namespace

void FamilyMend::enter(const Chunk &list, Parents parents) {
    const bool wanted = families_.size() < kMostAtOnce && !holds_media(parents) &&
                        !is_list(list, "movi") && !is_list(list, "rec ");
    open_.push_back(wanted ? families_.size() : kNone);
    if (!wanted) return;
    families_.push_back({{parents.begin(), parents.end()}, {}});
    families_.back().path.push_back(list);
}

void FamilyMend::leave(const Chunk &list, Parents parents) {
    if (open_.back() != kNone) families_[open_.back()].path.back() = list;
    open_.pop_back();
    add_child(list, parents);
}

void FamilyMend::visit(const Chunk &chunk, Parents parents) {
    add_child(chunk, parents);
}

void FamilyMend::add_child(const Chunk &chunk, Parents parents) {
    if (parents.empty() || open_.back() == kNone) return;
    std::vector<Chunk> &children = families_[open_.back()].children;
    if (children.size() < kMostAtOnce) children.push_back(chunk);
}
