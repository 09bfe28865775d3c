#include "hob/Values.h"

#include "GlassHobCore/text/Numbers.h"

#include <algorithm>
#include <cmath>

namespace hob {

using glasshob::ParamDecl;

std::expected<Size, std::string> readSize(std::string_view text) {
    const std::size_t cross = text.find_first_of("xX");
    const std::string given(text);
    const auto side = [&](std::string_view digits) {
        return digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos
                   ? std::nullopt
                   : glasshob::parseInteger(digits);
    };
    const auto width = cross == std::string_view::npos ? std::nullopt : side(text.substr(0, cross));
    const auto height = cross == std::string_view::npos ? std::nullopt : side(text.substr(cross + 1));
    if (!width || !height) {
        return std::unexpected("--size " + given +
                               " is not a size: give width and height in pixels, such as 1920x1080.");
    }
    for (const std::int64_t length : {*width, *height}) {
        if (length < 1 || length > longestSide) {
            return std::unexpected("--size " + given + " cannot be drawn: each side must be from 1 to " +
                                   std::to_string(longestSide) + " pixels.");
        }
    }
    return Size{*width, *height};
}

std::expected<double, std::string> readTime(std::string_view option, std::string_view text) {
    const auto value = glasshob::parseDouble(text);
    if (!value || !std::isfinite(static_cast<float>(*value))) {
        return std::unexpected(std::string(option) + " " + std::string(text) +
                               " is not a time: give a number of seconds, such as 2.5.");
    }
    return *value;
}

std::expected<double, std::string> readDuration(std::string_view option, std::string_view text, double most) {
    const auto value = readTime(option, text);
    if (!value) return value;
    if (*value < 0 || *value > most) {
        return std::unexpected(std::string(option) + " " + std::string(text) + " is out of range: give from 0 to " +
                               std::to_string(static_cast<std::int64_t>(most)) + " seconds.");
    }
    return value;
}

std::expected<std::uint32_t, std::string> readFrame(std::string_view text) {
    const auto value = glasshob::parseInteger(text);
    if (!value || *value < 0 || *value > UINT32_MAX) {
        return std::unexpected("--frame " + std::string(text) +
                               " is not a frame number: give a whole number from 0 to 4294967295.");
    }
    return static_cast<std::uint32_t>(*value);
}

namespace {

std::string listNames(std::span<const ParamDecl> params) {
    std::string list;
    for (std::size_t i = 0; i < params.size(); ++i) {
        if (i > 0) list += i + 1 == params.size() ? " and " : ", ";
        list += params[i].name;
    }
    return list;
}

std::unexpected<std::string> unknownName(const std::string& name, std::span<const ParamDecl> params) {
    const std::string sentence = "The shader has no slider " + name + ": ";
    if (params.empty()) return std::unexpected(sentence + "it has none.");
    return std::unexpected(sentence + "it has " + listNames(params) + ".");
}

} // namespace

std::expected<SliderSettings, std::string> readSettings(std::span<const std::string> texts,
                                                        std::span<const ParamDecl> params) {
    SliderSettings settings;
    for (const std::string& text : texts) {
        const std::size_t equals = text.find('=');
        if (equals == std::string::npos || equals == 0) {
            return std::unexpected("--set " + text + " sets nothing: give a slider's name and its value, such as " +
                                   (params.empty() ? "speed" : params[0].name) + "=0.5.");
        }
        const std::string name = text.substr(0, equals);
        const std::string number = text.substr(equals + 1);
        const auto param = std::ranges::find(params, name, &ParamDecl::name);
        if (param == params.end()) return unknownName(name, params);
        const auto value = glasshob::parseFloat(number);
        if (!value || !std::isfinite(*value)) {
            return std::unexpected("--set " + text + " gives no number: " + name + " takes a value from " +
                                   glasshob::shortestText(param->min) + " to " + glasshob::shortestText(param->max) +
                                   ".");
        }
        const float held = std::clamp(*value, param->min, param->max);
        if (held != *value) {
            settings.notes.push_back("The slider " + name + " goes from " + glasshob::shortestText(param->min) +
                                     " to " + glasshob::shortestText(param->max) + ", so " +
                                     glasshob::shortestText(held) + " was taken.");
        }
        settings.values[name] = held;
    }
    return settings;
}

} // namespace hob
