#include "GlassHob/model/SliderBank.h"

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

float clamped(float value, const ParamDecl& declaration) {
    return std::min(std::max(value, declaration.min), declaration.max);
}

// A declared default may be no number, which is unequal to itself.
bool isSame(float a, float b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

} // namespace

void SliderBank::restore(SliderValues values, SliderValues defaults) {
    restoredValues_ = std::move(values);
    restoredDefaults_ = std::move(defaults);
}

void SliderBank::carryOver(const std::vector<ParamDecl>& params) {
    restoredValues_.merge(values_);
    restoredDefaults_.merge(defaults_);
    SliderValues carried, defaults;
    for (const ParamDecl& declaration : params) {
        const float d = declaration.defaultValue;
        const auto before = restoredDefaults_.find(declaration.name);
        const auto value = restoredValues_.find(declaration.name);
        const bool kept = before != restoredDefaults_.end() && before->second == d && value != restoredValues_.end();
        carried[declaration.name] = kept ? clamped(value->second, declaration) : d;
        defaults[declaration.name] = d;
    }
    params_ = params;
    values_ = std::move(carried);
    defaults_ = std::move(defaults);
    restoredValues_.clear();
    restoredDefaults_.clear();
}

bool SliderBank::set(const std::string& name, float value) {
    const auto declaration = std::ranges::find(params_, name, &ParamDecl::name);
    if (declaration == params_.end() || !std::isfinite(value)) return false;
    value = clamped(value, *declaration);
    float& current = values_[name];
    if (current == value) return false;
    current = value;
    return true;
}

bool SliderBank::resetAll() {
    if (changedCount() == 0) return false;
    values_ = defaults_;
    return true;
}

int SliderBank::changedCount() const {
    return int(std::ranges::count_if(
        defaults_, [this](const auto& entry) { return !isSame(values_.at(entry.first), entry.second); }));
}

} // namespace glasshob
