// Functions of integers that few targets have: saturating and halving sums, products with their upper half, rotation,
// and the bit functions of narrow integers.
#include "MSL/legalize/Functions.h"
#include "MSL/legalize/Numbers.h"

namespace msl {

using ir::Value;

namespace {

ScalarKind unsignedOf(ScalarKind kind) {
    switch (byteSize(kind)) {
    case 1: return ScalarKind::uchar;
    case 2: return ScalarKind::ushort;
    case 4: return ScalarKind::uint;
    default: return ScalarKind::ulong;
    }
}

unsigned widthOf(const Number& x) {
    return byteSize(x.type()->scalar) * 8;
}

// The largest number of x's type.
Number largest(const Number& x) {
    const std::uint64_t allOnes = ~std::uint64_t{0} >> (64 - widthOf(x));
    return x.constant(static_cast<std::int64_t>(isSigned(x.type()->scalar) ? allOnes >> 1U : allOnes));
}

// The same bits in a uint, with zeros above them.
Number word(const Number& x) {
    return x.to(unsignedOf(x.type()->scalar)).to(ScalarKind::uint);
}

Number saturatingSum(const Number& a, const Number& b, bool adds) {
    const Number sum = adds ? a + b : a - b;
    if (!isSigned(a.type()->scalar)) {
        const Number wraps = adds ? sum < a : sum > a;
        return choose(wraps, adds ? largest(a) : a.constant(0), sum);
    }
    // Overflow shows in the sign: of both operands against the sum, or of the operands and of the first and the result.
    const Number overflows = ((adds ? a ^ sum : a ^ b) & (adds ? b ^ sum : a ^ sum)) < 0;
    return choose(overflows, (a >> (widthOf(a) - 1)) ^ largest(a), sum);
}

Number rotated(const Number& x, const Number& by) {
    const ScalarKind kind = unsignedOf(x.type()->scalar);
    const Number bits = x.to(kind);
    const Number left = by.to(kind) & (widthOf(x) - 1);
    const Number right = (bits.constant(widthOf(x)) - left) & (widthOf(x) - 1);
    return ((bits << left) | (bits >> right)).to(x.type()->scalar);
}

// Exact for every width up to 32: through 64 bits.
Number throughWide(BuiltinId id, const Number& x, const Number& y, const Number& z) {
    const ScalarKind kind = x.type()->scalar;
    const ScalarKind wide = isSigned(kind) ? ScalarKind::long_ : ScalarKind::ulong;
    const Number product = x.to(wide) * y.to(wide);
    if (id == BuiltinId::madsat) {
        const Number high = largest(x).to(wide);
        Number sum = product + z.to(wide);
        sum = choose(sum > high, high, sum);
        if (isSigned(kind)) sum = choose(sum < -high - 1, -high - 1, sum);
        return sum.to(kind);
    }
    const Number high = (product >> widthOf(x)).to(kind);
    return id == BuiltinId::mulhi ? high : high + z;
}

// The bit functions of 8- and 16-bit integers, through those of words.
Value* spellNarrow(ir::Builder& builder, BuiltinId id, const Number& x, Operands operands) {
    const ScalarKind kind = x.type()->scalar;
    const unsigned width = widthOf(x);
    switch (id) {
    case BuiltinId::clz: return (call(id, {word(x)}) - (32 - width)).to(kind).value;
    case BuiltinId::ctz: return call(id, {word(x) | (1U << width)}).to(kind).value; // at most the width
    case BuiltinId::popcount: return call(id, {word(x)}).to(kind).value;
    case BuiltinId::reverseBits: return (call(id, {word(x)}) >> (32 - width)).to(kind).value;
    case BuiltinId::extractBits:
    case BuiltinId::insertBits: {
        const ScalarKind wide = isSigned(kind) ? ScalarKind::int_ : ScalarKind::uint;
        Value* widened[4] = {};
        for (std::size_t i = 0; i < operands.size(); ++i) {
            const bool isNumber = i == 0 || (i == 1 && id == BuiltinId::insertBits);
            widened[i] = isNumber ? Number(builder, operands[i]).to(wide).value : operands[i];
        }
        const TypeRef type = builder.module.types.withScalar(x.type(), wide);
        return builder.convert(x.type(), builder.builtin(id, type, {widened, operands.size()}));
    }
    default: return nullptr;
    }
}

} // namespace

Value* spellInteger(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands) {
    const Number x(builder, operands[0]);
    const Number y(builder, operands.size() > 1 ? operands[1] : operands[0]);
    const Number z(builder, operands.size() > 2 ? operands[2] : operands[0]);
    const auto least = [](const Number& a, const Number& b) { return call(BuiltinId::min, {a, b}); };
    const auto greatest = [](const Number& a, const Number& b) { return call(BuiltinId::max, {a, b}); };
    switch (id) {
    case BuiltinId::abs: return isSigned(type->scalar) ? nullptr : x.value;
    case BuiltinId::fmin: return least(x, y).value;
    case BuiltinId::fmax: return greatest(x, y).value;
    case BuiltinId::min3: return least(least(x, y), z).value;
    case BuiltinId::max3: return greatest(greatest(x, y), z).value;
    case BuiltinId::clamp: return least(greatest(x, y), z).value;
    case BuiltinId::median3: return greatest(least(x, y), least(greatest(x, y), z)).value;
    case BuiltinId::absdiff:
        return builder.convert(type, (greatest(x, y) - least(x, y)).value); // the result is unsigned
    case BuiltinId::addsat: return saturatingSum(x, y, true).value;
    case BuiltinId::subsat: return saturatingSum(x, y, false).value;
    case BuiltinId::hadd: return ((x & y) + ((x ^ y) >> 1)).value;
    case BuiltinId::rhadd: return ((x | y) - ((x ^ y) >> 1)).value;
    case BuiltinId::mul24: return (x * y).value;
    case BuiltinId::mad24: return (x * y + z).value;
    case BuiltinId::rotate: return rotated(x, y).value;
    default: break;
    }
    if (widthOf(x) == 64) return spellWideInteger(builder, id, type, operands);
    switch (id) {
    case BuiltinId::mulhi:
    case BuiltinId::madhi:
    case BuiltinId::madsat: return throughWide(id, x, y, z).value;
    default: return widthOf(x) < 32 ? spellNarrow(builder, id, x, operands) : nullptr;
    }
}

} // namespace msl
