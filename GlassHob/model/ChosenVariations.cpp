#include "GlassHob/model/ChosenVariations.h"

#include <algorithm>

namespace glasshob {

std::optional<int> ChosenVariations::placeOf(std::int64_t index) const {
    const auto found = std::ranges::find(list_, index);
    if (found == list_.end()) return std::nullopt;
    return int(found - list_.begin());
}

bool ChosenVariations::toggle(std::int64_t index) {
    if (!giveBack(index)) list_.push_back(index);
    return true;
}

bool ChosenVariations::giveBack(std::int64_t index) {
    return std::erase(list_, index) > 0;
}

bool ChosenVariations::put(std::int64_t index, int place) {
    if (const auto now = placeOf(index)) return move(*now, place);
    list_.insert(list_.begin() + std::clamp(place, 0, count()), index);
    return true;
}

bool ChosenVariations::move(int from, int to) {
    if (from < 0 || from >= count()) return false;
    to = std::clamp(to, 0, count() - 1);
    if (to == from) return false;
    const auto begin = list_.begin();
    if (from < to)
        std::rotate(begin + from, begin + from + 1, begin + to + 1);
    else
        std::rotate(begin + to, begin + from, begin + from + 1);
    return true;
}

} // namespace glasshob
