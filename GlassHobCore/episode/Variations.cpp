#include "GlassHobCore/episode/Variations.h"

#include "GlassHobCore/text/Numbers.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace glasshob {

const std::string& Variation::title() const {
    static const std::string usual = "Default settings";
    return highlights.empty() ? usual : highlights;
}

} // namespace glasshob

namespace glasshob::Variations {

namespace {

constexpr std::uint64_t golden = 0x9E3779B97F4A7C15;

// The finaliser of SplitMix64, as a number from 0 up to 1. Draws do not depend on one another.
double draw(std::uint64_t z) {
    constexpr std::uint64_t first = 0xBF58476D1CE4E5B9, second = 0x94D049BB133111EB;
    z ^= z >> 30;
    z *= first;
    z ^= z >> 27;
    z *= second;
    z ^= z >> 31;
    return double(z >> 11) * 0x1p-53;
}

// `x` from -1 to 1 says how far towards which end of the range. A range without end cannot be spread over.
float spread(const ParamDecl& param, float amount, float x) {
    const float d = param.defaultValue;
    if (amount == 0) return d;
    const float v = d + amount * x * (x >= 0 ? param.max - d : d - param.min);
    if (!std::isfinite(v)) return d;
    const float rounded = std::round(v * 100.0F) / 100.0F;
    return std::clamp(std::isfinite(rounded) ? rounded : v, param.min, param.max);
}

float change(const ParamDecl& param, float value) {
    const float part = std::abs(value - param.defaultValue) / (param.max - param.min);
    return std::isfinite(part) ? part : 0;
}

std::string named(const std::string& name, float value) {
    return name + ' ' + twoDecimals(value);
}

std::string highlights(const std::vector<const ParamDecl*>& params, const std::vector<float>& values) {
    constexpr std::size_t most = 2;
    constexpr float noticeable = 0.02F;
    std::vector<std::pair<float, std::size_t>> changes;
    for (std::size_t k = 0; k < params.size(); ++k)
        changes.emplace_back(change(*params[k], values[k]), k);
    // The largest first; of equal ones the one that is declared first.
    std::ranges::sort(changes, {}, [](const auto& each) { return std::pair(-each.first, each.second); });
    std::string text;
    for (std::size_t i = 0; i < std::min(most, changes.size()); ++i) {
        const auto [far, k] = changes[i];
        if (!(far > noticeable)) break;
        if (!text.empty()) text += ", ";
        text += named(params[k]->name, values[k]);
    }
    return text;
}

} // namespace

const std::set<std::string, std::less<>>& excluded() {
    static const std::set<std::string, std::less<>> names = {"volume"};
    return names;
}

std::vector<Variation> make(std::span<const ParamDecl> params, std::uint64_t seed, std::int64_t first,
                            std::int64_t count, double span, double hold, float amount) {
    constexpr std::uint64_t perIndex = 0xBF58476D1CE4E5B9;
    std::vector<Variation> variations;
    if (count < 1) return variations;
    amount = amount > 0 ? std::min(amount, 1.0F) : 0.0F;
    std::vector<const ParamDecl*> varied;
    for (const ParamDecl& param : params) {
        if (!excluded().contains(param.name)) varied.push_back(&param);
    }
    const double room = span - hold > 0 ? span - hold : 0;
    for (std::int64_t n = 0; n < count; ++n) {
        const std::uint64_t index = std::uint64_t(first) + std::uint64_t(n);
        const std::uint64_t base = seed * golden + golden + index * perIndex;
        Variation& made = variations.emplace_back();
        made.index = std::int64_t(index);
        made.start = std::round(room * draw(base) * 2) / 2;
        std::vector<float> values;
        for (std::size_t k = 0; k < varied.size(); ++k) {
            const auto x = float(2 * draw(base + (k + 1) * golden) - 1);
            values.push_back(spread(*varied[k], amount, x));
            made.values[varied[k]->name] = values.back();
        }
        made.highlights = highlights(varied, values);
    }
    return variations;
}

double appendChapters(std::span<const Variation> variations, double variationLength, double offset,
                      std::vector<VideoChapters::Chapter>& chapters) {
    for (std::size_t k = 0; k < variations.size(); ++k) {
        const Variation& variation = variations[k];
        std::string settings;
        for (const auto& [name, value] : variation.values)
            settings += (settings.empty() ? "" : ", ") + named(name, value);
        chapters.push_back({offset + variationLength * double(k), variation.title(), std::move(settings)});
    }
    return offset + variationLength * double(variations.size());
}

} // namespace glasshob::Variations
