#include "MSL/ir/Fold.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace msl::ir {

namespace {

unsigned bitWidth(ScalarKind kind) {
    return kind == ScalarKind::bool_ ? 1 : byteSize(kind) * 8;
}

Value* foldFloat(Module& module, Op op, TypeRef type, TypeRef resultType, float a, float b) {
    switch (op) {
    case Op::add: return module.constantFloat(type, a + b);
    case Op::sub: return module.constantFloat(type, a - b);
    case Op::mul: return module.constantFloat(type, a * b);
    case Op::div: return module.constantFloat(type, a / b);
    case Op::equal: return module.constantInt(resultType, a == b ? 1 : 0);
    case Op::notEqual: return module.constantInt(resultType, a != b ? 1 : 0);
    case Op::less: return module.constantInt(resultType, a < b ? 1 : 0);
    case Op::lessEqual: return module.constantInt(resultType, a <= b ? 1 : 0);
    case Op::greater: return module.constantInt(resultType, a > b ? 1 : 0);
    case Op::greaterEqual: return module.constantInt(resultType, a >= b ? 1 : 0);
    default: return nullptr;
    }
}

// Works on 64-bit patterns: constantInt cuts the result down to the type's width.
Value* foldInteger(Module& module, Op op, TypeRef type, TypeRef resultType, std::uint64_t a, std::uint64_t b) {
    const bool isSignedKind = isSigned(type->scalar);
    const auto sa = static_cast<std::int64_t>(a);
    const auto sb = static_cast<std::int64_t>(b);
    const auto number = [&](std::uint64_t bits) { return module.constantInt(type, static_cast<std::int64_t>(bits)); };
    const auto truth = [&](bool value) { return module.constantInt(resultType, value ? 1 : 0); };
    const std::uint64_t count = b & (bitWidth(type->scalar) - 1);
    switch (op) {
    case Op::add: return number(a + b);
    case Op::sub: return number(a - b);
    case Op::mul: return number(a * b);
    case Op::div:
    case Op::rem:
        if (b == 0 || (isSignedKind && sb == -1))
            return isSignedKind && sb == -1 ? (op == Op::div ? number(0 - a) : number(0)) : nullptr;
        if (op == Op::div) return isSignedKind ? number(static_cast<std::uint64_t>(sa / sb)) : number(a / b);
        return isSignedKind ? number(static_cast<std::uint64_t>(sa % sb)) : number(a % b);
    case Op::shl: return number(a << count);
    case Op::shr: return isSignedKind ? number(static_cast<std::uint64_t>(sa >> count)) : number(a >> count);
    case Op::bitAnd: return number(a & b);
    case Op::bitOr: return number(a | b);
    case Op::bitXor: return number(a ^ b);
    case Op::logicalAnd: return truth(a != 0 && b != 0);
    case Op::logicalOr: return truth(a != 0 || b != 0);
    case Op::equal: return truth(a == b);
    case Op::notEqual: return truth(a != b);
    case Op::less: return truth(isSignedKind ? sa < sb : a < b);
    case Op::lessEqual: return truth(isSignedKind ? sa <= sb : a <= b);
    case Op::greater: return truth(isSignedKind ? sa > sb : a > b);
    case Op::greaterEqual: return truth(isSignedKind ? sa >= sb : a >= b);
    default: return nullptr;
    }
}

// Applies a fold of scalars to every component.
template <typename Fold>
Value* byComponent(Module& module, TypeRef resultType, Fold fold) {
    if (resultType->isScalar()) return fold(resultType, 0, true);
    if (!resultType->isVector()) return nullptr;
    Value* parts[4] = {};
    for (unsigned i = 0; i < resultType->columns; ++i) {
        parts[i] = fold(module.types.scalar(resultType->scalar), i, false);
        if (parts[i] == nullptr) return nullptr;
    }
    return module.constantComposite(resultType, {parts, resultType->columns});
}

bool oneArgument(BuiltinId id, double x, double& result) {
    switch (id) {
    case BuiltinId::acos: result = std::acos(x); break;
    case BuiltinId::asin: result = std::asin(x); break;
    case BuiltinId::atan: result = std::atan(x); break;
    case BuiltinId::ceil: result = std::ceil(x); break;
    case BuiltinId::cos: result = std::cos(x); break;
    case BuiltinId::cospi: result = std::cos(x * std::numbers::pi); break;
    case BuiltinId::exp: result = std::exp(x); break;
    case BuiltinId::exp2: result = std::exp2(x); break;
    case BuiltinId::fabs:
    case BuiltinId::abs: result = std::fabs(x); break;
    case BuiltinId::floor: result = std::floor(x); break;
    case BuiltinId::fract: result = std::min(x - std::floor(x), 0x1.fffffep-1); break;
    case BuiltinId::log: result = std::log(x); break;
    case BuiltinId::log2: result = std::log2(x); break;
    case BuiltinId::log10: result = std::log10(x); break;
    case BuiltinId::rint: result = std::nearbyint(x); break;
    case BuiltinId::round: result = std::round(x); break;
    case BuiltinId::rsqrt: result = 1.0 / std::sqrt(x); break;
    case BuiltinId::saturate: result = std::isnan(x) ? 0.0 : std::clamp(x, 0.0, 1.0); break;
    case BuiltinId::sin: result = std::sin(x); break;
    case BuiltinId::sinpi: result = std::sin(x * std::numbers::pi); break;
    case BuiltinId::sqrt: result = std::sqrt(x); break;
    case BuiltinId::tan: result = std::tan(x); break;
    case BuiltinId::tanh: result = std::tanh(x); break;
    case BuiltinId::trunc: result = std::trunc(x); break;
    case BuiltinId::radians: result = x * (std::numbers::pi / 180.0); break;
    case BuiltinId::degrees: result = x * (180.0 / std::numbers::pi); break;
    default: return false;
    }
    return true;
}

bool twoArguments(BuiltinId id, double x, double y, double& result) {
    switch (id) {
    case BuiltinId::atan2: result = std::atan2(x, y); break;
    case BuiltinId::divide: result = x / y; break;
    case BuiltinId::fmax:
    case BuiltinId::max: result = std::fmax(x, y); break;
    case BuiltinId::fmin:
    case BuiltinId::min: result = std::fmin(x, y); break;
    case BuiltinId::fmod: result = std::fmod(x, y); break;
    case BuiltinId::pow:
    case BuiltinId::powr:
        if (x < 0) return false; // left to the device
        result = std::pow(x, y);
        break;
    case BuiltinId::step: result = y < x ? 0.0 : 1.0; break;
    default: return false;
    }
    return true;
}

bool threeArguments(BuiltinId id, double x, double y, double z, double& result) {
    switch (id) {
    case BuiltinId::clamp: result = std::fmin(std::fmax(x, y), z); break;
    case BuiltinId::fma: result = std::fma(x, y, z); break;
    case BuiltinId::mix: result = x + (y - x) * z; break;
    case BuiltinId::smoothstep: {
        if (x == y) return false;
        const double t = std::clamp((z - x) / (y - x), 0.0, 1.0);
        result = t * t * (3.0 - 2.0 * t);
        break;
    }
    default: return false;
    }
    return true;
}

Value* foldIntegerBuiltin(Module& module, BuiltinId id, TypeRef type, std::span<Value* const> scalars) {
    const auto less = [&](const Value* a, const Value* b) {
        return isSigned(type->scalar) ? static_cast<std::int64_t>(a->bits) < static_cast<std::int64_t>(b->bits)
                                      : a->bits < b->bits;
    };
    switch (id) {
    case BuiltinId::abs: {
        const auto value = static_cast<std::int64_t>(scalars[0]->bits);
        return isSigned(type->scalar) && value < 0
                   ? module.constantInt(type, static_cast<std::int64_t>(0 - scalars[0]->bits))
                   : scalars[0];
    }
    case BuiltinId::min: return less(scalars[1], scalars[0]) ? scalars[1] : scalars[0];
    case BuiltinId::max: return less(scalars[0], scalars[1]) ? scalars[1] : scalars[0];
    case BuiltinId::clamp: {
        Value* low = less(scalars[0], scalars[1]) ? scalars[1] : scalars[0];
        return less(scalars[2], low) ? scalars[2] : low;
    }
    default: return nullptr;
    }
}

bool allConstant(std::span<Value* const> values) {
    return std::ranges::all_of(values, [](const Value* value) { return value->isConstant(); });
}

// Sums of products over whole vectors.
Value* foldGeometric(Module& module, BuiltinId id, TypeRef resultType, std::span<Value* const> operands) {
    const TypeRef type = operands[0]->type;
    if (!type->isVector() || !isFloating(type->scalar)) return nullptr;
    double dot = 0;
    for (unsigned i = 0; i < type->columns; ++i) {
        const double x = Module::floatValue(module.constantPart(operands[0], i));
        const double y = Module::floatValue(module.constantPart(operands.back(), i));
        switch (id) {
        case BuiltinId::dot:
        case BuiltinId::length:
        case BuiltinId::lengthSquared:
        case BuiltinId::normalize: dot += x * y; break;
        case BuiltinId::distance:
        case BuiltinId::distanceSquared: dot += (x - y) * (x - y); break;
        default: return nullptr;
        }
    }
    if (id == BuiltinId::length || id == BuiltinId::distance) dot = std::sqrt(dot);
    if (id != BuiltinId::normalize) return module.constantFloat(resultType, dot);
    if (dot == 0) return nullptr;
    return byComponent(module, resultType, [&](TypeRef scalar, unsigned i, bool) {
        return module.constantFloat(scalar, Module::floatValue(module.constantPart(operands[0], i)) / std::sqrt(dot));
    });
}

} // namespace

