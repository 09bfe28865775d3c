#pragma once

// Reads the values of options. Numbers are read alike under every locale. Each reader gives the value or one sentence
// that names the option. Pure.

#include "GlassHobCore/shader/Params.h"

#include <cstdint>
#include <expected>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace hob {

struct Size {
    std::int64_t width = 1920;
    std::int64_t height = 1080;

    bool operator==(const Size&) const = default;
};

// The longest side of a picture that any device draws.
inline constexpr std::int64_t longestSide = 16384;

// "1920x1080".
std::expected<Size, std::string> readSize(std::string_view text);
// Seconds of shader time: a finite number that a 32-bit float holds. `option` is named in the sentence.
std::expected<double, std::string> readTime(std::string_view option, std::string_view text);
// Seconds from 0 to `most`.
std::expected<double, std::string> readDuration(std::string_view option, std::string_view text, double most);
// A frame number from 0 to 4294967295.
std::expected<std::uint32_t, std::string> readFrame(std::string_view text);

// Slider values as set by `--set name=value`, and what a person should know about them.
struct SliderSettings {
    glasshob::SliderValues values;
    // One sentence for each value that lay outside its slider and was brought to its end.
    std::vector<std::string> notes;
};
// Each text is "name=value"; the last one of a name wins. A name that the shader lacks is a mistake.
std::expected<SliderSettings, std::string> readSettings(std::span<const std::string> texts,
                                                        std::span<const glasshob::ParamDecl> params);

} // namespace hob
