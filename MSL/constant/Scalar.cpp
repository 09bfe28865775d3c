#include "MSL/constant/Scalar.h"

#include "MSL/constant/Half.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace msl::constant {

namespace {

using Wide = __int128; // holds every sum, difference and product of 64-bit numbers

Wide wide(Scalar value) {
    return isSigned(value.kind) ? Wide{static_cast<std::int64_t>(value.bits)} : Wide{value.bits};
}

std::uint64_t largestOf(ScalarKind kind) {
    return ~std::uint64_t{0} >> (64 - bitWidth(kind) + (isSigned(kind) ? 1U : 0U));
}

Scalar ofFloat(ScalarKind kind, float value) {
    switch (kind) {
    case ScalarKind::half: return {kind, floatToHalf(value)};
    case ScalarKind::bfloat: return {kind, floatToBfloat(value)};
    default: return {kind, std::bit_cast<std::uint32_t>(value)};
    }
}

Result floats(Op op, ScalarKind kind, float a, float b) {
    switch (op) {
    case Op::add: return {ofFloat(kind, a + b)};
    case Op::sub: return {ofFloat(kind, a - b)};
    case Op::mul: return {ofFloat(kind, a * b)};
    case Op::div: return {ofFloat(kind, a / b)};
    case Op::rem: return {ofFloat(kind, std::fmod(a, b))};
    case Op::logicalAnd: return {Scalar::boolean(a != 0 && b != 0)};
    case Op::logicalOr: return {Scalar::boolean(a != 0 || b != 0)};
    case Op::equal: return {Scalar::boolean(a == b)};
    case Op::notEqual: return {Scalar::boolean(a != b)};
    case Op::less: return {Scalar::boolean(a < b)};
    case Op::lessEqual: return {Scalar::boolean(a <= b)};
    case Op::greater: return {Scalar::boolean(a > b)};
    case Op::greaterEqual: return {Scalar::boolean(a >= b)};
    default: return {Scalar::zero(kind)};
    }
}

// What mathematics gives, before it is cut to the width. Not for divisions by zero.
Wide exactly(Op op, Wide a, Wide b) {
    switch (op) {
    case Op::neg: return -a;
    case Op::add: return a + b;
    case Op::sub: return a - b;
    case Op::mul: return static_cast<Wide>(static_cast<unsigned __int128>(a) * static_cast<unsigned __int128>(b));
    case Op::div: return a / b;
    default: return a % b;
    }
}

Result cut(ScalarKind kind, Wide exact) {
    const Scalar value = Scalar::integer(kind, static_cast<std::uint64_t>(exact));
    return {value, isSigned(kind) && wide(value) != exact ? Fault::overflow : Fault::none};
}

Result integers(Op op, Scalar left, Scalar right) {
    const ScalarKind kind = left.kind;
    const Wide a = wide(left);
    const Wide b = wide(right);
    const auto number = [&](std::uint64_t bits) { return Result{Scalar::integer(kind, bits)}; };
    const auto truth = [](bool value) { return Result{Scalar::boolean(value)}; };
    switch (op) {
    case Op::add:
    case Op::sub:
    case Op::mul: return cut(kind, exactly(op, a, b));
    case Op::div:
    case Op::rem:
        if (b == 0) return {op == Op::div ? left : Scalar::zero(kind), Fault::divisionByZero};
        if (op == Op::rem && b == -1) // the quotient may be past the end, the rest is not
            return {Scalar::zero(kind), cut(kind, -a).fault};
        return cut(kind, exactly(op, a, b));
    case Op::shl: return number(left.bits << (right.bits % bitWidth(kind)));
    case Op::shr: return number(static_cast<std::uint64_t>(a >> (right.bits % bitWidth(kind))));
    case Op::bitAnd: return number(left.bits & right.bits);
    case Op::bitOr: return number(left.bits | right.bits);
    case Op::bitXor: return number(left.bits ^ right.bits);
    case Op::logicalAnd: return truth(a != 0 && b != 0);
    case Op::logicalOr: return truth(a != 0 || b != 0);
    case Op::equal: return truth(a == b);
    case Op::notEqual: return truth(a != b);
    case Op::less: return truth(a < b);
    case Op::lessEqual: return truth(a <= b);
    case Op::greater: return truth(a > b);
    case Op::greaterEqual: return truth(a >= b);
    default: return number(0);
    }
}

std::string decimal(Wide value) {
    if (value < 0) return "-" + decimal(-value);
    std::string digits;
    do {
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(value % 10)));
        value /= 10;
    } while (value != 0);
    return digits;
}