Value* foldUnary(Module& module, Op op, Value* operand) {
    if (!operand->isConstant()) return nullptr;
    return byComponent(module, operand->type, [&](TypeRef type, unsigned i, bool whole) -> Value* {
        const Value* scalar = whole ? operand : module.constantPart(operand, i);
        switch (op) {
        case Op::neg:
            if (isFloating(type->scalar))
                return module.constantScalar(type,
                                             scalar->bits ^ (type->scalar == ScalarKind::half ? 0x8000U : 0x80000000U));
            return module.constantInt(type, static_cast<std::int64_t>(0 - scalar->bits));
        case Op::bitNot: return module.constantInt(type, static_cast<std::int64_t>(~scalar->bits));
        case Op::logicalNot: return module.constantInt(type, scalar->bits == 0 ? 1 : 0);
        default: return nullptr;
        }
    });
}

Value* foldBinary(Module& module, Op op, TypeRef resultType, Value* left, Value* right) {
    if (!left->isConstant() || !right->isConstant() || left->type != right->type) return nullptr;
    return byComponent(module, resultType, [&](TypeRef result, unsigned i, bool whole) -> Value* {
        if (whole != left->type->isScalar()) return nullptr;
        const Value* a = whole ? left : module.constantPart(left, i);
        const Value* b = whole ? right : module.constantPart(right, i);
        if (isFloating(a->type->scalar))
            return foldFloat(module, op, a->type, result, static_cast<float>(Module::floatValue(a)),
                             static_cast<float>(Module::floatValue(b)));
        return foldInteger(module, op, a->type, result, a->bits, b->bits);
    });
}

