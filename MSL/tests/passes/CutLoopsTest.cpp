// Which loops are marked: those that may come to more turns than a driver lets them have. That a mark tells the truth
// is tested where there is a driver, with hob.
#include "MSL/passes/CutLoops.h"

#include "MSL/Compiler.h"
#include "MSL/ir/Walk.h"
#include "MSL/tests/lower/Lowered.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace msl;
using msl::test::Lowered;

namespace {

const std::string head = "float busy(float x, int n) { for (int i = 0; i < n; i++) x = x * 0.9 + 0.1; return x; }\n"
                         "float few(float x) { for (int i = 0; i < 8; i++) x = x * 0.9 + 0.1; return x; }\n"
                         "float many(float x) { for (int i = 0; i < 1000; i++) x = few(x); return x; }\n";

TEST(CutLoops, MarksWhatMayGoOnForTooLong) {
    struct {
        std::string_view body;
        unsigned marks; // of loops
    } const cases[] = {
        {"return v.x;", 0},
        // Bounded by constants, up and down, by whole numbers and others.
        {"float s = 0; for (int i = 0; i < 65000; i++) s += v.x; return s;", 0},
        {"float s = 0; for (int i = 65000; i > 0; i -= 2) s += v.x; return s;", 0},
        {"float s = 0; for (float t = 0; t < 10.0; t += 0.01) s += v.x; return s;", 0},
        {"float s = 0; for (int i = 0; i < 200; i++) { if (s > v.x) break; s += few(s); } return s;", 0},
        {"return many(v.x);", 0},
        // Bounded, but by too much.
        {"float s = 0; for (int i = 0; i < 66000; i++) s += v.x; return s;", 1},
        {"float s = 0; for (int i = 0; i < 300; i++) for (int j = 0; j < 300; j++) s += v.x; return s;", 2},
        {"return many(many(many(many(many(many(many(many(many(v.x)))))))));", 1},
        {"return v.x > 0.5 ? many(many(many(many(v.x)))) : many(many(many(many(v.y))));", 1},
        // By nothing that is known.
        {"return busy(v.x, int(v.y));", 1},
        {"float s = 0; while (s < v.x) s += v.y; return s;", 1},
        {"float s = 0; do { s += v.y; } while (s < v.x); return s;", 1},
        {"float s = 0; for (float t = 0; t < 10.0; t += v.x) s += t; return s;", 1},
        {"float s = 0; for (float t = 16777216.0; t < 16777300.0; t += 1.0) s += t; return s;", 1},
        {"float s = 0; for (int i = 0; i < 10; i++) { s += v.x; if (s > v.y) i = 0; } return s;", 1},
        {"float s = 0; int i = int(v.x); for (; i < 10; i++) s += v.x; return s;", 1},
        // A loop of few turns inside of one that may have many is left as it is.
        {"float s = 0; while (s < v.x) s += few(s); return s;", 1},
        {"float s = 0; while (true) { if (s > v.x) break; if (s > v.y) continue; switch (int(s)) { case 1: break; "
         "case 2: return s; } s += v.y; } return s;",
         1},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.body);
        const std::string text =
            head + "fragment float f(constant float2& v [[buffer(0)]]) { " + std::string(item.body) + " }\n";
        Lowered made(text);
        ASSERT_EQ(made.errors, "");
        markCutLoops(made.module);
        EXPECT_EQ(ir::verify(made.module), "");
        // Every mark writes the word once.
        std::size_t marks = 0;
        for (const ir::Function* function : made.module.functions)
            ir::forEachInstruction(*function->body, [&](const ir::Instruction& at) {
                marks += at.op == ir::Op::store && at.place->root->kind == ir::Variable::Kind::buffer ? 1 : 0;
            });
        EXPECT_EQ(marks, item.marks);

        CompileOptions options;
        options.marksCutLoops = true;
        const auto compiled = compile(text, options);
        ASSERT_TRUE(compiled) << compiled.error().text;
        const auto& bindings = compiled->reflection.entryPoints[0].bindings;
        EXPECT_EQ(std::ranges::count(bindings, cutLoopsIndex, &Binding::metalIndex), item.marks > 0 ? 1 : 0);
    }
}

TEST(CutLoops, LeavesWhatOtherStagesCallAlone) {
    CompileOptions options;
    options.marksCutLoops = true;
    const auto compiled =
        compile(head + "kernel void k(device float* out [[buffer(0)]]) { out[0] = busy(out[1], 9); }\n"
                       "fragment float shared(constant float2& v [[buffer(0)]])"
                       " { return busy(v.x, int(v.y)); }\n"
                       "fragment float own(constant float2& v [[buffer(0)]])"
                       " { float s = busy(v.x, 9); while (s < v.y) s += v.x; return s; }\n",
                options);
    ASSERT_TRUE(compiled) << compiled.error().text;
    for (const auto& [name, isMarked] : {std::pair{"k", false}, {"shared", false}, {"own", true}})
        EXPECT_EQ(
            std::ranges::count(compiled->reflection.entryPoint(name)->bindings, cutLoopsIndex, &Binding::metalIndex),
            isMarked ? 1 : 0)
            << name;
}

} // namespace
