// Arithmetic on IR values written as arithmetic: functions of the library that no device has are spelled out with it.
// A Number is a value beside the builder that computes with it; constants take the type of the number they meet. Every
// step with an exact number is marked precise, so that no device contracts it. Lives as long as the builder; used by
// one thread.
#pragma once

#include "MSL/ir/Ir.h"

#include <concepts>
#include <initializer_list>
#include <type_traits>

namespace msl {

class Number {
  public:
    enum class Contraction : std::uint8_t { never, allowed };

    Number(ir::Builder& builder, ir::Value* value, Contraction contraction = Contraction::never)
        : builder(&builder), value(value), contraction(contraction) {}

    ir::Builder* builder;
    ir::Value* value;
    Contraction contraction;

    Number with(ir::Value* other) const { return {*builder, other, contraction}; }

    TypeRef type() const { return value->type; }
    TypeTable& types() const { return builder->module.types; }

    // A constant of this number's type, the same in every component.
    template <typename T>
        requires std::is_arithmetic_v<T>
    Number constant(T number) const {
        if (isFloating(type()->scalar)) return with(builder->module.constantFloat(type(), static_cast<double>(number)));
        return with(builder->module.constantInt(type(), static_cast<std::int64_t>(number)));
    }
    Number to(ScalarKind kind) const { return with(builder->convert(types().withScalar(type(), kind), value)); }
    Number as(ScalarKind kind) const { return with(builder->bitcast(types().withScalar(type(), kind), value)); }
    // In the shape of another number.
    Number like(const Number& other) const {
        if (!type()->isScalar() || !other.type()->isVector()) return *this;
        return with(builder->splat(types().vector(type()->scalar, other.type()->columns), value));
    }
    Number operator[](std::uint32_t component) const { return with(builder->extract(value, component)); }

    static Number binary(ir::Op op, TypeRef result, const Number& a, const Number& b) {
        ir::Value* made = a.builder->binary(op, result, a.value, b.value);
        if (made->definition != nullptr && a.contraction == Contraction::never) made->definition->isPrecise = true;
        return a.with(made);
    }
    static Number arithmetic(ir::Op op, const Number& a, const Number& b) { return binary(op, a.type(), a, b); }
    static Number comparison(ir::Op op, const Number& a, const Number& b) {
        return binary(op, a.types().withScalar(a.type(), ScalarKind::bool_), a, b);
    }
};

template <typename T>
concept PlainNumber = std::is_arithmetic_v<T>;

#define MSL_NUMBER_OPERATOR(symbol, form, op)                                                                          \
    inline Number operator symbol(const Number& a, const Number& b) {                                                  \
        return Number::form(ir::Op::op, a, b);                                                                         \
    }                                                                                                                  \
    template <PlainNumber T>                                                                                           \
    Number operator symbol(const Number& a, T b) {                                                                     \
        return Number::form(ir::Op::op, a, a.constant(b));                                                             \
    }                                                                                                                  \
    template <PlainNumber T>                                                                                           \
    Number operator symbol(T a, const Number& b) {                                                                     \
        return Number::form(ir::Op::op, b.constant(a), b);                                                             \
    }
MSL_NUMBER_OPERATOR(+, arithmetic, add)
MSL_NUMBER_OPERATOR(-, arithmetic, sub)
MSL_NUMBER_OPERATOR(*, arithmetic, mul)
MSL_NUMBER_OPERATOR(/, arithmetic, div)
MSL_NUMBER_OPERATOR(%, arithmetic, rem)
MSL_NUMBER_OPERATOR(&, arithmetic, bitAnd)
MSL_NUMBER_OPERATOR(|, arithmetic, bitOr)
MSL_NUMBER_OPERATOR(^, arithmetic, bitXor)
MSL_NUMBER_OPERATOR(<<, arithmetic, shl)
MSL_NUMBER_OPERATOR(>>, arithmetic, shr)
MSL_NUMBER_OPERATOR(==, comparison, equal)
MSL_NUMBER_OPERATOR(!=, comparison, notEqual)
MSL_NUMBER_OPERATOR(<, comparison, less)
MSL_NUMBER_OPERATOR(<=, comparison, lessEqual)
MSL_NUMBER_OPERATOR(>, comparison, greater)
MSL_NUMBER_OPERATOR(>=, comparison, greaterEqual)
#undef MSL_NUMBER_OPERATOR

inline Number operator-(const Number& a) {
    return a.with(a.builder->unary(ir::Op::neg, a.value));
}
inline Number operator~(const Number& a) {
    return a.with(a.builder->unary(ir::Op::bitNot, a.value));
}
// On conditions.
inline Number both(const Number& a, const Number& b) {
    return Number::arithmetic(ir::Op::logicalAnd, a, b);
}
inline Number either(const Number& a, const Number& b) {
    return Number::arithmetic(ir::Op::logicalOr, a, b);
}
inline Number isNot(const Number& a) {
    return a.with(a.builder->unary(ir::Op::logicalNot, a.value));
}

inline Number choose(const Number& condition, const Number& yes, const Number& no) {
    return yes.with(yes.builder->select(condition.value, yes.value, no.value));
}
template <PlainNumber T>
Number choose(const Number& condition, const Number& yes, T no) {
    return choose(condition, yes, yes.constant(no));
}
template <PlainNumber T>
Number choose(const Number& condition, T yes, const Number& no) {
    return choose(condition, no.constant(yes), no);
}

// A function of the library, with a result of the first operand's type.
inline Number call(BuiltinId id, std::initializer_list<Number> operands) {
    ir::Value* values[4] = {};
    std::size_t count = 0;
    for (const Number& operand : operands)
        values[count++] = operand.value;
    const Number& first = *operands.begin();
    return first.with(first.builder->builtin(id, first.type(), {values, count}));
}

// The polynomial with these coefficients, the constant one first.
inline Number polynomial(const Number& x, std::initializer_list<double> coefficients) {
    const double* at = coefficients.end() - 1;
    Number sum = x.constant(*at);
    while (at != coefficients.begin())
        sum = sum * x + *--at;
    return sum;
}

} // namespace msl
