// Functions of floats that few targets have, the relational ones, and the geometric ones that are sums of products. In
// fast maths: a device may contract what is emitted here.
#include "MSL/legalize/Functions.h"
#include "MSL/legalize/Numbers.h"

#include <numbers>

namespace msl {

using ir::Op;
using ir::Value;

namespace {

Number fast(ir::Builder& builder, Value* value) {
    return {builder, value, Number::Contraction::allowed};
}

Number isNan(const Number& x) {
    const TypeRef bools = x.types().withScalar(x.type(), ScalarKind::bool_);
    return x.with(x.builder->builtin(BuiltinId::isnan, bools, {&x.value, 1}));
}

Number rounded(const Number& x) { // halves away from zero
    const Number whole = call(BuiltinId::trunc, {x});
    const Number rest = call(BuiltinId::fabs, {x - whole});
    return choose(rest >= 0.5, whole + call(BuiltinId::sign, {x}), whole);
}

Number withSignOf(const Number& x, const Number& y) {
    const bool isShort = byteSize(x.type()->scalar) == 2;
    const ScalarKind bits = isShort ? ScalarKind::ushort : ScalarKind::uint;
    const std::int64_t sign = isShort ? 0x8000 : 0x80000000LL;
    return ((x.as(bits) & (sign - 1)) | (y.as(bits) & sign)).as(x.type()->scalar);
}

// One step of the bits away from zero or towards it; from zero the smallest number of y's sign.
Number nextAfter(const Number& x, const Number& y) {
    const bool isShort = byteSize(x.type()->scalar) == 2;
    const ScalarKind bits = isShort ? ScalarKind::short_ : ScalarKind::int_;
    const std::int64_t magnitude = isShort ? 0x7FFF : 0x7FFFFFFF;
    const Number from = x.as(bits);
    const Number to = y.as(bits);
    const Number isNegative = from < 0;
    const Number away = from.constant(1);
    const Number back = from.constant(-1);
    const Number step = choose(x < y, choose(isNegative, back, away), choose(isNegative, away, back));
    const Number smallest = (to & (-magnitude - 1)) | 1;
    const Number next = choose(x == y, to, choose((from & magnitude) == 0, smallest, from + step));
    return choose(isNan(x), from, choose(isNan(y), to, next)).as(x.type()->scalar);
}

double largestFinite(ScalarKind kind) {
    return kind == ScalarKind::half ? 65504 : 0x1.FFFFFEp127;
}
double smallestNormal(ScalarKind kind) {
    return kind == ScalarKind::half ? 0x1p-14 : 0x1p-126;
}

} // namespace

Value* spellFloat(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands) {
    const Number x = fast(builder, operands[0]);
    const Number y = fast(builder, operands.size() > 1 ? operands[1] : operands[0]);
    const Number z = fast(builder, operands.size() > 2 ? operands[2] : operands[0]);
    const auto least = [](const Number& a, const Number& b) { return call(BuiltinId::fmin, {a, b}); };
    const auto greatest = [](const Number& a, const Number& b) { return call(BuiltinId::fmax, {a, b}); };
    switch (id) {
    case BuiltinId::saturate: return call(BuiltinId::clamp, {x, x.constant(0.0), x.constant(1.0)}).value;
    case BuiltinId::divide: return (x / y).value;
    case BuiltinId::fmod: return (x - y * call(BuiltinId::trunc, {x / y})).value; // large quotients have the sign too
    case BuiltinId::remainder: return (x - y * call(BuiltinId::rint, {x / y})).value;
    case BuiltinId::cospi: return call(BuiltinId::cos, {x * std::numbers::pi}).value;
    case BuiltinId::sinpi: return call(BuiltinId::sin, {x * std::numbers::pi}).value;
    case BuiltinId::tanpi: return call(BuiltinId::tan, {x * std::numbers::pi}).value;
    case BuiltinId::exp10: return call(BuiltinId::exp2, {x * 3.321928094887362}).value;
    case BuiltinId::log10: return (call(BuiltinId::log2, {x}) * 0.30102999566398120).value;
    case BuiltinId::modf: return (x - call(BuiltinId::trunc, {x})).value;
    case BuiltinId::fdim: return greatest(x - y, x.constant(0.0)).value;
    case BuiltinId::round: return rounded(x).value;
    case BuiltinId::copysign: return withSignOf(x, y).value;
    case BuiltinId::nextafter: return nextAfter(x, y).value;
    case BuiltinId::ldexp:
        if (y.type()->scalar == ScalarKind::int_) return nullptr;
        return call(id, {x, y.to(ScalarKind::int_)}).value;
    case BuiltinId::ilogb: // the fraction of frexp lies between 1/2 and 1
        return (Number(builder, builder.builtin(BuiltinId::frexp, type, {&x.value, 1})) - 1).value;
    case BuiltinId::max3:
    case BuiltinId::fmax3: return greatest(greatest(x, y), z).value;
    case BuiltinId::min3:
    case BuiltinId::fmin3: return least(least(x, y), z).value;
    case BuiltinId::median3:
    case BuiltinId::fmedian3: return greatest(least(x, y), least(greatest(x, y), z)).value;
    default: return nullptr;
    }
}

Value* spellRelational(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands) {
    const Number x = fast(builder, operands[0]);
    const ScalarKind kind = x.type()->scalar;
    switch (id) {
    case BuiltinId::all:
    case BuiltinId::any: return x.type()->isVector() ? nullptr : x.value;
    case BuiltinId::notFn: return isNot(x).value;
    case BuiltinId::isordered:
    case BuiltinId::isunordered: {
        const Number either_ = either(isNan(x), isNan(fast(builder, operands[1])));
        return (id == BuiltinId::isunordered ? either_ : isNot(either_)).value;
    }
    case BuiltinId::isnan: return (x != x).value;
    case BuiltinId::isinf: return (call(BuiltinId::fabs, {x}) > largestFinite(kind)).value;
    case BuiltinId::isfinite: return (call(BuiltinId::fabs, {x}) <= largestFinite(kind)).value; // false for NaN
    case BuiltinId::isnormal: {
        const Number size = call(BuiltinId::fabs, {x});
        return both(size <= largestFinite(kind), size >= smallestNormal(kind)).value;
    }
    case BuiltinId::signbit: return (x.as(byteSize(kind) == 2 ? ScalarKind::short_ : ScalarKind::int_) < 0).value;
    case BuiltinId::select: { // select(a, b, c) is b where c
        Value* condition = operands[2];
        if (type->isVector() && condition->type->isScalar())
            condition = builder.splat(builder.module.types.vector(ScalarKind::bool_, type->columns), condition);
        return builder.select(condition, operands[1], operands[0]);
    }
    default: return nullptr;
    }
}

Value* spellGeometric(ir::Builder& builder, BuiltinId id, TypeRef type, Operands operands) {
    const Number x = fast(builder, operands[0]);
    const Number y = fast(builder, operands.size() > 1 ? operands[1] : operands[0]);
    const auto dot = [&](const Number& a, const Number& b) {
        Value* both[] = {a.value, b.value};
        return builder.builtin(BuiltinId::dot, type, both);
    };
    switch (id) {
    case BuiltinId::dot: {
        if (x.type()->isScalar()) return (x * y).value;
        if (x.type()->isFloatingNumeric()) return nullptr;
        const Number products = x * y;
        Number sum = products[0];
        for (unsigned i = 1; i < x.type()->columns; ++i)
            sum = sum + products[i];
        return sum.value;
    }
    case BuiltinId::distanceSquared: return dot(x - y, x - y);
    case BuiltinId::lengthSquared: return dot(x, x);
    default: return nullptr;
    }
}

} // namespace msl