Value* foldConvert(Module& module, TypeRef to, Value* value) {
    if (!value->isConstant()) return nullptr;
    return byComponent(module, to, [&](TypeRef type, unsigned i, bool whole) -> Value* {
        if (whole != value->type->isScalar()) return nullptr;
        const Value* from = whole ? value : module.constantPart(value, i);
        if (type->scalar == ScalarKind::bool_)
            return module.constantInt(type, isFloating(from->type->scalar) ? (Module::floatValue(from) != 0 ? 1 : 0)
                                                                           : (from->bits != 0 ? 1 : 0));
        if (isFloating(type->scalar)) return module.constantFloat(type, Module::floatValue(from));
        if (!isFloating(from->type->scalar)) return module.constantInt(type, static_cast<std::int64_t>(from->bits));
        const double number = std::trunc(Module::floatValue(from));
        if (std::isnan(number)) return module.constantNull(type);
        const unsigned width = bitWidth(type->scalar);
        const bool isSignedKind = isSigned(type->scalar);
        const double limit = std::ldexp(1.0, static_cast<int>(isSignedKind ? width - 1 : width));
        const std::uint64_t largest = ~std::uint64_t{0} >> (64 - width + (isSignedKind ? 1U : 0U));
        if (number >= limit) return module.constantInt(type, static_cast<std::int64_t>(largest));
        if (number < (isSignedKind ? -limit : 0.0))
            return module.constantInt(type, isSignedKind ? static_cast<std::int64_t>(~largest) : 0);
        return module.constantInt(type, isSignedKind ? static_cast<std::int64_t>(number)
                                                     : static_cast<std::int64_t>(static_cast<std::uint64_t>(number)));
    });
}

