// Vectors to and from the bits of one number: the first component lies in the lowest bits. Every step is rounded to
// float, curves are worked out in double; those of halves compute in float and round once.
#include "MSL/constant/Families.h"

#include <algorithm>
#include <cmath>

namespace msl::constant {

namespace {

struct Format {
    BuiltinId packFloat, packHalf, unpackFloat, unpackHalf;
    std::uint8_t count;
    std::uint8_t widths[4];
    bool isSigned = false;
    bool isCurved = false; // sRGB, but for the last component
};

using enum BuiltinId;
constexpr Format formats[] = {
    {packFloatToUnorm4x8, packHalfToUnorm4x8, unpackUnorm4x8ToFloat, unpackUnorm4x8ToHalf, 4, {8, 8, 8, 8}},
    {packFloatToSnorm4x8, packHalfToSnorm4x8, unpackSnorm4x8ToFloat, unpackSnorm4x8ToHalf, 4, {8, 8, 8, 8}, true},
    {packFloatToUnorm2x16, packHalfToUnorm2x16, unpackUnorm2x16ToFloat, unpackUnorm2x16ToHalf, 2, {16, 16}},
    {packFloatToSnorm2x16, packHalfToSnorm2x16, unpackSnorm2x16ToFloat, unpackSnorm2x16ToHalf, 2, {16, 16}, true},
    {packFloatToUnorm10a2, packHalfToUnorm10a2, unpackUnorm10a2ToFloat, unpackUnorm10a2ToHalf, 4, {10, 10, 10, 2}},
    {packFloatToUnorm565, packHalfToUnorm565, unpackUnorm565ToFloat, unpackUnorm565ToHalf, 3, {5, 6, 5}},
    {packFloatToSrgbUnorm4x8,
     packHalfToSrgbUnorm4x8,
     unpackUnorm4x8SrgbToFloat,
     unpackUnorm4x8SrgbToHalf,
     4,
     {8, 8, 8, 8},
     false,
     true},
};

double curved(double linear) {
    return linear < 0.0031308 ? linear * 12.92 : std::pow(linear, 1 / 2.4) * 1.055 - 0.055;
}
double straight(double encoded) {
    return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
}

bool pack(const Format& format, std::span<const Scalar> from, Scalar& word) {
    std::uint64_t bits = 0;
    unsigned shift = 0;
    for (unsigned i = 0; i < format.count; ++i) {
        float number = from[i].asFloat();
        if (std::isnan(number)) return false; // the device's business
        number = std::clamp(number, format.isSigned ? -1.0F : 0.0F, 1.0F);
        if (format.isCurved && i < 3) number = static_cast<float>(curved(static_cast<double>(number)));
        const unsigned width = format.widths[i];
        const auto most = static_cast<float>((1U << (format.isSigned ? width - 1 : width)) - 1);
        const auto field = static_cast<std::int64_t>(std::nearbyint(number * most));
        bits |= (static_cast<std::uint64_t>(field) & ((1U << width) - 1)) << shift;
        shift += width;
    }
    word = Scalar::integer(word.kind, bits);
    return true;
}

void unpack(const Format& format, std::uint64_t bits, ScalarKind kind, std::span<Scalar> out) {
    for (unsigned i = 0; i < format.count; ++i) {
        const unsigned width = format.widths[i];
        auto field = static_cast<std::int64_t>(bits & ((1U << width) - 1));
        if (format.isSigned && field >> (width - 1) != 0) field -= std::int64_t{1} << width;
        const auto most = static_cast<float>((1U << (format.isSigned ? width - 1 : width)) - 1);
        const float number = std::max(static_cast<float>(field) / most, -1.0F);
        const auto exact = static_cast<double>(number);
        out[i] = Scalar::floating(kind, format.isCurved && i < 3 ? straight(exact) : exact);
        bits >>= width;
    }
}

} // namespace

bool packingFunction(BuiltinId id, std::span<const Operand> x, ScalarKind resultKind, std::span<Scalar> result) {
    if (x.size() != 1) return false;
    for (const Format& format : formats) {
        const std::span<const Scalar> from = x[0].parts;
        if (id == format.packFloat || id == format.packHalf) {
            if (from.size() != format.count || result.size() != 1 || from[0].isInteger()) return false;
            result[0].kind = resultKind;
            return pack(format, from, result[0]);
        }
        if (id == format.unpackFloat || id == format.unpackHalf) {
            if (from.size() != 1 || result.size() != format.count || !from[0].isInteger()) return false;
            unpack(format, from[0].bits, resultKind, result);
            return true;
        }
    }
    return false;
}

} // namespace msl::constant