// "3.0E+9", "-1.5", "NaN": a float as clang's messages have it.
std::string decimal(double value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value < 0 ? "-Inf" : "+Inf";
    char text[32];
    std::snprintf(text, sizeof text, "%.7e", value);
    const std::string all = text;
    const std::size_t end = all.find('e');
    const int exponent = std::atoi(all.c_str() + end + 1);
    if (exponent < 7) {
        std::snprintf(text, sizeof text, "%.8g", value);
        return text;
    }
    std::string digits = all.substr(0, end);
    while (digits.back() == '0' && digits[digits.size() - 2] != '.')
        digits.pop_back();
    return digits + "E+" + std::to_string(exponent);
}

std::string outsideOf(const std::string& value, ScalarKind kind) {
    return "value " + value + " is outside the range of representable values of type '" +
           std::string(scalarName(kind)) + "'";
}

} // namespace

unsigned bitWidth(ScalarKind kind) {
    return kind == ScalarKind::bool_ ? 1 : byteSize(kind) * 8;
}

Scalar Scalar::integer(ScalarKind kind, std::uint64_t value) {
    switch (kind) {
    case ScalarKind::bool_: return {kind, value != 0 ? 1U : 0U};
    case ScalarKind::char_: return {kind, static_cast<std::uint64_t>(static_cast<std::int8_t>(value))};
    case ScalarKind::uchar: return {kind, static_cast<std::uint8_t>(value)};
    case ScalarKind::short_: return {kind, static_cast<std::uint64_t>(static_cast<std::int16_t>(value))};
    case ScalarKind::ushort: return {kind, static_cast<std::uint16_t>(value)};
    case ScalarKind::int_: return {kind, static_cast<std::uint64_t>(static_cast<std::int32_t>(value))};
    case ScalarKind::uint: return {kind, static_cast<std::uint32_t>(value)};
    default: return {kind, value};
    }
}

Scalar Scalar::floating(ScalarKind kind, double value) {
    switch (kind) {
    case ScalarKind::half: return {kind, doubleToHalf(value)};
    case ScalarKind::bfloat: return {kind, doubleToBfloat(value)};
    default: return {kind, std::bit_cast<std::uint32_t>(static_cast<float>(value))};
    }
}

float Scalar::asFloat() const {
    switch (kind) {
    case ScalarKind::half: return halfToFloat(static_cast<std::uint16_t>(bits));
    case ScalarKind::bfloat: return bfloatToFloat(static_cast<std::uint16_t>(bits));
    default: return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
    }
}

bool Scalar::isTrue() const {
    return isInteger() ? bits != 0 : asFloat() != 0;
}

std::int64_t Scalar::asInteger() const {
    return static_cast<std::int64_t>(isInteger() ? bits : convert(*this, ScalarKind::long_).value.bits);
}

double Scalar::asDouble() const {
    if (!isInteger()) return static_cast<double>(asFloat());
    return isSigned(kind) ? static_cast<double>(static_cast<std::int64_t>(bits)) : static_cast<double>(bits);
}

Result compute(Op op, Scalar operand) {
    switch (op) {
    case Op::neg:
        if (operand.isInteger()) return cut(operand.kind, exactly(op, wide(operand), 0));
        return {{operand.kind, operand.bits ^ (byteSize(operand.kind) == 2 ? 0x8000U : 0x80000000U)}};
    case Op::bitNot: return {Scalar::integer(operand.kind, ~operand.bits)};
    default: return {Scalar::boolean(!operand.isTrue())};
    }
}

Result compute(Op op, Scalar left, Scalar right) {
    if (left.isInteger()) return integers(op, left, right);
    return floats(op, left.kind, left.asFloat(), right.asFloat());
}

