// The functions of the library's table that take whole vectors, matrices or packed words: every kind, size and form,
// with random arguments, against calculations in double precision.
#include "GlassHobRender/tests/Kernels.h"
#include "conformance/library/TableKernels.h"
#include "conformance/library/Tolerances.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace glasshob {
namespace {

using namespace glasshob::testing;
using msl::BuiltinShape;
using msl::BuiltinSlot;
using msl::ScalarKind;

using Vector = std::vector<double>;

// A result, and for each component the greatest of the sums that lead to it: rounding errors are a few units of that.
struct Expected {
    Vector value;
    Vector scale;
};

double dotted(const Vector& a, const Vector& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        sum += a[i] * b[i];
    return sum;
}
double dottedSizes(const Vector& a, const Vector& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        sum += std::fabs(a[i] * b[i]);
    return sum;
}
Vector combined(const Vector& a, double s, const Vector& b, double t) {
    Vector out;
    for (std::size_t i = 0; i < a.size(); ++i)
        out.push_back(a[i] * s + b[i] * t);
    return out;
}
Vector sizes(Vector v) {
    for (double& x : v)
        x = std::fabs(x);
    return v;
}

Expected length(const Vector& v) {
    const double sum = std::sqrt(dotted(v, v));
    return {{sum}, {sum}};
}
Expected squared(const Vector& v) {
    return {{dotted(v, v)}, {dotted(v, v)}};
}

struct Row {
    const char* name;
    double units; // of the scale: what the formula's roundings add up to, square roots and divisions with theirs
    Expected (*reference)(const Vector& a, const Vector& b, const Vector& c, double s);
    bool needsUnitVectors = false;
};

const Row rows[] = {
    {"cross", 2,
     [](const Vector& a, const Vector& b, const Vector&, double) {
         Expected out;
         for (std::size_t i = 0; i < 3; ++i) {
             const std::size_t j = (i + 1) % 3;
             const std::size_t k = (i + 2) % 3;
             out.value.push_back(a[j] * b[k] - a[k] * b[j]);
             out.scale.push_back(std::fabs(a[j] * b[k]) + std::fabs(a[k] * b[j]));
         }
         return out;
     }},
    {"distance", 8,
     [](const Vector& a, const Vector& b, const Vector&, double) { return length(combined(a, 1, b, -1)); }},
    {"distance_squared", 6,
     [](const Vector& a, const Vector& b, const Vector&, double) { return squared(combined(a, 1, b, -1)); }},
    {"dot", 3,
     [](const Vector& a, const Vector& b, const Vector&, double) {
         return Expected{{dotted(a, b)}, {dottedSizes(a, b)}};
     }},
    {"faceforward", 0,
     [](const Vector& n, const Vector& i, const Vector& nref, double) {
         const double side = dotted(i, nref) < 0 ? 1 : -1;
         return Expected{combined(n, side, n, 0), Vector(n.size(), 0)};
     }},
    {"length", 8, [](const Vector& a, const Vector&, const Vector&, double) { return length(a); }},
    {"length_squared", 3, [](const Vector& a, const Vector&, const Vector&, double) { return squared(a); }},
    {"normalize", 8,
     [](const Vector& a, const Vector&, const Vector&, double) {
         const Vector out = combined(a, 1 / std::sqrt(dotted(a, a)), a, 0);
         return Expected{out, sizes(out)};
     }},
    {"reflect", 6,
     [](const Vector& i, const Vector& n, const Vector&, double) {
         Vector scale = combined(sizes(i), 1, sizes(n), 2 * dottedSizes(i, n));
         return Expected{combined(i, 1, n, -2 * dotted(n, i)), scale};
     }},
    {"refract", 24,
     [](const Vector& i, const Vector& n, const Vector&, double eta) {
         const double cosine = dotted(n, i);
         const double k = 1 - eta * eta * (1 - cosine * cosine);
         // Near total reflection the root is as steep as one likes; the direction there is the caller's business.
         if (std::fabs(k) < 0.05) return Expected{};
         if (k < 0) return Expected{Vector(i.size(), 0), Vector(i.size(), 0)};
         return Expected{combined(i, eta, n, -(eta * cosine + std::sqrt(k))), Vector(i.size(), 2 + eta)};
     },
     true},
};

TEST(GeometryTable, EveryFunctionIsWithinItsTolerance) {
    constexpr std::size_t count = 128;
    for (const msl::BuiltinFunction& function : msl::builtinFunctions()) {
        const msl::BuiltinSignature& signature = *function.signature;
        if (signature.shape != BuiltinShape::vector && signature.shape != BuiltinShape::vector3) continue;
        const auto* row = std::ranges::find_if(rows, [&](const Row& r) { return r.name == function.name; });
        if (row == std::end(rows)) {
            ADD_FAILURE() << "no reference for " << function.name;
            continue;
        }
        for (const ScalarKind kind : {ScalarKind::float_, ScalarKind::half, ScalarKind::bfloat})
            for (unsigned size = signature.shape == BuiltinShape::vector3 ? 3 : 2;
                 size <= (signature.shape == BuiltinShape::vector3 ? 3U : 4U); ++size)
                for (const std::string precision : {"", "fast::", "precise::"}) {
                    if (!precision.empty() && !function.hasPrecisions) continue;
                    const std::string type = shapeName(kind, size);
                    const bool isVector = signature.result == BuiltinSlot::t;
                    const unsigned width = isVector ? size : 1;
                    std::mt19937 random(size * 31U + unsigned(row->name[0]));
                    std::uniform_real_distribution<double> any(-4, 4);
                    std::vector<Column> columns(4);
                    for (std::size_t i = 0; i < count; ++i)
                        for (std::size_t a = 0; a < 4; ++a) {
                            Vector v;
                            for (unsigned c = 0; c < size; ++c)
                                v.push_back(any(random));
                            if (i % 8 == 0) v[i / 8 % size] = 0;
                            if (row->needsUnitVectors) v = combined(v, 1 / std::sqrt(dotted(v, v)), v, 0);
                            if (a == 3) v[0] = 0.3 + std::fabs(v[0]) / 4;
                            for (const double x : v)
                                columns[a].push_back({roundedTo(kind, x), 0});
                        }
                    std::string text = "#include <metal_stdlib>\nusing namespace metal;\nkernel void check(";
                    for (const char* name : {"a", "b", "c", "s"})
                        text += "device const " + kindName(kind) + "* " + name + "s [[buffer(" +
                                std::to_string(std::string("abcs").find(name)) + ")]], ";
                    text += "device " + kindName(kind) +
                            "* out [[buffer(4)]], uint i [[thread_position_in_grid]]) {\n" +
                            "if (i >= " + std::to_string(count) + ") return;\n" + type + " v[3];\n" +
                            "for (uint k = 0; k < " + std::to_string(size) + "; k++) { uint at = i * " +
                            std::to_string(size) + " + k; v[0][k] = as[at]; v[1][k] = bs[at]; v[2][k] = cs[at]; }\n" +
                            kindName(kind) + " s = ss[i * " + std::to_string(size) +
                            "];\nauto r = metal::" + precision + row->name + "(";
                    for (unsigned a = 0; a < signature.parameterCount; ++a) {
                        const bool isScalar = signature.parameters[a] == BuiltinSlot::elementOfT;
                        text += (a > 0 ? ", " : "") + (isScalar ? std::string("s") : "v[" + std::to_string(a) + "]");
                    }
                    text += ");\n";
                    for (unsigned c = 0; c < width; ++c)
                        text += "out[i * " + std::to_string(width) + " + " + std::to_string(c) + "] = r" +
                                (isVector ? std::string(".") + "xyzw"[c] : std::string()) + ";\n";
                    std::vector<std::vector<std::byte>> buffers;
                    for (const Column& column : columns)
                        buffers.push_back(encoded(kind, column));
                    buffers.emplace_back(count * width * msl::byteSize(kind));
                    ASSERT_TRUE(runKernel(text + "}\n", buffers, count)) << text;
                    const Column got = decoded(kind, buffers[4]);
                    int failures = 0;
                    for (std::size_t i = 0; i < count && failures < 2; ++i) {
                        Vector v[3];
                        for (std::size_t a = 0; a < 3; ++a)
                            for (unsigned c = 0; c < size; ++c)
                                v[a].push_back(columns[a][i * size + c].real);
                        const Expected expected = row->reference(v[0], v[1], v[2], columns[3][i * size].real);
                        for (std::size_t c = 0; c < expected.value.size(); ++c) {
                            const double allowed = row->units * ulpOf(kind, expected.scale[c]);
                            const double value = got[i * width + c].real;
                            if (std::fabs(value - expected.value[c]) <= allowed) continue;
                            ++failures;
                            ADD_FAILURE()
                                << precision << row->name << "(" << type << ") row " << i << " component " << c
                                << ": got " << value << ", expected " << expected.value[c] << " within " << allowed;
                        }
                    }
                }
    }
}

double determinantOf(const std::vector<Vector>& columns) {
    const std::size_t n = columns.size();
    if (n == 1) return columns[0][0];
    double sum = 0;
    for (std::size_t c = 0; c < n; ++c) {
        std::vector<Vector> rest;
        for (std::size_t k = 0; k < n; ++k)
            if (k != c) rest.emplace_back(columns[k].begin() + 1, columns[k].end());
        sum += (c % 2 == 0 ? 1 : -1) * columns[c][0] * determinantOf(rest);
    }
    return sum;
}

TEST(GeometryTable, MatricesOfEverySize) {
    constexpr std::size_t count = 32;
    for (const ScalarKind kind : {ScalarKind::float_, ScalarKind::half})
        for (unsigned columns = 2; columns <= 4; ++columns)
            for (unsigned rowCount = 2; rowCount <= 4; ++rowCount) {
                const std::string type = kindName(kind) + std::to_string(columns) + "x" + std::to_string(rowCount);
                const unsigned cells = columns * rowCount;
                std::mt19937 random(cells);
                Column given;
                for (std::size_t i = 0; i < count * cells; ++i)
                    given.push_back({roundedTo(kind, double(random() % 4000) / 1000 - 2), 0});
                const bool isSquare = columns == rowCount;
                const std::string n = std::to_string(cells);
                const std::string c = std::to_string(columns);
                const std::string r = std::to_string(rowCount);
                const std::string text =
                    "#include <metal_stdlib>\nusing namespace metal;\nkernel void check(device const " +
                    kindName(kind) + "* in [[buffer(0)]], device " + kindName(kind) +
                    "* out [[buffer(1)]], uint i [[thread_position_in_grid]]) {\nif (i >= 32) return;\n" + type +
                    " m;\nfor (uint c = 0; c < " + c + "; c++) for (uint r = 0; r < " + r + "; r++) m[c][r] = in[i * " +
                    n + " + c * " + r + " + r];\n" + "auto t = transpose(m);\nfor (uint c = 0; c < " + c +
                    "; c++) for (uint r = 0; r < " + r + "; r++) out[i * (" + n + " + 1) + r * " + c +
                    " + c] = t[r][c];\n" + "out[i * (" + n + " + 1) + " + n +
                    "] = " + (isSquare ? "determinant(m)" : "0") + ";\n}\n";
                std::vector<std::vector<std::byte>> buffers = {
                    encoded(kind, given), std::vector<std::byte>(count * (cells + 1) * msl::byteSize(kind))};
                ASSERT_TRUE(runKernel(text, buffers, count)) << text;
                const Column got = decoded(kind, buffers[1]);
                for (std::size_t i = 0; i < count; ++i) {
                    std::vector<Vector> m(columns);
                    for (unsigned k = 0; k < columns; ++k)
                        for (unsigned l = 0; l < rowCount; ++l) {
                            m[k].push_back(given[i * cells + k * rowCount + l].real);
                            EXPECT_EQ(got[i * (cells + 1) + l * columns + k].real, m[k][l]) << "transpose of " << type;
                        }
                    if (!isSquare) continue;
                    const double value = got[i * (cells + 1) + cells].real;
                    // The products are of at most 2 a factor, 24 of them.
                    const double unit = kind == ScalarKind::half ? 0x1p-10 : 0x1p-23;
                    EXPECT_NEAR(value, determinantOf(m), unit * std::pow(2, columns) * 6) << "determinant of " << type;
                }
            }
}

// How a packed word is put together: the bits of each component from the lowest on.
struct Format {
    const char* name; // as the functions spell it
    std::vector<unsigned> bits;
    bool isSigned = false;
    bool isCurved = false; // sRGB but for the last component
};

const Format formats[] = {{"unorm4x8", {8, 8, 8, 8}},
                          {"snorm4x8", {8, 8, 8, 8}, true},
                          {"unorm2x16", {16, 16}},
                          {"snorm2x16", {16, 16}, true},
                          {"unorm10a2", {10, 10, 10, 2}},
                          {"unorm565", {5, 6, 5}},
                          {"srgb_unorm4x8", {8, 8, 8, 8}, false, true},
                          {"unorm4x8_srgb", {8, 8, 8, 8}, false, true}};

double toCurve(double linear) {
    return linear <= 0.0031308 ? linear * 12.92 : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}
double fromCurve(double encoded) {
    return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
}

TEST(PackingTable, EveryFormatBothWays) {
    constexpr std::size_t count = 256;
    constexpr std::size_t foldedCount = 12;
    std::size_t done = 0;
    std::size_t expectedCount = 0;
    for (const msl::BuiltinFunction& function : msl::builtinFunctions()) {
        const std::string name(function.name);
        const bool packs = name.starts_with("pack_");
        if (!packs && !name.starts_with("unpack_")) continue;
        ++expectedCount;
        const ScalarKind kind = name.find("half") != std::string::npos ? ScalarKind::half : ScalarKind::float_;
        const std::string inner = packs ? name.substr(name.find("_to_") + 4) : name.substr(7, name.find("_to_") - 7);
        const auto* format = std::ranges::find_if(formats, [&](const Format& f) { return inner == f.name; });
        ASSERT_NE(format, std::end(formats)) << name;
        const std::size_t parts = format->bits.size();
        const std::string vector = shapeName(kind, unsigned(parts));
        const std::string word = inner == "unorm565" ? "ushort" : "uint";
        std::mt19937 random(unsigned(inner[0]) + unsigned(parts));
        Column numbers;
        std::vector<std::uint32_t> words;
        for (std::size_t i = 0; i < count; ++i) {
            for (std::size_t c = 0; c < parts; ++c) {
                double value = double(random() % 100'000) / 40'000 - 1.25; // some beyond the range, either way
                if (i % 16 == 0) value = double(int(random() % 5) - 2) / 2;
                numbers.push_back({roundedTo(kind, value), 0});
            }
            const std::uint32_t pick = i == 0 ? 0 : i == 1 ? ~0U : i == 2 ? 0x80808080U : std::uint32_t(random());
            words.push_back(word == "ushort" ? pick & 0xFFFFU : pick);
        }
        std::string load = vector + " v;\n";
        std::string store;
        for (std::size_t c = 0; c < parts; ++c) {
            const std::string at = "numbers[i * " + std::to_string(parts) + " + " + std::to_string(c) + "]";
            load += "v[" + std::to_string(c) + "] = " + at + ";\n";
            store += at + " = v[" + std::to_string(c) + "];\n";
        }
        // The first rows again, worked out while compiling.
        std::string folded;
        for (std::size_t n = 0; n < foldedCount; ++n) {
            const std::string row = std::to_string(count + n);
            folded += "{ constexpr " + (packs ? word : vector) + " v = " + name + "(";
            if (packs) {
                folded += vector + "(";
                for (std::size_t c = 0; c < parts; ++c)
                    folded += (c > 0 ? ", " : "") + literal(kind, numbers[n * parts + c]);
                folded += ")); words[" + row + "] = v; }\n";
            } else {
                folded += word + "(" + std::to_string(words[n]) + "u));";
                for (std::size_t c = 0; c < parts; ++c)
                    folded += " numbers[" + row + " * " + std::to_string(parts) + " + " + std::to_string(c) + "] = v[" +
                              std::to_string(c) + "];";
                folded += " }\n";
            }
        }
        const std::string text = "#include <metal_stdlib>\nusing namespace metal;\nkernel void check(device " +
                                 kindName(kind) +
                                 "* numbers [[buffer(0)]], device uint* words [[buffer(1)]], uint i "
                                 "[[thread_position_in_grid]]) {\nif (i >= 256) return;\nif (i == 0) {\n" +
                                 folded + "}\n" +
                                 (packs ? load + "words[i] = " + name + "(v);\n"
                                        : vector + " v = " + name + "(" + word + "(words[i]));\n" + store) +
                                 "}\n";
        numbers.resize(numbers.size() + foldedCount * parts);
        words.resize(words.size() + foldedCount);
        for (std::size_t n = 0; n < foldedCount; ++n) {
            std::copy_n(numbers.begin() + std::ptrdiff_t(n * parts), parts,
                        numbers.begin() + std::ptrdiff_t((count + n) * parts));
            words[count + n] = words[n];
        }
        std::vector<std::vector<std::byte>> buffers = {encoded(kind, numbers), bytesOf(words)};
        if (packs) std::ranges::fill(buffers[1], std::byte{0x55});
        ASSERT_TRUE(runKernel(text, buffers, count)) << text;
        const Column gotNumbers = decoded(kind, buffers[0]);
        const auto gotWords = valuesOf<std::uint32_t>(buffers[1]);
        int failures = 0;
        for (std::size_t i = 0; i < count + foldedCount && failures < 3; ++i) {
            unsigned shift = 0;
            for (std::size_t c = 0; c < parts; ++c) {
                const unsigned bits = format->bits[c];
                const std::uint32_t raw = gotWords[i] >> shift & ((1U << bits) - 1);
                shift += bits;
                const double most = double((1U << (format->isSigned ? bits - 1 : bits)) - 1);
                const double code =
                    format->isSigned && (raw >> (bits - 1)) != 0 ? double(raw) - double(1U << bits) : raw;
                const bool isCurved = format->isCurved && c < 3;
                bool isRight;
                double expected;
                double got;
                if (packs) {
                    double value = std::clamp(numbers[i * parts + c].real, format->isSigned ? -1.0 : 0.0, 1.0);
                    if (isCurved) value = toCurve(value);
                    expected = value * most;
                    got = code;
                    // Rounded to nearest: half a step, and what the multiplication or the curve is off by.
                    isRight = std::fabs(got - expected) <= 0.5 + most * (isCurved ? 2e-5 : 2e-7);
                } else {
                    expected = std::max(code / most, -1.0);
                    if (isCurved) expected = fromCurve(expected);
                    got = gotNumbers[i * parts + c].real;
                    isRight = std::fabs(got - expected) <=
                              (kind == ScalarKind::half ? ulpOf(expected, 11, -13) : 4 * ulpOf(expected)) +
                                  (isCurved ? 2e-5 : 0);
                }
                if (isRight) continue;
                ++failures;
                ADD_FAILURE() << name << " row " << i << " component " << c << ": got " << got << ", expected "
                              << expected;
            }
            if (packs && shift < 32 && gotWords[i] >> shift != 0) ADD_FAILURE() << name << " leaves bits above";
        }
        ++done;
    }
    EXPECT_EQ(done, expectedCount);
    EXPECT_EQ(done, 28U) << "the table has changed: see that every format is here";
}

} // namespace
} // namespace glasshob
