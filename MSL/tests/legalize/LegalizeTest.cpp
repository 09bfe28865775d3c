// After legalize() a module holds nothing that its target lacks, is still well formed, and code that needs no guard has
// none.
#include "MSL/legalize/Legalize.h"
#include "MSL/builtins/BuiltinTable.h"
#include "MSL/ir/Walk.h"
#include "MSL/spirv/SpirvWriter.h"
#include "MSL/tests/lower/Lowered.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

using namespace msl;
using msl::test::Lowered;

namespace {

// The numeric functions that are left in a module but that the target does not have for their operands.
std::set<std::string> lacking(const ir::Module& module, const Target& target) {
    std::set<std::string> found;
    for (const ir::Function* function : module.functions)
        ir::forEachInstruction(*function->body, [&](const ir::Instruction& at) {
            if (at.op != ir::Op::builtin || at.place != nullptr || at.operands.empty()) return;
            const ScalarKind kind = at.operands[0]->type->scalar;
            const bool isMatrix = at.operands[0]->type->isMatrix();
            const bool isWord = kind == ScalarKind::int_ || kind == ScalarKind::uint;
            const bool isThere = (isFloating(kind) && target.floatFunctions.has(at.builtinId) &&
                                  (kind != ScalarKind::half || target.computesHalves || isMatrix)) ||
                                 (isWord && target.floatFunctions.has(at.builtinId)) || // unpacking
                                 (isInteger(kind) && target.integerFunctions.has(at.builtinId)) ||
                                 (isWord && target.wordFunctions.has(at.builtinId)) || kind == ScalarKind::bool_;
            if (!isThere)
                found.insert(std::string(builtinName(at.builtinId)) + " of " + typeName(at.operands[0]->type));
        });
    return found;
}

std::string legal(const std::string& function, const Target& target = spirv::target()) {
    Lowered lowered("kernel void k(device float* out [[buffer(0)]], device int* n [[buffer(1)]]) {\n" + function +
                    "\n}");
    EXPECT_EQ(lowered.errors, "") << function;
    if (!lowered.errors.empty()) return {};
    legalize(lowered.module, target);
    EXPECT_EQ(ir::verify(lowered.module), "") << function;
    EXPECT_EQ(lacking(lowered.module, target), std::set<std::string>()) << function;
    return ir::toText(lowered.module);
}

std::size_t count(const std::string& text, std::string_view what) {
    std::size_t found = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++found;
    return found;
}

TEST(Legalize, GuardsOnlyWhatMayGoWrong) {
    EXPECT_EQ(count(legal("n[0] = n[1] / 7 + n[2] % 3u;"), "select"), 0U);
    EXPECT_EQ(count(legal("n[0] = n[1] / n[2];"), "select"), 1U);
    EXPECT_EQ(count(legal("n[0] = n[1] / -1;"), "select"), 1U); // of the least number
    EXPECT_EQ(count(legal("n[0] = n[1] << 5;"), "bitand"), 0U);
    EXPECT_EQ(count(legal("n[0] = n[1] << n[2];"), "31"), 1U);
    EXPECT_EQ(count(legal("n[0] = ushort(n[1]) << 3;"), "select"), 0U);
    EXPECT_GE(count(legal("n[0] = int(out[1]);"), "select"), 2U); // NaN, and past the end
    EXPECT_EQ(count(legal("out[0] = float(n[1]);"), "select"), 0U);
}

TEST(Legalize, LeavesNothingThatTheTargetLacks) {
    const char* const scalars[] = {"char", "uchar", "short", "ushort", "int", "uint", "long", "ulong"};
    const char* const ofIntegers[] = {"addsat(x, y)",
                                      "subsat(x, y)",
                                      "absdiff(x, y)",
                                      "clz(x)",
                                      "ctz(x)",
                                      "popcount(x)",
                                      "hadd(x, y)",
                                      "rhadd(x, y)",
                                      "mulhi(x, y)",
                                      "madhi(x, y, x)",
                                      "rotate(x, y)",
                                      "reverse_bits(x)",
                                      "abs(x)",
                                      "clamp(x, y, x)",
                                      "min3(x, y, x)",
                                      "median3(x, y, x)",
                                      "madsat(x, y, x)",
                                      "extract_bits(x, 3u, 4u)",
                                      "insert_bits(x, y, 3u, 4u)"};
    for (const char* scalar : scalars)
        for (const char* width : {"", "3"}) {
            const std::string type = std::string(scalar) + width;
            std::string text = type + " x = " + type + "(n[0]), y = " + type + "(n[1]), s = x;\n";
            for (const char* call : ofIntegers)
                text += "s += " + type + "(" + call + ");\n";
            legal(text + "n[2] = int(s" + (*width != 0 ? ".x);" : ");"));
        }
    const char* const ofFloats[] = {"fmod(x, y)",
                                    "remainder(x, y)",
                                    "cospi(x)",
                                    "exp10(x)",
                                    "log10(x)",
                                    "fdim(x, y)",
                                    "round(x)",
                                    "copysign(x, y)",
                                    "nextafter(x, y)",
                                    "median3(x, y, x)",
                                    "saturate(x)",

                                    "precise::sin(x)",
                                    "precise::pow(x, y)",
                                    "precise::divide(x, y)",
                                    "precise::fract(x)",
                                    "precise::fma(x, y, x)",
                                    "fast::exp(x)",
                                    "mix(x, y, x)",
                                    "smoothstep(x, y, x)"};
    for (const char* scalar : {"float", "half"})
        for (const char* width : {"", "2", "4"}) {
            const std::string type = std::string(scalar) + width;
            std::string text = type + " x = " + type + "(out[0]), y = " + type + "(out[1]), s = x;\n";
            for (const char* call : ofFloats)
                text += std::string("s += ") + call + ";\n";
            for (const char* test : {"isfinite(x)", "isnormal(x)", "signbit(x)", "isordered(x, y)"})
                text += "s = select(s, y, " + std::string(test) + ");\n";
            if (*width != 0) text += "s += dot(x, y) + length_squared(x) + precise::length(x);\n";
            legal(text + "out[2] = float(s" + (*width != 0 ? ".x);" : ");"));
        }
}

// A target of another kind: the library is there, but for what is made of sums and comparisons.
TEST(Legalize, ServesPoorerTargets) {
    Target poor = spirv::target();
    poor.floatFunctions = {};
    for (const BuiltinId id : {BuiltinId::fabs, BuiltinId::trunc, BuiltinId::rint, BuiltinId::fmin, BuiltinId::fmax,
                               BuiltinId::clamp, BuiltinId::sqrt, BuiltinId::sin, BuiltinId::cos, BuiltinId::exp2})
        poor.floatFunctions.add(id);
    legal("float x = out[0]; out[1] = fmod(x, 3.0f) + cospi(x) + exp10(x) + float(isinf(x)) + saturate(x);", poor);
    Target rich = spirv::target();
    rich.definesDivision = rich.definesShifts = rich.definesConversions = true;
    EXPECT_EQ(count(legal("n[0] = n[1] / n[2]; n[3] = n[1] << n[2]; n[4] = int(out[0]);", rich), "select"), 0U);
}

} // namespace
