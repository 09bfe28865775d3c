#include "MSL/constant/Families.h"

#include <algorithm>
#include <bit>

namespace msl::constant {

namespace {

using Wide = __int128;
using UnsignedWide = unsigned __int128;

// The numbers of one call, with the range of their kind.
struct Call {
    std::span<const Scalar> x;
    ScalarKind kind = x[0].kind;
    unsigned width = bitWidth(kind);

    Wide operator[](std::size_t i) const {
        return isSigned(x[i].kind) ? Wide{static_cast<std::int64_t>(x[i].bits)} : Wide{x[i].bits};
    }
    std::uint64_t ones() const { return ~std::uint64_t{0} >> (64 - width); }
    // As it lies in memory, without a sign.
    std::uint64_t pattern(std::size_t i) const { return x[i].bits & ones(); }
    Wide least() const { return isSigned(kind) ? -(Wide{1} << (width - 1)) : Wide{0}; }
    Wide most() const { return isSigned(kind) ? (Wide{1} << (width - 1)) - 1 : Wide{ones()}; }
};

Wide highHalf(const Call& call) {
    if (call.kind == ScalarKind::ulong)
        return static_cast<Wide>((static_cast<UnsignedWide>(call[0]) * static_cast<UnsignedWide>(call[1])) >> 64U);
    return (call[0] * call[1]) >> call.width;
}

Wide saturatedSum(const Call& call) {
    if (call.kind != ScalarKind::ulong) return std::clamp(call[0] * call[1] + call[2], call.least(), call.most());
    // The greatest product and the greatest summand stay below 2^128.
    const UnsignedWide sum =
        static_cast<UnsignedWide>(call[0]) * static_cast<UnsignedWide>(call[1]) + static_cast<UnsignedWide>(call[2]);
    return static_cast<Wide>(std::min<UnsignedWide>(sum, ~std::uint64_t{0}));
}

Wide middle(Wide x, Wide y, Wide z) {
    return std::max(std::min(x, y), std::min(std::max(x, y), z));
}

std::uint64_t reversed(const Call& call) {
    std::uint64_t made = 0;
    for (unsigned bit = 0; bit < call.width; ++bit)
        made |= (call.pattern(0) >> bit & 1U) << (call.width - 1 - bit);
    return made;
}

std::uint64_t rotated(const Call& call) {
    const auto by = static_cast<unsigned>(call.pattern(1) % call.width);
    if (by == 0) return call.pattern(0);
    return call.pattern(0) << by | call.pattern(0) >> (call.width - by);
}

std::uint64_t lowOnes(std::uint64_t count) {
    return count >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
}

bool isField(const Call& call, std::uint64_t offset, std::uint64_t bits) {
    return offset <= call.width && bits <= call.width - offset;
}

std::uint64_t extracted(const Call& call, std::uint64_t offset, std::uint64_t bits) {
    if (bits == 0) return 0;
    const std::uint64_t field = call.pattern(0) >> offset & lowOnes(bits);
    const bool isNegative = isSigned(call.kind) && (field >> (bits - 1) & 1U) != 0;
    return isNegative ? field | ~lowOnes(bits) : field;
}

std::uint64_t inserted(const Call& call, std::uint64_t offset, std::uint64_t bits) {
    if (bits == 0) return call.pattern(0);
    const std::uint64_t mask = lowOnes(bits) << offset;
    return (call.pattern(0) & ~mask) | (call.pattern(1) << offset & mask);
}

} // namespace

std::optional<Scalar> integerFunction(BuiltinId id, std::span<const Scalar> x, ScalarKind resultKind) {
    const Call call{x};
    if (call.kind == ScalarKind::bool_) return std::nullopt;
    const auto number = [&](Wide value) { return Scalar::integer(resultKind, static_cast<std::uint64_t>(value)); };
    const auto bits = [&](std::uint64_t value) { return Scalar::integer(resultKind, value); };
    switch (id) {
    case BuiltinId::abs: return number(call[0] < 0 ? -call[0] : call[0]); // of the least one: itself
    case BuiltinId::absdiff: return number(call[0] > call[1] ? call[0] - call[1] : call[1] - call[0]);
    case BuiltinId::fmin:
    case BuiltinId::min: return number(std::min(call[0], call[1]));
    case BuiltinId::fmax:
    case BuiltinId::max: return number(std::max(call[0], call[1]));
    case BuiltinId::min3: return number(std::min({call[0], call[1], call[2]}));
    case BuiltinId::max3: return number(std::max({call[0], call[1], call[2]}));
    case BuiltinId::median3: return number(middle(call[0], call[1], call[2]));
    case BuiltinId::clamp: return number(std::min(std::max(call[0], call[1]), call[2]));
    case BuiltinId::addsat: return number(std::clamp(call[0] + call[1], call.least(), call.most()));
    case BuiltinId::subsat: return number(std::clamp(call[0] - call[1], call.least(), call.most()));
    case BuiltinId::clz: return bits(static_cast<std::uint64_t>(std::countl_zero(call.pattern(0))) - 64 + call.width);
    case BuiltinId::ctz: return bits(std::min(static_cast<unsigned>(std::countr_zero(call.pattern(0))), call.width));
    case BuiltinId::popcount: return bits(static_cast<unsigned>(std::popcount(call.pattern(0))));
    case BuiltinId::hadd: return number((call[0] + call[1]) >> 1);
    case BuiltinId::rhadd: return number((call[0] + call[1] + 1) >> 1);
    case BuiltinId::mul24: return number(call[0] * call[1]);
    case BuiltinId::mad24: return number(call[0] * call[1] + call[2]);
    case BuiltinId::mulhi: return number(highHalf(call));
    case BuiltinId::madhi: return number(highHalf(call) + call[2]);
    case BuiltinId::madsat: return number(saturatedSum(call));
    case BuiltinId::reverseBits: return bits(reversed(call));
    case BuiltinId::rotate: return bits(rotated(call));
    case BuiltinId::extractBits:
        return isField(call, x[1].bits, x[2].bits) ? std::optional(bits(extracted(call, x[1].bits, x[2].bits)))
                                                   : std::nullopt;
    case BuiltinId::insertBits:
        return isField(call, x[2].bits, x[3].bits) ? std::optional(bits(inserted(call, x[2].bits, x[3].bits)))
                                                   : std::nullopt;
    default: return std::nullopt;
    }
}

} // namespace msl::constant
