// Functions of whole vectors and matrices: sums run from the first component to the last. Those of half and bfloat
// compute in float and round at the end.
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/constant/Families.h"

#include <algorithm>
#include <cmath>

namespace msl::constant {

namespace {

constexpr std::size_t maxParts = 16; // of a 4x4 matrix

// The operand's numbers as floats.
struct Floats {
    float at[maxParts] = {};
    std::size_t count = 0;

    explicit Floats(Operand operand) : count(std::min(operand.parts.size(), maxParts)) {
        for (std::size_t i = 0; i < count; ++i)
            at[i] = operand.parts[i].asFloat();
    }
    explicit Floats(std::size_t size) : count(size) {}
    float operator[](std::size_t i) const { return at[i]; }
    float& operator[](std::size_t i) { return at[i]; }
};

float dot(const Floats& a, const Floats& b) {
    float sum = a[0] * b[0];
    for (std::size_t i = 1; i < a.count; ++i) {
        const float one = a[i] * b[i];
        sum = sum + one;
    }
    return sum;
}

Floats difference(const Floats& a, const Floats& b) {
    Floats made(a.count);
    for (std::size_t i = 0; i < a.count; ++i)
        made[i] = a[i] - b[i];
    return made;
}

// a - b * scale, each step rounded.
Floats reduced(const Floats& a, const Floats& b, float scale) {
    Floats made(a.count);
    for (std::size_t i = 0; i < a.count; ++i) {
        const float part = b[i] * scale;
        made[i] = a[i] - part;
    }
    return made;
}

Floats cross(const Floats& a, const Floats& b) {
    Floats made(3);
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        const std::size_t k = (i + 2) % 3;
        const float first = a[j] * b[k];
        const float second = a[k] * b[j];
        made[i] = first - second;
    }
    return made;
}

Floats refract(const Floats& i, const Floats& n, float eta) {
    const float cosine = dot(n, i);
    const float rest = 1.0F - cosine * cosine;
    const float k = 1.0F - eta * eta * rest;
    Floats made(i.count);
    if (k < 0) return made;
    const float along = eta * cosine;
    const float scale = along + std::sqrt(k);
    for (std::size_t c = 0; c < i.count; ++c) {
        const float incident = eta * i[c];
        const float normal = scale * n[c];
        made[c] = incident - normal;
    }
    return made;
}

// By the first column, of a square matrix column by column. In double: the order of a device's steps is not known.
double determinant(const double* m, std::size_t size) {
    if (size == 1) return m[0];
    double sum = 0;
    for (std::size_t row = 0; row < size; ++row) {
        double minor[9] = {};
        std::size_t at = 0;
        for (std::size_t c = 1; c < size; ++c)
            for (std::size_t r = 0; r < size; ++r)
                if (r != row) minor[at++] = m[c * size + r];
        sum += (row % 2 == 0 ? 1 : -1) * m[row] * determinant(minor, size - 1);
    }
    return sum;
}

bool fill(std::span<Scalar> result, ScalarKind kind, const Floats& from) {
    if (result.size() != from.count) return false;
    for (std::size_t i = 0; i < result.size(); ++i)
        result[i] = Scalar::floating(kind, static_cast<double>(from[i]));
    return true;
}

bool ofFloats(BuiltinId id, std::span<const Operand> x, std::span<Scalar> result) {
    const ScalarKind kind = x[0].parts[0].kind;
    const auto scalar = [&](double value) {
        if (result.size() == 1) result[0] = Scalar::floating(kind, value);
        return result.size() == 1;
    };
    const auto roundedScalar = [&](float value) { return scalar(static_cast<double>(value)); };
    const Floats a(x[0]);
    const Floats b(x[x.size() > 1 ? 1 : 0]);
    if (id != BuiltinId::determinant && a.count != b.count) return false;
    switch (id) {
    case BuiltinId::dot:
    case BuiltinId::lengthSquared: return roundedScalar(dot(a, b));
    case BuiltinId::length: return roundedScalar(std::sqrt(dot(a, a)));
    case BuiltinId::distanceSquared:
    case BuiltinId::distance: {
        const Floats between = difference(a, b);
        const float sum = dot(between, between);
        return roundedScalar(id == BuiltinId::distance ? std::sqrt(sum) : sum);
    }
    case BuiltinId::normalize: {
        double sum = 0;
        for (std::size_t i = 0; i < a.count; ++i)
            sum += static_cast<double>(a[i]) * static_cast<double>(a[i]);
        if (sum == 0 || !std::isfinite(sum) || result.size() != a.count) return false;
        for (std::size_t i = 0; i < a.count; ++i)
            result[i] = Scalar::floating(kind, static_cast<double>(a[i]) / std::sqrt(sum));
        return true;
    }
    case BuiltinId::cross: return a.count == 3 && fill(result, kind, cross(a, b));
    case BuiltinId::reflect: return fill(result, kind, reduced(a, b, 2.0F * dot(b, a)));
    case BuiltinId::refract: return x.size() == 3 && fill(result, kind, refract(a, b, x[2].parts[0].asFloat()));
    case BuiltinId::faceforward: { // n, i, nref
        if (x.size() != 3 || x[2].parts.size() != a.count) return false;
        Floats made = a;
        if (!(dot(Floats(x[2]), b) < 0))
            for (std::size_t i = 0; i < made.count; ++i)
                made[i] = -made[i];
        return fill(result, kind, made);
    }
    case BuiltinId::determinant: {
        double parts[maxParts] = {};
        for (std::size_t i = 0; i < a.count; ++i)
            parts[i] = static_cast<double>(a[i]);
        return std::size_t{x[0].columns} * x[0].columns == a.count && scalar(determinant(parts, x[0].columns));
    }
    default: return false;
    }
}

// Sums of products, which wrap.
bool dotOfIntegers(std::span<const Operand> x, std::span<Scalar> result) {
    if (x.size() != 2 || x[0].parts.size() != x[1].parts.size() || result.size() != 1) return false;
    Scalar sum = Scalar::zero(x[0].parts[0].kind);
    for (std::size_t i = 0; i < x[0].parts.size(); ++i)
        sum = compute(Op::add, sum, compute(Op::mul, x[0].parts[i], x[1].parts[i]).value).value;
    result[0] = sum;
    return true;
}

} // namespace

bool isVectorFunction(BuiltinId id) {
    return id == BuiltinId::all || id == BuiltinId::any || builtinFamily(id) == BuiltinFamily::geometric;
}

bool vectorFunction(BuiltinId id, std::span<const Operand> x, std::span<Scalar> result) {
    if (x.empty() || x[0].parts.size() > maxParts) return false;
    const std::span<const Scalar> first = x[0].parts;
    switch (id) {
    case BuiltinId::all:
    case BuiltinId::any:
        if (result.size() != 1) return false;
        result[0] = Scalar::boolean(id == BuiltinId::all ? std::ranges::all_of(first, &Scalar::isTrue)
                                                         : std::ranges::any_of(first, &Scalar::isTrue));
        return true;
    case BuiltinId::transpose: {
        const std::size_t columns = x[0].columns;
        const std::size_t rows = first.size() / columns;
        if (result.size() != first.size()) return false;
        for (std::size_t i = 0; i < first.size(); ++i)
            result[i % rows * columns + i / rows] = first[i];
        return true;
    }
    default: return first[0].isInteger() ? id == BuiltinId::dot && dotOfIntegers(x, result) : ofFloats(id, x, result);
    }
}

} // namespace msl::constant
