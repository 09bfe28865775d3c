#pragma once

// Reads and writes numbers the same way under every locale: always a decimal point, whatever the user's desktop says.
// A reader accepts a text only when the whole of it is the number. Any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace glasshob {

// `strtof`'s grammar in the C locale ("1.5", "+.5", "3e2", "0x1p-2", "inf", "nan"), without leading white space.
std::optional<float> parseFloat(std::string_view text);
// The same grammar, read as a double.
std::optional<double> parseDouble(std::string_view text);
// A decimal integer with an optional sign that fits 64 bits.
std::optional<std::int64_t> parseInteger(std::string_view text);

// The shortest text that reads back as the same float ("0.6", "1e-05", "nan", "inf", "-inf").
std::string shortestText(float value);
// A length of time in whole seconds, rounded down: "1:44"; "1:02:05" from an hour on.
std::string clockText(double seconds);
// Two decimals at most, without trailing zeros or a trailing point: 1.5, 2, 0.05.
std::string twoDecimals(float value);

} // namespace glasshob
