#include "GlassHob/model/SliderHistory.h"

#include <utility>

namespace glasshob {

namespace {

constexpr std::size_t mostSteps = 500;

} // namespace

void SliderHistory::note(const SliderValues& before, const std::string& name) {
    redo_.clear();
    if (!name.empty() && name == openStep_) return;
    openStep_ = name;
    if (undo_.size() == mostSteps) undo_.erase(undo_.begin());
    undo_.push_back(before);
}

void SliderHistory::clear() {
    *this = {};
}

std::optional<SliderValues> SliderHistory::step(Steps& from, Steps& to, const SliderValues& now) {
    endStep();
    if (from.empty()) return std::nullopt;
    to.push_back(now);
    SliderValues values = std::move(from.back());
    from.pop_back();
    return values;
}

} // namespace glasshob
