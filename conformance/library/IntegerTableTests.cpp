// The functions of the library's table on integers and bools, exactly, for every kind, shape and with constants for
// arguments; and the integer operators on every kind, which promote as scalars and wrap as vectors.
#include "GlassHobRender/tests/Kernels.h"
#include "conformance/library/TableKernels.h"

#include <algorithm>
#include <bit>
#include <random>

namespace glasshob {
namespace {

using namespace glasshob::testing;
using msl::BuiltinClass;
using msl::ScalarKind;

struct Given {
    Wide x, y, z, w;
    ScalarKind kind;

    unsigned bits() const { return bitsOf(kind); }
    // x as it lies in memory, without a sign.
    std::uint64_t pattern() const { return std::uint64_t(x) & patternOfOnes(); }
    std::uint64_t patternOfOnes() const { return bits() == 64 ? ~0ULL : (1ULL << bits()) - 1; }
};

Wide cut(const Given& g, Wide value) {
    return std::clamp(value, leastOf(g.kind), mostOf(g.kind));
}
Wide middle(Wide x, Wide y, Wide z) {
    return std::max(std::min(x, y), std::min(std::max(x, y), z));
}
Wide highHalf(const Given& g) {
    if (g.kind == ScalarKind::ulong) return Wide(UnsignedWide(g.x) * UnsignedWide(g.y) >> 64);
    return (g.x * g.y) >> g.bits();
}
Wide saturatedSum(const Given& g) {
    if (g.kind != ScalarKind::ulong) return cut(g, g.x * g.y + g.z);
    const UnsignedWide product = UnsignedWide(g.x) * UnsignedWide(g.y);
    const UnsignedWide sum = product + UnsignedWide(g.z);
    return sum < product || sum > ~0ULL ? Wide(~0ULL) : Wide(sum);
}
Wide reversed(const Given& g) {
    std::uint64_t out = 0;
    for (unsigned bit = 0; bit < g.bits(); ++bit)
        out |= (g.pattern() >> bit & 1) << (g.bits() - 1 - bit);
    return Wide(out);
}
Wide rotated(const Given& g) {
    const unsigned by = unsigned(g.y) % g.bits();
    return by == 0 ? g.x : Wide((g.pattern() << by | g.pattern() >> (g.bits() - by)) & g.patternOfOnes());
}
Wide field(const Given& g) {
    const auto offset = unsigned(g.y);
    const auto bits = unsigned(g.z);
    if (bits == 0) return 0;
    Wide value = Wide(g.pattern() >> offset) & ((Wide(1) << bits) - 1);
    if (msl::isSigned(g.kind) && (value >> (bits - 1) & 1) != 0) value -= Wide(1) << bits;
    return value;
}
Wide inserted(const Given& g) {
    const Wide mask = ((Wide(1) << unsigned(g.w)) - 1) << unsigned(g.z);
    return (Wide(g.pattern()) & ~mask) | ((g.y << unsigned(g.z)) & mask);
}

struct Row {
    const char* name;
    Wide (*reference)(const Given&);
};

const Row rows[] = {
    {"abs", [](const Given& g) { return g.x < 0 ? -g.x : g.x; }},
    {"absdiff", [](const Given& g) { return g.x > g.y ? g.x - g.y : g.y - g.x; }},
    {"addsat", [](const Given& g) { return cut(g, g.x + g.y); }},
    {"clamp", [](const Given& g) { return std::min(std::max(g.x, g.y), g.z); }},
    {"clz", [](const Given& g) { return Wide(std::countl_zero(g.pattern())) - 64 + Wide(g.bits()); }},
    {"ctz", [](const Given& g) { return g.x == 0 ? Wide(g.bits()) : Wide(std::countr_zero(g.pattern())); }},
    {"extract_bits", field},
    {"hadd", [](const Given& g) { return (g.x + g.y) >> 1; }},
    {"insert_bits", inserted},
    {"mad24", [](const Given& g) { return g.x * g.y + g.z; }},
    {"madhi", [](const Given& g) { return highHalf(g) + g.z; }},
    {"madsat", saturatedSum},
    {"max", [](const Given& g) { return std::max(g.x, g.y); }},
    {"max3", [](const Given& g) { return std::max({g.x, g.y, g.z}); }},
    {"median3", [](const Given& g) { return middle(g.x, g.y, g.z); }},
    {"min", [](const Given& g) { return std::min(g.x, g.y); }},
    {"min3", [](const Given& g) { return std::min({g.x, g.y, g.z}); }},
    {"mul24", [](const Given& g) { return g.x * g.y; }},
    {"mulhi", highHalf},
    {"popcount", [](const Given& g) { return Wide(std::popcount(g.pattern())); }},
    {"reverse_bits", reversed},
    {"rhadd", [](const Given& g) { return (g.x + g.y + 1) >> 1; }},
    {"rotate", rotated},
    {"select", [](const Given& g) { return g.z != 0 ? g.y : g.x; }},
    {"subsat", [](const Given& g) { return cut(g, g.x - g.y); }},
};

// Corners of the kind in every combination of two, then numbers of every length.
std::vector<Column> argumentsFor(ScalarKind kind, std::size_t count, unsigned seed) {
    const Wide corners[] = {0,
                            1,
                            2,
                            3,
                            7,
                            -1,
                            -2,
                            leastOf(kind),
                            leastOf(kind) + 1,
                            mostOf(kind),
                            mostOf(kind) - 1,
                            mostOf(kind) / 2,
                            mostOf(kind) / 2 + 1};
    constexpr std::size_t n = std::size(corners);
    std::mt19937_64 random(seed);
    std::vector<Column> columns(4);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t a = 0; a < columns.size(); ++a) {
            const std::size_t pick = a == 0 ? i / n : a == 1 ? i % n : (i * 5 + i / n) % n;
            const Wide value = i < n * n ? corners[pick] : Wide(std::int64_t(random())) >> (random() % 64);
            columns[a].push_back({0, wrapped(kind, value)});
        }
    return columns;
}

// What a function asks of its arguments.
void tame(std::string_view name, ScalarKind kind, std::vector<Column>& columns) {
    const Wide bits = bitsOf(kind);
    for (std::size_t i = 0; i < columns[0].size(); ++i) {
        Wide* cells[4] = {&columns[0][i].whole, &columns[1][i].whole, &columns[2][i].whole, &columns[3][i].whole};
        if (name.ends_with("24")) // the lowest 24 bits, with their sign
            for (Wide* cell : {cells[0], cells[1]})
                *cell = msl::isSigned(kind) ? Wide(std::int32_t(std::uint32_t(*cell) << 8) >> 8) : *cell & 0xFFFFFF;
        if (name == "clamp" && *cells[1] > *cells[2]) std::swap(*cells[1], *cells[2]);
        if (name == "select") *cells[2] = *cells[2] & 1;
        // The field of a vector's every component is that of its first one, so it changes with blocks of rows only.
        const auto block = Wide(i / 4);
        if (name == "extract_bits") {
            *cells[1] = block * 3 % (bits + 1);
            *cells[2] = block * 5 % (bits - *cells[1] + 1);
        }
        if (name == "insert_bits") {
            *cells[2] = block * 3 % (bits + 1);
            *cells[3] = block * 5 % (bits - *cells[2] + 1);
        }
    }
}

void check(const Row& row, const msl::BuiltinFunction& function, ScalarKind kind) {
    constexpr std::size_t count = 240;
    const msl::BuiltinSignature& signature = *function.signature;
    std::vector<Column> columns = argumentsFor(kind, count, 11);
    tame(row.name, kind, columns);
    const ScalarKind result = slotKind(signature.result, kind);
    const bool hasFields = std::string_view(row.name).ends_with("_bits") && signature.parameterCount > 1;
    for (const TableForm& form : runTable({.function = &function, .kind = kind, .arguments = columns, .literals = 8})) {
        int failures = 0;
        for (std::size_t i = 0; i < form.first.size() && failures < 2; ++i) {
            const std::size_t at = (i / form.shape + i % form.shape) % count;
            const std::size_t own = hasFields ? i / form.shape : at; // scalar arguments are the row's own
            const bool inserts = row.reference == inserted;
            const Given given = {columns[0][at].whole, columns[1][inserts ? at : own].whole, columns[2][own].whole,
                                 columns[3][own].whole, kind};
            const Wide expected = wrapped(result, row.reference(given));
            if (form.first[i].whole == expected) continue;
            ++failures;
            ADD_FAILURE() << form.text << " of " << std::int64_t(given.x) << ", " << std::int64_t(given.y) << ", "
                          << std::int64_t(given.z) << ", " << std::int64_t(given.w) << ": got "
                          << std::int64_t(form.first[i].whole) << ", expected " << std::int64_t(expected);
        }
    }
}

class IntegerTable : public ::testing::TestWithParam<ScalarKind> {};

TEST_P(IntegerTable, EveryFunctionIsExact) {
    const ScalarKind kind = GetParam();
    for (const msl::BuiltinFunction& function : msl::builtinFunctions()) {
        const BuiltinClass typeClass = function.signature->typeClass;
        const bool isOurs = typeClass == BuiltinClass::arithmetic || typeClass == BuiltinClass::integer ||
                            typeClass == BuiltinClass::integer32 || typeClass == BuiltinClass::any;
        if (!isOurs || !msl::admitsKind(typeClass, kind) || function.name.starts_with("simd_") ||
            function.name.starts_with("quad_"))
            continue;
        const auto* row = std::ranges::find_if(rows, [&](const Row& r) { return r.name == function.name; });
        if (row == std::end(rows))
            ADD_FAILURE() << "no reference for " << function.name;
        else
            check(*row, function, kind);
    }
}

// An operator as C++ has it: scalars smaller than int become int first, a vector's elements stay what they are. Shift
// counts are taken modulo the width, a division by zero is not asked for.
struct Operator {
    const char* text; // of x and y
    Wide (*reference)(Wide x, Wide y, unsigned bits);
    bool divides = false;
    bool compares = false;
};

const Operator operators[] = {
    {"x + y", [](Wide x, Wide y, unsigned) { return x + y; }},
    {"x - y", [](Wide x, Wide y, unsigned) { return x - y; }},
    {"x * y", [](Wide x, Wide y, unsigned) { return Wide(UnsignedWide(x) * UnsignedWide(y)); }},
    {"x / y", [](Wide x, Wide y, unsigned) { return x / y; }, true},
    {"x % y", [](Wide x, Wide y, unsigned) { return x % y; }, true},
    {"x & y", [](Wide x, Wide y, unsigned) { return x & y; }},
    {"x | y", [](Wide x, Wide y, unsigned) { return x | y; }},
    {"x ^ y", [](Wide x, Wide y, unsigned) { return x ^ y; }},
    {"x << y", [](Wide x, Wide y, unsigned bits) { return Wide(UnsignedWide(x) << (unsigned(y) % bits)); }},
    {"x >> y", [](Wide x, Wide y, unsigned bits) { return x >> (unsigned(y) % bits); }},
    {"-x", [](Wide x, Wide, unsigned) { return -x; }},
    {"~x", [](Wide x, Wide, unsigned) { return ~x; }},
    {"x < y", [](Wide x, Wide y, unsigned) { return Wide(x < y); }, false, true},
    {"x <= y", [](Wide x, Wide y, unsigned) { return Wide(x <= y); }, false, true},
    {"x == y", [](Wide x, Wide y, unsigned) { return Wide(x == y); }, false, true},
    {"x != y", [](Wide x, Wide y, unsigned) { return Wide(x != y); }, false, true},
};

TEST_P(IntegerTable, OperatorsAreExact) {
    constexpr std::size_t count = 300;
    const ScalarKind kind = GetParam();
    const ScalarKind promoted = bitsOf(kind) < 32 ? ScalarKind::int_ : kind;
    const std::vector<Column> columns = argumentsFor(kind, count, 12);
    constexpr std::size_t width = 5; // a scalar, a vector of four
    const std::string name = kindName(kind);
    std::string text = "#include <metal_stdlib>\nusing namespace metal;\nkernel void check(device const " + name +
                       "* xs [[buffer(0)]], device const " + name +
                       "* ys [[buffer(1)]], device long* out [[buffer(2)]], uint i [[thread_position_in_grid]]) {\n"
                       "if (i >= " +
                       std::to_string(count) + ") return;\n" + name + " a = xs[i], b = ys[i];\n" + name +
                       "4 va = " + name + "4(3, a, a, 1), vb = " + name + "4(2, b, 5, b);\n";
    std::size_t number = 0;
    for (const Operator& one : operators) {
        const std::string base = std::to_string(number * count * width) + " + i * " + std::to_string(width);
        // `auto` keeps what the operator gave; a division's right side is never zero.
        const std::string guard = one.divides ? "if (y == 0) y = 1; " : "";
        text += "{ " + name + " x = a, y = b; " + guard + "auto r = " + one.text + "; out[" + base + "] = long(r); }\n";
        const std::string vectorGuard = one.divides ? "y = select(y, " + name + "4(1), y == " + name + "4(0)); " : "";
        text += "{ " + name + "4 x = va, y = vb; " + vectorGuard + "auto r = " + one.text + ";";
        for (std::size_t c = 0; c < 4; ++c)
            text += " out[" + base + " + " + std::to_string(c + 1) + "] = long(r." + "xyzw"[c] + ");";
        text += " }\n";
        ++number;
    }
    std::vector<std::vector<std::byte>> buffers = {encoded(kind, columns[0]), encoded(kind, columns[1]),
                                                   bytesOf(std::vector<std::int64_t>(number * count * width))};
    ASSERT_TRUE(runKernel(text + "}\n", buffers, count));
    const auto got = valuesOf<std::int64_t>(buffers[2]);
    for (std::size_t n = 0; n < number; ++n) {
        int failures = 0;
        for (std::size_t i = 0; i < count && failures < 2; ++i) {
            const Wide a = columns[0][i].whole;
            const Wide b = columns[1][i].whole;
            const Wide lefts[width] = {a, 3, a, a, 1};
            const Wide rights[width] = {b, 2, b, 5, b};
            for (std::size_t c = 0; c < width; ++c) {
                const ScalarKind in = c == 0 ? promoted : kind;
                const Wide right = operators[n].divides && rights[c] == 0 ? Wide(1) : rights[c];
                Wide expected = operators[n].reference(lefts[c], right, bitsOf(in));
                if (!operators[n].compares) expected = wrapped(in, expected);
                const Wide value = got[(n * count + i) * width + c];
                if (std::int64_t(value) == std::int64_t(expected)) continue;
                ++failures;
                ADD_FAILURE() << operators[n].text << (c == 0 ? " of two " : " inside vectors of ") << name << ", "
                              << std::int64_t(lefts[c]) << " and " << std::int64_t(right) << ": got "
                              << std::int64_t(value) << ", expected " << std::int64_t(expected);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, IntegerTable,
                         ::testing::Values(ScalarKind::char_, ScalarKind::uchar, ScalarKind::short_, ScalarKind::ushort,
                                           ScalarKind::int_, ScalarKind::uint, ScalarKind::long_, ScalarKind::ulong),
                         [](const auto& info) { return kindName(info.param); });

TEST(BoolTable, EveryFunctionIsExact) {
    std::vector<Column> columns(3);
    for (unsigned i = 0; i < 64; ++i)
        for (unsigned a = 0; a < 3; ++a)
            columns[a].push_back({0, Wide((i * 2654435761U >> (7 + a * 5)) & 1)});
    for (const msl::BuiltinFunction& function : msl::builtinFunctions()) {
        const BuiltinClass typeClass = function.signature->typeClass;
        if (typeClass != BuiltinClass::boolean && typeClass != BuiltinClass::any) continue;
        for (const TableForm& form :
             runTable({.function = &function, .kind = ScalarKind::bool_, .arguments = columns, .literals = 8}))
            for (std::size_t i = 0; i < form.first.size(); ++i) {
                const bool reduces = function.name == "all" || function.name == "any";
                const std::size_t first = reduces ? i : i / form.shape + i % form.shape;
                std::vector<bool> xs;
                for (std::size_t c = 0; c < (reduces ? form.shape : 1); ++c)
                    xs.push_back(columns[0][(first + c) % 64].whole != 0);
                bool expected = false;
                if (function.name == "all")
                    expected = std::ranges::all_of(xs, std::identity());
                else if (function.name == "any")
                    expected = std::ranges::any_of(xs, std::identity());
                else if (function.name == "not")
                    expected = !xs[0];
                else if (function.name == "select")
                    expected = columns[2][first % 64].whole != 0 ? columns[1][first % 64].whole != 0 : xs[0];
                else
                    FAIL() << "no reference for " << function.name;
                ASSERT_EQ(form.first[i].whole != 0, expected) << form.text << ", row " << i;
            }
    }
}

// Every scalar kind to every other, alone and inside a vector. Integers wrap into integers; floats are cut towards zero
// and stay in the range of an integer, NaN gives zero; a bool is whether the number is not zero.
TEST(Conversions, EveryKindToEveryKind) {
    for (unsigned from = 0; from < msl::scalarKindCount; ++from) {
        const auto source = ScalarKind(from);
        Column column;
        if (isWhole(source)) {
            column = argumentsFor(source == ScalarKind::bool_ ? ScalarKind::uchar : source, 200, 13)[0];
            if (source == ScalarKind::bool_)
                for (Cell& cell : column)
                    cell.whole &= 1;
        } else {
            for (const double value :
                 {0.0,           -0.0,         0.5,          -0.5,     0.999,  -0.999,  1.5,          -1.5,
                  2.5,           127.4,        127.6,        128.0,    -128.7, -129.2,  255.9,        256.0,
                  32767.9,       40000.0,      65503.0,      -32769.5, 1e6,    -1e6,    2147483520.0, 2147483648.0,
                  -2147483648.0, 4294967040.0, 4294967296.0, 9e18,     9.3e18, -9.3e18, 1.8e19,       1e20,
                  -1e20,         1e38,         -3.0,         7.0})
                column.push_back({roundedTo(source, value), 0});
            column.push_back({std::nan(""), 0});
            column.push_back({HUGE_VAL, 0});
            column.push_back({-HUGE_VAL, 0});
        }
        for (unsigned to = 0; to < msl::scalarKindCount; ++to) {
            const auto target = ScalarKind(to);
            const auto memory = [](ScalarKind kind) { return kind == ScalarKind::bool_ ? ScalarKind::uchar : kind; };
            const std::string count = std::to_string(column.size());
            std::string text = "#include <metal_stdlib>\nusing namespace metal;\nkernel void check(device const " +
                               kindName(memory(source)) + "* in [[buffer(0)]], device " + kindName(memory(target)) +
                               "* out [[buffer(1)]], uint i [[thread_position_in_grid]]) {\nif (i >= " + count +
                               ") return;\n" + kindName(source) + " x = " + kindName(source) + "(in[i]);\n" +
                               "out[i] = " + kindName(memory(target)) + "(" + kindName(target) + "(x));\n" +
                               shapeName(source, 3) + " v = " + shapeName(source, 3) + "(1, x, 0);\nout[i + " + count +
                               "] = " + kindName(memory(target)) + "((" + shapeName(target, 3) + "(v)).y);\n";
            const std::size_t literals = std::min<std::size_t>(column.size(), 40);
            for (std::size_t n = 0; n < literals; ++n)
                text += "if (i == 0) out[2 * " + count + " + " + std::to_string(n) + "] = " + kindName(memory(target)) +
                        "(" + kindName(target) + "(" + literal(source, column[n]) + "));\n";
            std::vector<std::vector<std::byte>> buffers = {
                encoded(memory(source), column),
                std::vector<std::byte>((column.size() * 2 + literals) * msl::byteSize(memory(target)))};
            ASSERT_TRUE(runKernel(text + "}\n", buffers, std::uint32_t(column.size()))) << text;
            const Column got = decoded(memory(target), buffers[1]);
            for (std::size_t i = 0; i < got.size(); ++i) {
                const Cell& given = column[i < column.size() * 2 ? i % column.size() : i - column.size() * 2];
                const double real = isWhole(source) ? double(given.whole) : given.real;
                const char* where = i < column.size() ? "" : i < column.size() * 2 ? " in a vector" : " as a constant";
                if (target == ScalarKind::bool_) {
                    EXPECT_EQ(got[i].whole, Wide(isWhole(source) ? given.whole != 0 : given.real != 0))
                        << kindName(source) << " " << real << " to bool" << where;
                } else if (isWhole(target)) {
                    Wide expected = 0;
                    if (isWhole(source))
                        expected = wrapped(target, given.whole);
                    else if (!std::isnan(real))
                        expected = real <= double(leastOf(target))  ? leastOf(target)
                                   : real >= double(mostOf(target)) ? mostOf(target)
                                                                    : Wide(std::trunc(real));
                    EXPECT_EQ(std::int64_t(got[i].whole), std::int64_t(expected))
                        << kindName(source) << " " << real << " to " << kindName(target) << where;
                } else if (std::isnan(real)) {
                    EXPECT_TRUE(std::isnan(got[i].real)) << kindName(source) << " to " << kindName(target) << where;
                } else {
                    // To nearest or towards zero, as the device likes; constants to nearest.
                    const double nearest = roundedTo(target, real);
                    const double most = largestOf(target);
                    const double unit = ulpOf(target, real == 0 ? 1 : real);
                    const bool isRight = got[i].real == nearest ||
                                         (std::isinf(nearest) && std::fabs(got[i].real) >= most &&
                                          std::signbit(got[i].real) == std::signbit(real)) ||
                                         std::fabs(got[i].real - real) < unit;
                    EXPECT_TRUE(isRight) << kindName(source) << " " << real << " to " << kindName(target) << where
                                         << ": got " << got[i].real;
                }
            }
        }
    }
}

} // namespace
} // namespace glasshob
