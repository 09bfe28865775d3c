// Bit functions and products of 64-bit integers, from 32-bit ones and from products of halves.
#include "MSL/legalize/Functions.h"
#include "MSL/legalize/Numbers.h"

namespace msl {

using ir::Value;

namespace {

constexpr ScalarKind wordKind = ScalarKind::uint;
constexpr ScalarKind wideKind = ScalarKind::ulong;

struct Halves {
    Number high, low; // uint
};

Halves halves(const Number& x) {
    const Number bits = x.as(wideKind);
    return {(bits >> 32).to(wordKind), bits.to(wordKind)};
}

Number joined(const Number& high, const Number& low) {
    return high.to(wideKind) << 32 | low.to(wideKind);
}

// The upper 64 bits of the product of two ulongs, from products of their halves.
Number highProduct(const Number& x, const Number& y) {
    const Number xh = x >> 32;
    const Number xl = x & 0xFFFFFFFFLL;
    const Number yh = y >> 32;
    const Number yl = y & 0xFFFFFFFFLL;
    const Number middle = xh * yl + (xl * yl >> 32);
    const Number other = xl * yh + (middle & 0xFFFFFFFFLL);
    return xh * yh + (middle >> 32) + (other >> 32);
}

// The same for longs, as the bits of a ulong: each negative factor counts 2^64 too much.
Number highProductSigned(const Number& x, const Number& y) {
    const Number ux = x.as(wideKind);
    const Number uy = y.as(wideKind);
    return highProduct(ux, uy) - choose(x < 0, uy, 0) - choose(y < 0, ux, 0);
}

Number multiplyAddSaturated(const Number& a, const Number& b, const Number& c) {
    const Number ua = a.as(wideKind);
    const Number uc = c.as(wideKind);
    const Number low = ua * b.as(wideKind) + uc;
    const Number carry = choose(low < uc, low.constant(1), 0);
    if (!isSigned(a.type()->scalar)) {
        const Number high = highProduct(ua, b) + carry;
        return choose(high != 0, low.constant(-1), low);
    }
    // 128 bits: the sum fits in 64 where the upper half repeats the lower one's sign.
    const Number signOfC = (c >> 63).as(wideKind);
    const Number high = (highProductSigned(a, b) + signOfC + carry).as(ScalarKind::long_);
    const Number result = low.as(ScalarKind::long_);
    const Number bound = (high >> 63) ^ INT64_MAX;
    return choose(high == (result >> 63), result, bound);
}

} // namespace

Value* spellWideInteger(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands) {
    const ScalarKind kind = type->scalar;
    const Number x(builder, operands[0]);
    const auto counted = [&](const Number& count) { return count.to(kind).value; };
    const auto bitCount = [&](unsigned at) { return Number(builder, operands[at]).to(wideKind).like(x); };
    const auto ones = [](const Number& bits) { // as many ones from the bottom up
        return choose(bits >= 64, bits.constant(-1), (bits.constant(1) << bits) - 1);
    };
    switch (id) {
    case BuiltinId::clz: {
        const auto [high, low] = halves(x);
        return counted(choose(high == 0, call(id, {low}) + 32, call(id, {high})));
    }
    case BuiltinId::ctz: {
        const auto [high, low] = halves(x);
        return counted(choose(low == 0, call(id, {high}) + 32, call(id, {low})));
    }
    case BuiltinId::popcount: {
        const auto [high, low] = halves(x);
        return counted(call(id, {high}) + call(id, {low}));
    }
    case BuiltinId::reverseBits: {
        const auto [high, low] = halves(x);
        return joined(call(id, {low}), call(id, {high})).as(kind).value;
    }
    case BuiltinId::extractBits: {
        const Number offset = bitCount(1);
        const Number bits = bitCount(2);
        if (!isSigned(kind)) return ((x >> offset) & ones(bits)).value;
        const Number field = x << (64 - offset - bits).as(kind) >> (64 - bits).as(kind);
        return choose(bits == 0, 0, field).value;
    }
    case BuiltinId::insertBits: {
        const Number offset = bitCount(2);
        const Number mask = ones(bitCount(3)) << offset;
        const Number inserted = Number(builder, operands[1]).as(wideKind) << offset;
        return ((x.as(wideKind) & ~mask) | (inserted & mask)).as(kind).value;
    }
    case BuiltinId::mulhi:
    case BuiltinId::madhi: {
        const Number y(builder, operands[1]);
        const Number high = (isSigned(kind) ? highProductSigned(x, y) : highProduct(x, y)).as(kind);
        return id == BuiltinId::mulhi ? high.value : (high + Number(builder, operands[2])).value;
    }
    case BuiltinId::madsat:
        return multiplyAddSaturated(x, Number(builder, operands[1]), Number(builder, operands[2])).value;
    default: return nullptr;
    }
}

} // namespace msl
