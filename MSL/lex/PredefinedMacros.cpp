#include "MSL/lex/PredefinedMacros.h"

#include <algorithm>
#include <iterator>

namespace msl {

namespace {

struct Row {
    std::string_view name;
    std::string_view text;
};

// In the order of their bytes.
// clang-format off
constexpr Row rows[] = {
    {"CHAR_BIT", "8"},
    {"CHAR_MAX", "127"},
    {"CHAR_MIN", "(-128)"},
    {"FLT_DECIMAL_DIG", "9"},
    {"FLT_DIG", "6"},
    {"FLT_EPSILON", "0x1.0p-23f"},
    {"FLT_MANT_DIG", "24"},
    {"FLT_MAX", "0x1.fffffep127f"},
    {"FLT_MAX_10_EXP", "38"},
    {"FLT_MAX_EXP", "128"},
    {"FLT_MIN", "0x1.0p-126f"},
    {"FLT_MIN_10_EXP", "(-37)"},
    {"FLT_MIN_EXP", "(-125)"},
    {"FLT_RADIX", "2"},
    {"FP_ILOGB0", "(-2147483647 - 1)"},
    {"FP_ILOGBNAN", "(-2147483647 - 1)"},
    {"HALF_DECIMAL_DIG", "5"},
    {"HALF_DIG", "3"},
    {"HALF_EPSILON", "0x1.0p-10h"},
    {"HALF_MANT_DIG", "11"},
    {"HALF_MAX", "0x1.ffcp15h"},
    {"HALF_MAX_10_EXP", "4"},
    {"HALF_MAX_EXP", "16"},
    {"HALF_MIN", "0x1.0p-14h"},
    {"HALF_MIN_10_EXP", "(-4)"},
    {"HALF_MIN_EXP", "(-13)"},
    {"HALF_RADIX", "2"},
    {"HUGE_VALF", "inf"},
    {"HUGE_VALH", "infh"},
    {"INFINITY", "inf"},
    {"INT16_MAX", "32767"},
    {"INT16_MIN", "(-32767 - 1)"},
    {"INT32_MAX", "2147483647"},
    {"INT32_MIN", "(-2147483647 - 1)"},
    {"INT64_MAX", "9223372036854775807L"},
    {"INT64_MIN", "(-9223372036854775807L - 1L)"},
    {"INT8_MAX", "127"},
    {"INT8_MIN", "(-127 - 1)"},
    {"INT_MAX", "2147483647"},
    {"INT_MIN", "(-2147483647 - 1)"},
    {"LONG_MAX", "9223372036854775807L"},
    {"LONG_MIN", "(-9223372036854775807L - 1L)"},
    {"MAXFLOAT", "0x1.fffffep127f"},
    {"MAXHALF", "0x1.ffcp15h"},
    {"METAL_FUNC", "inline"},
    {"M_1_PI_F", "0.3183098861837907f"},
    {"M_1_PI_H", "0.3183098861837907h"},
    {"M_2_PI_F", "0.6366197723675814f"},
    {"M_2_PI_H", "0.6366197723675814h"},
    {"M_2_SQRTPI_F", "1.1283791670955126f"},
    {"M_2_SQRTPI_H", "1.1283791670955126h"},
    {"M_E_F", "2.718281828459045f"},
    {"M_E_H", "2.718281828459045h"},
    {"M_LN10_F", "2.302585092994046f"},
    {"M_LN10_H", "2.302585092994046h"},
    {"M_LN2_F", "0.6931471805599453f"},
    {"M_LN2_H", "0.6931471805599453h"},
    {"M_LOG10E_F", "0.43429448190325176f"},
    {"M_LOG10E_H", "0.43429448190325176h"},
    {"M_LOG2E_F", "1.4426950408889634f"},
    {"M_LOG2E_H", "1.4426950408889634h"},
    {"M_PI_2_F", "1.5707963267948966f"},
    {"M_PI_2_H", "1.5707963267948966h"},
    {"M_PI_4_F", "0.7853981633974483f"},
    {"M_PI_4_H", "0.7853981633974483h"},
    {"M_PI_F", "3.141592653589793f"},
    {"M_PI_H", "3.141592653589793h"},
    {"M_SQRT1_2_F", "0.7071067811865476f"},
    {"M_SQRT1_2_H", "0.7071067811865476h"},
    {"M_SQRT2_F", "1.4142135623730951f"},
    {"M_SQRT2_H", "1.4142135623730951h"},
    {"NAN", "nan"},
    {"SCHAR_MAX", "127"},
    {"SCHAR_MIN", "(-128)"},
    {"SHRT_MAX", "32767"},
    {"SHRT_MIN", "(-32768)"},
    {"UCHAR_MAX", "255"},
    {"UINT16_MAX", "65535"},
    {"UINT32_MAX", "4294967295u"},
    {"UINT64_MAX", "18446744073709551615uL"},
    {"UINT8_MAX", "255"},
    {"UINT_MAX", "4294967295u"},
    {"ULONG_MAX", "18446744073709551615uL"},
    {"USHRT_MAX", "65535"},
    {"__FAST_MATH__", "1"},
    {"__FILE__", ""},
    {"__HAVE_BFLOAT__", "1"},
    {"__LINE__", ""},
    {"__METAL_VERSION__", "320"},
    {"__METAL__", "1"},
    {"__clang__", "1"},
    {"__cplusplus", "201402L"},
};
// clang-format on
static_assert(std::ranges::is_sorted(rows, {}, &Row::name));

const Row* find(std::string_view name) {
    // Every name begins with a capital or an underscore; most identifiers are turned away here.
    if (name.size() < 3 || !((name[0] >= 'A' && name[0] <= 'Z') || name[0] == '_')) return nullptr;
    const Row* row = std::ranges::lower_bound(rows, name, {}, &Row::name);
    return row != std::end(rows) && row->name == name ? row : nullptr;
}

} // namespace

bool isPredefinedMacro(std::string_view name) {
    return find(name) != nullptr;
}

std::string_view predefinedMacroText(std::string_view name) {
    const Row* row = find(name);
    return row ? row->text : std::string_view();
}

} // namespace msl
