#include "findings/finding.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "terminal/text.h"

namespace {

std::uint64_t place_in_order(const Finding &finding) {
    return static_cast<std::uint64_t>(finding.pos);  // -1 comes last
}

}  // namespace

void Findings::add(std::string_view id, std::int64_t pos, std::string sentence) {
    const Rule *rule = find_rule(id);
    if (rule == nullptr) throw std::logic_error("no rule " + std::string(id));
    if (++counts_[rule] <= kToldOfARule) found_.push_back({rule, pos, std::move(sentence)});
}

std::vector<Finding> Findings::take() {
    std::stable_sort(found_.begin(), found_.end(), [](const Finding &a, const Finding &b) {
        return place_in_order(a) < place_in_order(b);
    });
    for (const Rule &rule : all_rules()) {
        const auto counted = counts_.find(&rule);
        if (counted == counts_.end() || counted->second <= kToldOfARule) continue;
        found_.push_back(
            {&rule, -1,
             fmt::format("and {} more like that", with_commas(counted->second - kToldOfARule))});
    }
    return std::exchange(found_, {});
}
