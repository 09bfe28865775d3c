#include "GlassHobCore/text/Numbers.h"

#include "GlassHobCore/text/Lines.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <locale.h>

namespace glasshob {

namespace {

locale_t cLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

template <typename Number, typename Reader>
std::optional<Number> parseWhole(std::string_view text, Reader reader) {
    if (text.empty() || leadingWhiteSpace(text) != 0) return std::nullopt;
    const std::string terminated(text);
    char* end = nullptr;
    const Number value = reader(terminated.c_str(), &end, cLocale());
    if (end != terminated.c_str() + terminated.size()) return std::nullopt;
    return value;
}

} // namespace

std::optional<float> parseFloat(std::string_view text) {
    return parseWhole<float>(text, strtof_l);
}

std::optional<double> parseDouble(std::string_view text) {
    return parseWhole<double>(text, strtod_l);
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt;
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::string shortestText(float value) {
    if (std::isnan(value)) return "nan";
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return {text, result.ptr};
}

std::string twoDecimals(float value) {
    // The largest float has 39 digits before the point.
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 2);
    std::string decimals(text, result.ptr);
    if (decimals.find('.') == std::string::npos) return decimals;
    while (decimals.ends_with('0'))
        decimals.pop_back();
    if (decimals.ends_with('.')) decimals.pop_back();
    return decimals;
}

std::string clockText(double seconds) {
    const auto whole = std::int64_t(std::floor(seconds + 1e-6));
    const auto two = [](std::int64_t number) { return (number < 10 ? "0" : "") + std::to_string(number); };
    if (whole < 3600) return std::to_string(whole / 60) + ":" + two(whole % 60);
    return std::to_string(whole / 3600) + ":" + two(whole / 60 % 60) + ":" + two(whole % 60);
}

} // namespace glasshob
