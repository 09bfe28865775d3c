// What is computed while compiling is what the device computes: every operator, every conversion and every function of
// numbers, for every scalar kind, over the corners of the kind.
//
// Each row of a table is worked out four times: by MSL/constant itself, by sema (an enumerator), by the IR's folding
// (an element of a constant array) and by the device from numbers that it reads from a buffer. The first three agree in
// every bit. The device agrees as well, but for what it may decide itself: which NaN, the sign of a zero, subnormal
// numbers taken for zero, what min, max, clamp, step, sign and their kin make of NaN, and the units in the last place
// that Tolerances.h allows. Functions that are approximations (sin, exp, pow ...) are held against the device by their
// rows in MathTableTests.cpp, and those of whole vectors by GeometryTableTests.cpp; here their first three results
// agree.
#include "GlassHobRender/tests/Kernels.h"
#include "MSL/FrontEnd.h"
#include "MSL/constant/Functions.h"
#include "conformance/library/TableKernels.h"
#include "conformance/library/Tolerances.h"

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace glasshob {
namespace {

using namespace glasshob::testing;
using msl::BuiltinClass;
using msl::BuiltinId;
using msl::BuiltinSlot;
using msl::ScalarKind;
using msl::constant::Fault;
using msl::constant::Operand;
using msl::constant::Result;
using msl::constant::Scalar;
using Op = msl::constant::Op;
namespace tol = glasshob::testing::tolerance;

constexpr std::size_t fieldCount = 7;
enum Field : std::size_t { x, y, z, truth, small, offset, bits }; // of a row; the first three are of the kind
using Row = std::array<Scalar, fieldCount>;

// How the device's number is judged.
enum class Judged : std::uint8_t {
    exactly,
    butForNan,   // a NaN among the operands is the device's business
    withinUnits, // of ordinary numbers
    elsewhere,
};

struct Expression {
    std::string text; // "$0 + $1": of the row's fields
    std::vector<Field> fields;
    ScalarKind result;
    std::function<std::optional<Result>(const Row&)> compute; // nothing: not known while compiling
    Judged judged = Judged::exactly;
    Tolerance tolerance = {};
};

ScalarKind promoted(ScalarKind kind) {
    return msl::isInteger(kind) && msl::byteSize(kind) < 4 ? ScalarKind::int_ : kind;
}

ScalarKind patternKind(ScalarKind kind) {
    switch (msl::byteSize(kind)) {
    case 1: return ScalarKind::uchar;
    case 2: return ScalarKind::ushort;
    case 4: return ScalarKind::uint;
    default: return ScalarKind::ulong;
    }
}

std::uint64_t patternOf(Scalar scalar) {
    return msl::constant::bitcast(scalar, patternKind(scalar.kind)).bits;
}

std::string exactText(Scalar scalar) {
    if (scalar.kind == ScalarKind::bool_) return scalar.isTrue() ? "true" : "false";
    return "as_type<" + kindName(scalar.kind) + ">(" + kindName(patternKind(scalar.kind)) + "(" +
           std::to_string(patternOf(scalar)) + "ul))";
}

std::string withOperands(const Expression& expression, const std::function<std::string(Field)>& operand) {
    std::string made;
    for (std::size_t at = 0; at < expression.text.size(); ++at)
        if (expression.text[at] == '$')
            made += operand(expression.fields[std::size_t(expression.text[++at] - '0')]);
        else
            made += expression.text[at];
    if (expression.result == ScalarKind::bool_) return "ulong(" + made + ")";
    return "ulong(as_type<" + kindName(patternKind(expression.result)) + ">(" + made + "))";
}

std::vector<Scalar> cornersOf(ScalarKind kind) {
    std::vector<Scalar> made;
    if (msl::isFloating(kind)) {
        const bool isHalf = kind == ScalarKind::half;
        const double oddWhole = kind == ScalarKind::bfloat ? 257.0 : isHalf ? 2049.0 : 16777217.0;
        for (const double value :
             {0.0, -0.0, 1.0, -1.0, 0.5, -2.5, 3.75, oddWhole, 100.25, smallestNormalOf(kind),
              isHalf ? 0x1p-20 : 0x1p-140, largestOf(kind), -0.1, HUGE_VAL, -HUGE_VAL, std::nan("")})
            made.push_back(Scalar::floating(kind, value));
        return made;
    }
    const std::uint64_t top = std::uint64_t{1} << (msl::constant::bitWidth(kind) - 1);
    for (const std::uint64_t value : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{2}, std::uint64_t{5},
                                      ~std::uint64_t{0}, ~std::uint64_t{2}, top, top + 1, top - 1, top - 2,
                                      std::uint64_t{9007199254740993}, std::uint64_t{100}, std::uint64_t{0x5A5A5A5A5A}})
        made.push_back(Scalar::integer(kind, value));
    return made;
}

// Every pair of corners; the first few show each corner as every operand.
std::vector<Row> rowsOf(ScalarKind kind) {
    const std::vector<Scalar> corners = cornersOf(kind);
    const std::size_t count = corners.size();
    const unsigned width = msl::constant::bitWidth(kind);
    std::vector<Row> rows;
    for (std::size_t i = 0; i < count * count; ++i) {
        const unsigned first = unsigned(i * 7 % (width + 1));
        rows.push_back({corners[i % count], corners[(i + i / count) % count], corners[(i * 5 + 1 + i / count) % count],
                        Scalar::boolean(i % 3 == 0), Scalar::integer(ScalarKind::int_, i % 21 - 10),
                        Scalar::integer(ScalarKind::uint, first),
                        Scalar::integer(ScalarKind::uint, i * 3 % (width - first + 1))});
    }
    return rows;
}

void addOperators(ScalarKind kind, std::vector<Expression>& expressions) {
    struct Binary {
        const char* text;
        Op op;
    };
    const Binary all[] = {{"+", Op::add},         {"-", Op::sub},           {"*", Op::mul},   {"/", Op::div},
                          {"==", Op::equal},      {"!=", Op::notEqual},     {"<", Op::less},  {"<=", Op::lessEqual},
                          {">", Op::greater},     {">=", Op::greaterEqual}, {"%", Op::rem},   {"<<", Op::shl},
                          {">>", Op::shr},        {"&", Op::bitAnd},        {"|", Op::bitOr}, {"^", Op::bitXor},
                          {"&&", Op::logicalAnd}, {"||", Op::logicalOr}};
    const bool isFloat = msl::isFloating(kind);
    for (const Binary& one : all) {
        if (isFloat && one.op >= Op::rem && one.op <= Op::bitXor) continue;
        const bool isTruth = one.op >= Op::logicalAnd;
        const ScalarKind in = promoted(kind);
        const auto judged = isFloat && one.op == Op::div ? Judged::withinUnits : Judged::exactly;
        expressions.push_back({std::string("$0 ") + one.text + " $1",
                               {x, y},
                               isTruth ? ScalarKind::bool_ : in,
                               [in, op = one.op](const Row& row) {
                                   return msl::constant::compute(op, msl::constant::convert(row[x], in).value,
                                                                 msl::constant::convert(row[y], in).value);
                               },
                               judged,
                               tol::division});
        if (in == kind || isTruth) continue;
        // Inside a vector nothing is promoted.
        const std::string vector = shapeName(kind, 2);
        expressions.push_back({"(" + vector + "($0, 1) " + one.text + " " + vector + "($1, 1)).x",
                               {x, y},
                               kind,
                               [op = one.op](const Row& row) { return msl::constant::compute(op, row[x], row[y]); }});
    }
    const auto unary = [&](const char* text, Op op) {
        const ScalarKind in = promoted(kind);
        expressions.push_back({text, {x}, op == Op::logicalNot ? ScalarKind::bool_ : in, [in, op](const Row& row) {
                                   return msl::constant::compute(op, msl::constant::convert(row[x], in).value);
                               }});
    };
    unary("-$0", Op::neg);
    unary("!$0", Op::logicalNot);
    if (!isFloat) unary("~$0", Op::bitNot);
    for (unsigned to = 0; to < msl::scalarKindCount; ++to)
        if (const auto target = ScalarKind(to); target != kind)
            expressions.push_back({kindName(target) + "($0)", {x}, target, [target](const Row& row) {
                                       return msl::constant::convert(row[x], target);
                                   }});
}

std::optional<Result> called(BuiltinId id, std::span<const Operand> operands, ScalarKind kind, std::size_t count = 1) {
    std::array<Scalar, 16> made;
    if (!msl::constant::call(id, msl::Precision::standard, operands, kind, {made.data(), count})) return std::nullopt;
    return Result{made[count > 1 ? 1 : 0]};
}

// Whose results on the device stand in the other tables.
bool isApproximation(std::string_view name) {
    constexpr std::string_view names[] = {
        "acos", "acosh", "asin", "asinh", "atan",  "atan2", "atanh", "cos",  "cosh",      "cospi",     "exp",
        "exp2", "exp10", "log",  "log2",  "log10", "pow",   "powr",  "sin",  "sinh",      "sinpi",     "tan",
        "tanh", "tanpi", "fmod", "rsqrt", "fract", "frexp", "ldexp", "modf", "remainder", "smoothstep"};
    return std::ranges::find(names, name) != std::end(names);
}

bool leavesNanToDevice(std::string_view name) {
    constexpr std::string_view names[] = {"clamp", "fmax", "fmin", "fmax3",   "fmin3", "fmedian3", "max",  "min",
                                          "max3",  "min3", "step", "median3", "sign",  "saturate", "fdim", "copysign"};
    return std::ranges::find(names, name) != std::end(names);
}

std::optional<Tolerance> toleranceOf(std::string_view name) {
    if (name == "divide") return tol::division;
    if (name == "sqrt") return tol::root;
    if (name == "degrees" || name == "radians") return tol::turned;
    if (name == "fma" || name == "mad") return tol::fused;
    if (name == "mix") return tol::blend;
    return std::nullopt;
}

void addFunctions(ScalarKind kind, std::vector<Expression>& expressions) {
    for (const msl::BuiltinFunction& function : msl::builtinFunctions()) {
        const msl::BuiltinSignature& signature = *function.signature;
        const bool isOurs = signature.typeClass == BuiltinClass::floating ||
                            signature.typeClass == BuiltinClass::arithmetic ||
                            signature.typeClass == BuiltinClass::integer ||
                            signature.typeClass == BuiltinClass::integer32 || signature.typeClass == BuiltinClass::any;
        const bool isReduction = function.name.starts_with("simd_") || function.name.starts_with("quad_");
        const bool isDerivative = function.name == "dfdx" || function.name == "dfdy" || function.name == "fwidth";
        if (!isOurs || isReduction || isDerivative || !msl::admitsKind(signature.typeClass, kind) ||
            signature.shape != msl::BuiltinShape::scalarOrVector ||
            msl::isReferenceSlot(signature.parameters[signature.parameterCount - 1]))
            continue;
        Expression made;
        made.result = slotKind(signature.result, kind);
        made.text = "metal::" + std::string(function.name) + "(";
        Field next = x;
        Field nextCount = offset;
        for (unsigned p = 0; p < signature.parameterCount; ++p) {
            const ScalarKind given = slotKind(signature.parameters[p], kind);
            Field field = truth;
            if (signature.parameters[p] == BuiltinSlot::uint) {
                field = nextCount;
                nextCount = bits;
            } else if (signature.parameters[p] == BuiltinSlot::intOfT) {
                field = small;
            } else if (given == kind) {
                field = next;
                next = Field(next + 1);
            }
            made.fields.push_back(field);
            made.text += (p > 0 ? ", $" : "$") + std::to_string(p);
        }
        made.text += ")";
        made.compute = [id = function.id, fields = made.fields, result = made.result](const Row& row) {
            std::vector<Operand> operands;
            for (const Field field : fields)
                operands.push_back({{&row[field], 1}});
            return called(id, operands, result);
        };
        const auto tolerance = msl::isFloating(kind) ? toleranceOf(function.name) : std::nullopt;
        made.judged = !msl::isFloating(kind)             ? Judged::exactly
                      : isApproximation(function.name)   ? Judged::elsewhere
                      : tolerance                        ? Judged::withinUnits
                      : leavesNanToDevice(function.name) ? Judged::butForNan
                                                         : Judged::exactly;
        if (tolerance) made.tolerance = *tolerance;
        expressions.push_back(std::move(made));
    }
}

void addVectors(ScalarKind kind, std::vector<Expression>& expressions) {
    const std::string vector = shapeName(kind, 3);
    const std::string a = vector + "($0, $1, $2)";
    const std::string b = vector + "($2, $0, $1)";
    const auto add = [&](const std::string& text, BuiltinId id, std::size_t operandCount, bool givesVector) {
        expressions.push_back({text + (givesVector ? ".y" : ""),
                               {x, y, z},
                               kind,
                               [=](const Row& row) -> std::optional<Result> {
                                   const Scalar first[] = {row[x], row[y], row[z]};
                                   const Scalar second[] = {row[z], row[x], row[y]};
                                   const Operand operands[] = {{first}, {second}, {first}};
                                   return called(id, {operands, operandCount}, kind, givesVector ? 3 : 1);
                               },
                               Judged::elsewhere});
    };
    add("dot(" + a + ", " + b + ")", BuiltinId::dot, 2, false);
    add("distance(" + a + ", " + b + ")", BuiltinId::distance, 2, false);
    add("length(" + a + ")", BuiltinId::length, 1, false);
    add("length_squared(" + a + ")", BuiltinId::lengthSquared, 1, false);
    add("normalize(" + a + ")", BuiltinId::normalize, 1, true);
    add("cross(" + a + ", " + b + ")", BuiltinId::cross, 2, true);
    add("reflect(" + a + ", " + b + ")", BuiltinId::reflect, 2, true);
    add("faceforward(" + a + ", " + b + ", " + a + ")", BuiltinId::faceforward, 3, true);
    if (!msl::hasMatrices(kind)) return;
    const std::string matrix = kindName(kind) + "2x2";
    const auto product = [=](bool isTransposed) {
        return [=](const Row& row) -> std::optional<Result> {
            const Scalar m[] = {row[x], isTransposed ? row[z] : row[y], isTransposed ? row[y] : row[z], row[x]};
            const Scalar v[] = {row[y], row[z]};
            Scalar made[2];
            return msl::constant::product({m, 2}, {v}, made) ? std::optional(Result{made[1]}) : std::nullopt;
        };
    };
    expressions.push_back({"(" + matrix + "($0, $1, $2, $0) * " + shapeName(kind, 2) + "($1, $2)).y",
                           {x, y, z},
                           kind,
                           product(false),
                           Judged::elsewhere});
    expressions.push_back({"(transpose(" + matrix + "($0, $1, $2, $0)) * " + shapeName(kind, 2) + "($1, $2)).y",
                           {x, y, z},
                           kind,
                           product(true),
                           Judged::elsewhere});
}

bool isSubnormal(Scalar scalar) {
    return msl::isFloating(scalar.kind) && scalar.isTrue() &&
           std::fabs(scalar.asDouble()) < smallestNormalOf(scalar.kind);
}

bool isNear(const Expression& expression, const Row& row, Scalar expected, Scalar got) {
    if (expected == got) return true;
    if (!msl::isFloating(expected.kind)) return false;
    const double exact = expected.asDouble();
    const double made = got.asDouble();
    if (exact == made || (std::isnan(exact) && std::isnan(made))) return true;
    if (isSubnormal(expected) && (made == 0 || isSubnormal(got))) return true;
    if (expression.judged != Judged::withinUnits) return false;
    const double most = largestOf(expected.kind);
    const auto number = [&](std::size_t i) {
        return i < expression.fields.size() ? row[expression.fields[i]].asDouble() : 0.0;
    };
    // Infinities and NaN come out of formulas, which may run over on the way.
    for (std::size_t i = 0; i < expression.fields.size(); ++i)
        if (!std::isfinite(number(i)) || std::fabs(number(i)) > most / 4) return true;
    if (!std::isfinite(exact)) return !std::isfinite(made) || std::fabs(made) >= most;
    const Tolerance& tolerance = expression.tolerance;
    double allowed = tolerance.ulps * ulpOf(exact) + tolerance.absolute;
    if (tolerance.scale != nullptr)
        allowed += tolerance.scaledUlps * ulpOf(tolerance.scale(number(0), number(1), number(2)));
    if (expected.kind != ScalarKind::float_) allowed += ulpOf(expected.kind, exact);
    return std::fabs(made - exact) <= allowed * (1 + 1e-6) || (isSubnormal(expected) && std::fabs(made) <= 0x1p-126);
}

bool isRight(const Expression& expression, const Row& row, Scalar expected, Scalar got) {
    if (expression.judged == Judged::elsewhere || isNear(expression, row, expected, got)) return true;
    bool hasNan = false;
    Row flushed = row;
    for (const Field field : expression.fields) {
        hasNan = hasNan || (msl::isFloating(row[field].kind) && std::isnan(row[field].asFloat()));
        if (isSubnormal(row[field])) flushed[field] = Scalar::zero(row[field].kind);
    }
    if (expression.judged == Judged::butForNan && hasNan) return true;
    if (flushed == row) return false;
    const auto other = expression.compute(flushed);
    return !other || isNear(expression, flushed, other->value, got);
}

std::string described(const Expression& expression, const Row& row) {
    std::string text = expression.text + " of";
    for (const Field field : expression.fields)
        text += " " + kindName(row[field].kind) + " " + std::to_string(row[field].asDouble()) + " (bits " +
                std::to_string(row[field].bits) + ")";
    return text;
}

Scalar scalarOf(ScalarKind kind, std::uint64_t pattern) {
    return msl::isFloating(kind) ? Scalar{kind, pattern} : Scalar::integer(kind, pattern);
}

class ConstantTable : public ::testing::TestWithParam<ScalarKind> {
  protected:
    std::vector<Expression> expressions;
    std::vector<Row> rows;

    void SetUp() override {
        const ScalarKind kind = GetParam();
        rows = rowsOf(kind);
        addOperators(kind, expressions);
        addFunctions(kind, expressions);
        if (msl::isFloating(kind)) addVectors(kind, expressions);
    }
};

TEST_P(ConstantTable, IsWhatTheDeviceComputes) {
    const std::string name = kindName(GetParam());
    const std::string count = std::to_string(rows.size());
    std::string text = "#include <metal_stdlib>\nusing namespace metal;\nkernel void check(device const " + name +
                       "* xs [[buffer(0)]], device const " + name + "* ys [[buffer(1)]], device const " + name +
                       "* zs [[buffer(2)]], device const int4* others [[buffer(3)]], device ulong* out [[buffer(4)]], "
                       "uint i [[thread_position_in_grid]]) {\nif (i >= " +
                       count + ") return;\n" + name +
                       " x = xs[i], y = ys[i], z = zs[i];\nint4 more = others[i];\nbool truth = more.x != 0;\n"
                       "int small = more.y;\nuint offset = uint(more.z), bits = uint(more.w);\n";
    static constexpr const char* fieldNames[] = {"x", "y", "z", "truth", "small", "offset", "bits"};
    for (std::size_t e = 0; e < expressions.size(); ++e)
        text += "out[" + std::to_string(e * rows.size()) +
                " + i] = " + withOperands(expressions[e], [](Field field) { return fieldNames[field]; }) + ";\n";
    std::vector<std::vector<std::byte>> buffers(3);
    std::vector<std::int32_t> others;
    for (const Row& row : rows) {
        for (std::size_t f = x; f <= z; ++f) {
            const std::uint64_t pattern = patternOf(row[f]);
            const auto* bytes = reinterpret_cast<const std::byte*>(&pattern);
            buffers[f].insert(buffers[f].end(), bytes, bytes + msl::byteSize(GetParam()));
        }
        for (std::size_t f = truth; f <= bits; ++f)
            others.push_back(std::int32_t(row[f].asInteger()));
    }
    buffers.push_back(bytesOf(others));
    buffers.push_back(bytesOf(std::vector<std::uint64_t>(expressions.size() * rows.size())));
    ASSERT_TRUE(runKernel(text + "}\n", buffers, std::uint32_t(rows.size())));
    const auto got = valuesOf<std::uint64_t>(buffers[4]);
    for (std::size_t e = 0; e < expressions.size(); ++e) {
        const Expression& expression = expressions[e];
        int failures = 0;
        for (std::size_t i = 0; i < rows.size() && failures < 2; ++i) {
            const auto computed = expression.compute(rows[i]);
            const Scalar made = scalarOf(expression.result, got[e * rows.size() + i]);
            if (!computed || isRight(expression, rows[i], computed->value, made)) continue;
            ++failures;
            ADD_FAILURE() << described(expression, rows[i]) << ": the device gives " << made.asDouble() << " (bits "
                          << made.bits << "), the compiler " << computed->value.asDouble() << " (bits "
                          << computed->value.bits << ")";
        }
    }
}

// Both end as elements of a constant table of the IR: one that was not computed while compiling leaves no table.
TEST_P(ConstantTable, IsTheSameInSemaAndInFolding) {
    constexpr std::size_t rowCount = 32;
    constexpr std::size_t tableSize = 4096; // of an array that is initialised element by element
    struct Entry {
        const Expression* expression;
        const Row* row;
        Scalar expected;
        const char* by;
    };
    std::vector<Entry> entries;
    std::string enumerators;
    std::vector<std::string> elements;
    std::size_t known = 0;
    for (const Expression& expression : expressions)
        for (std::size_t i = 0; i < rowCount; ++i) {
            const auto computed = expression.compute(rows[i]);
            if (!computed) continue;
            ++known;
            const std::string value = withOperands(expression, [&](Field field) { return exactText(rows[i][field]); });
            elements.push_back(value);
            entries.push_back({&expression, &rows[i], computed->value, "folding"});
            if (computed->fault != Fault::none) continue; // refused where a constant is asked for
            const std::string name = "e" + std::to_string(entries.size());
            enumerators += name + " = " + value + ",\n";
            elements.push_back(name);
            entries.push_back({&expression, &rows[i], computed->value, "sema"});
        }
    EXPECT_GT(known, expressions.size() * rowCount * 3 / 4); // few of them are left to the device
    std::string text = "#include <metal_stdlib>\nusing namespace metal;\nenum Known : ulong {\n" + enumerators + "};\n";
    std::string body;
    for (std::size_t begin = 0; begin < elements.size(); begin += tableSize) {
        const std::string table = "table" + std::to_string(begin);
        text += "constant ulong " + table + "[] = {\n";
        for (std::size_t i = begin; i < std::min(begin + tableSize, elements.size()); ++i)
            text += elements[i] + ",\n";
        text += "};\n";
        body += "out[i] += " + table + "[i];\n";
    }
    text += "kernel void check(device ulong* out [[buffer(0)]], uint i [[thread_position_in_grid]]) {\n" + body + "}\n";
    msl::SourceManager sources(text, "program_source", 0, 0);
    msl::Diagnostics diagnostics(sources);
    msl::WorkLimit limit(std::chrono::milliseconds(0));
    const std::unique_ptr<msl::ir::Module> module = msl::translate(sources, diagnostics, limit);
    ASSERT_NE(module, nullptr) << msl::toText(diagnostics.messages());
    std::vector<const msl::ir::Value*> tables;
    for (const msl::ir::Variable* global : module->globals)
        if (global->kind == msl::ir::Variable::Kind::constantTable) tables.push_back(global->initializer);
    ASSERT_EQ(tables.size(), (entries.size() + tableSize - 1) / tableSize) << "not all of it is known while compiling";
    int failures = 0;
    for (std::size_t begin = 0; begin < entries.size(); begin += tableSize) {
        for (std::size_t i = begin; i < std::min(begin + tableSize, entries.size()) && failures < 20; ++i) {
            const Entry& entry = entries[i];
            const std::uint64_t got = module->constantPart(tables[begin / tableSize], std::uint32_t(i - begin))->bits;
            const Scalar made = scalarOf(entry.expression->result, got);
            if (made == entry.expected) continue;
            ++failures;
            ADD_FAILURE() << described(*entry.expression, *entry.row) << ": " << entry.by << " gives "
                          << made.asDouble() << " (bits " << made.bits << "), MSL/constant "
                          << entry.expected.asDouble() << " (bits " << entry.expected.bits << ")";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, ConstantTable,
                         ::testing::Values(ScalarKind::char_, ScalarKind::uchar, ScalarKind::short_, ScalarKind::ushort,
                                           ScalarKind::int_, ScalarKind::uint, ScalarKind::long_, ScalarKind::ulong,
                                           ScalarKind::half, ScalarKind::bfloat, ScalarKind::float_),
                         [](const auto& info) { return kindName(info.param); });

} // namespace
} // namespace glasshob
