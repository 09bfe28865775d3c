// The bits of half and bfloat numbers to and from wider floats, for constants. Rounds to nearest even, as the device
// does.
#pragma once

#include <bit>
#include <cstdint>

namespace msl {

inline float halfToFloat(std::uint16_t bits) {
    const std::uint32_t sign = static_cast<std::uint32_t>(bits & 0x8000U) << 16U;
    const std::uint32_t exponent = (bits >> 10U) & 31U;
    const std::uint32_t fraction = bits & 0x3FFU;
    if (exponent == 31) return std::bit_cast<float>(sign | 0x7F800000U | (fraction << 13U));
    if (exponent != 0) return std::bit_cast<float>(sign | ((exponent + 112) << 23U) | (fraction << 13U));
    const float magnitude = static_cast<float>(fraction) * 0x1p-24F;
    return sign != 0 ? -magnitude : magnitude;
}

inline std::uint16_t floatToHalf(float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    const auto sign = static_cast<std::uint16_t>((bits >> 16U) & 0x8000U);
    const std::uint32_t magnitude = bits & 0x7FFFFFFFU;
    if (magnitude > 0x7F800000U) return static_cast<std::uint16_t>(sign | 0x7E00U);
    if (magnitude >= 0x477FF000U) // rounds past the largest half
        return static_cast<std::uint16_t>(sign | 0x7C00U);
    if (magnitude < 0x38800000U) { // subnormal or zero: add so that the hardware rounds at the right bit
        const float shifted = std::bit_cast<float>(magnitude) + 0.5F;
        return static_cast<std::uint16_t>(sign | (std::bit_cast<std::uint32_t>(shifted) - 0x3F000000U));
    }
    const std::uint32_t odd = (magnitude >> 13U) & 1U;
    return static_cast<std::uint16_t>(sign | ((magnitude - 0x38000000U + 0xFFFU + odd) >> 13U));
}

inline float bfloatToFloat(std::uint16_t bits) {
    return std::bit_cast<float>(static_cast<std::uint32_t>(bits) << 16U);
}

inline std::uint16_t floatToBfloat(float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    if (value != value) return static_cast<std::uint16_t>((bits >> 16U) | 0x40U);
    return static_cast<std::uint16_t>((bits + 0x7FFFU + ((bits >> 16U) & 1U)) >> 16U);
}

// A float that rounds as the double does: it keeps, in its last bit, that something was cut off.
inline float floatBetween(double value) {
    const auto between = static_cast<float>(value);
    const auto widened = static_cast<double>(between);
    auto bits = std::bit_cast<std::uint32_t>(between);
    if (widened != value && value == value && (bits & 1U) == 0) {
        const bool isBelow = value < 0 ? widened > value : widened < value; // in size
        bits = isBelow ? bits + 1 : bits - 1;
    }
    return std::bit_cast<float>(bits);
}

inline std::uint16_t doubleToHalf(double value) {
    return floatToHalf(floatBetween(value));
}

inline std::uint16_t doubleToBfloat(double value) {
    return floatToBfloat(floatBetween(value));
}

} // namespace msl