Result convert(Scalar value, ScalarKind to) {
    if (value.kind == to) return {value};
    if (to == ScalarKind::bool_) return {Scalar::boolean(value.isTrue())};
    if (value.isInteger()) {
        if (msl::isInteger(to)) return {Scalar::integer(to, value.bits)};
        // Past 2^24, where the float rounds, a half is infinite either way.
        return {ofFloat(to, isSigned(value.kind) ? static_cast<float>(static_cast<std::int64_t>(value.bits))
                                                 : static_cast<float>(value.bits))};
    }
    const double number = std::trunc(static_cast<double>(value.asFloat()));
    if (!msl::isInteger(to)) return {ofFloat(to, value.asFloat())};
    if (std::isnan(number)) return {Scalar::zero(to), Fault::outOfRange};
    const bool hasSign = isSigned(to);
    const double limit = std::ldexp(1.0, static_cast<int>(bitWidth(to) - (hasSign ? 1U : 0U)));
    if (number >= limit) return {Scalar::integer(to, largestOf(to)), Fault::outOfRange};
    if (number < (hasSign ? -limit : 0.0))
        return {Scalar::integer(to, hasSign ? ~largestOf(to) : 0), Fault::outOfRange};
    return {Scalar::integer(to, hasSign ? static_cast<std::uint64_t>(static_cast<std::int64_t>(number))
                                        : static_cast<std::uint64_t>(number))};
}

Scalar bitcast(Scalar value, ScalarKind to) {
    if (msl::isInteger(to)) return Scalar::integer(to, value.bits);
    return {to, value.bits & (~std::uint64_t{0} >> (64 - bitWidth(to)))};
}

bool bitcast(std::span<const Scalar> from, ScalarKind to, std::span<Scalar> out) {
    std::uint8_t bytes[32]; // of four 64-bit numbers
    const std::size_t wanted = byteSize(to);
    std::size_t size = 0;
    for (const Scalar& number : from)
        for (std::size_t b = 0; b < byteSize(number.kind); ++b) {
            if (size == sizeof bytes) return false;
            bytes[size++] = static_cast<std::uint8_t>(number.bits >> (8 * b));
        }
    if (size != out.size() * wanted) return false;
    for (std::size_t i = 0; i < out.size(); ++i) {
        std::uint64_t bits = 0;
        for (std::size_t b = 0; b < wanted; ++b)
            bits |= std::uint64_t{bytes[i * wanted + b]} << (8 * b);
        out[i] = bitcast(Scalar{ScalarKind::ulong, bits}, to);
    }
    return true;
}

std::string faultText(Op op, Scalar left, Scalar right) {
    if ((op == Op::div || op == Op::rem) && right.bits == 0) return "division by zero";
    return outsideOf(decimal(exactly(op == Op::rem ? Op::div : op, wide(left), wide(right))), left.kind);
}

std::string conversionFaultText(Scalar value, ScalarKind to) {
    return outsideOf(describe(value), to);
}

std::string describe(Scalar value) {
    if (value.kind == ScalarKind::bool_) return value.isTrue() ? "true" : "false";
    return value.isInteger() ? decimal(wide(value)) : decimal(value.asDouble());
}

bool product(Operand left, Operand right, std::span<Scalar> result) {
    const std::size_t leftCount = left.parts.size();
    const std::size_t rightCount = right.parts.size();
    if (leftCount == 0 || rightCount == 0 || (left.columns <= 1 && right.columns <= 1)) return false;
    if (leftCount == 1 || rightCount == 1) { // a scalar times every component
        if (result.size() != std::max(leftCount, rightCount)) return false;
        for (std::size_t i = 0; i < result.size(); ++i)
            result[i] =
                compute(Op::mul, left.parts[leftCount == 1 ? 0 : i], right.parts[rightCount == 1 ? 0 : i]).value;
        return true;
    }
    // A vector before a matrix is one row, a vector after one is one column.
    const std::size_t inner = left.columns > 1 ? left.columns : leftCount;
    const std::size_t rows = leftCount / inner;
    const std::size_t columns = right.columns;
    if (rightCount != inner * columns || result.size() != rows * columns) return false;
    for (std::size_t column = 0; column < columns; ++column)
        for (std::size_t row = 0; row < rows; ++row) {
            Scalar sum;
            for (std::size_t i = 0; i < inner; ++i) {
                const Scalar one = compute(Op::mul, left.parts[i * rows + row], right.parts[column * inner + i]).value;
                sum = i == 0 ? one : compute(Op::add, sum, one).value;
            }
            result[column * rows + row] = sum;
        }
    return true;
}

} // namespace msl::constant