Value* foldBitcast(Module& module, TypeRef to, Value* value) {
    if (!value->isConstant() || byteSize(to->scalar) != byteSize(value->type->scalar)) return nullptr;
    return byComponent(module, to, [&](TypeRef type, unsigned i, bool whole) -> Value* {
        if (whole != value->type->isScalar()) return nullptr;
        const Value* from = whole ? value : module.constantPart(value, i);
        if (!isFloating(type->scalar)) return module.constantInt(type, static_cast<std::int64_t>(from->bits));
        const unsigned width = bitWidth(type->scalar);
        return module.constantScalar(type, from->bits & (~std::uint64_t{0} >> (64 - width)));
    });
}

Value* foldBuiltin(Module& module, BuiltinId id, TypeRef resultType, std::span<Value* const> operands) {
    if (operands.empty() || operands.size() > 3 || !allConstant(operands)) return nullptr;
    switch (id) {
    case BuiltinId::dot:
    case BuiltinId::length:
    case BuiltinId::lengthSquared:
    case BuiltinId::distance:
    case BuiltinId::distanceSquared:
    case BuiltinId::normalize: return foldGeometric(module, id, resultType, operands);
    default: break;
    }
    return byComponent(module, resultType, [&](TypeRef type, unsigned i, bool) -> Value* {
        Value* scalars[3] = {};
        for (std::size_t o = 0; o < operands.size(); ++o) {
            scalars[o] = operands[o]->type->isScalar() ? operands[o] : module.constantPart(operands[o], i);
            if (scalars[o]->type != type) return nullptr;
        }
        if (!isFloating(type->scalar))
            return type->scalar == ScalarKind::bool_ ? nullptr
                                                     : foldIntegerBuiltin(module, id, type, {scalars, operands.size()});
        double result = 0;
        const double x = Module::floatValue(scalars[0]);
        const double y = operands.size() > 1 ? Module::floatValue(scalars[1]) : 0;
        const double z = operands.size() > 2 ? Module::floatValue(scalars[2]) : 0;
        const bool isKnown = operands.size() == 1   ? oneArgument(id, x, result)
                             : operands.size() == 2 ? twoArguments(id, x, y, result)
                                                    : threeArguments(id, x, y, z, result);
        return isKnown ? module.constantFloat(type, result) : nullptr;
    });
}

} // namespace msl::ir
