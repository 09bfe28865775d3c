// verify() finds what is broken: sound IR of a program that uses much of the language is changed in one place at a
// time, and the fault must be told.
#include "MSL/ir/Walk.h"
#include "MSL/tests/lower/Lowered.h"

#include <gtest/gtest.h>

#include <functional>

using namespace msl;
using namespace msl::ir;
using msl::test::Lowered;

namespace {

constexpr const char* program = R"(
struct Two { float2 a; int b; };
struct Varying { float4 position [[position]]; float2 uv; };

static float bent(float x, thread float& out) { out = fma(x, 2.0f, 1.0f); return x < 0 ? -x : sqrt(x); }

kernel void all(device float* data [[buffer(0)]], constant uint& count [[buffer(1)]], device atomic_uint& sum [[buffer(2)]],
                threadgroup float* shared [[threadgroup(0)]], uint id [[thread_position_in_grid]],
                uint lane [[thread_index_in_threadgroup]]) {
    Two two = {float2(data[id], 3), int(id)};
    float kept = 0, rest = 0;
    for (uint i = 0; i < count; ++i) {
        if (i == 3) continue;
        two.b = (two.b << 1) ^ int(i & 7u);
        kept += bent(float(two.b), rest) * two.a[i & 1u] + rest;
        if (kept > 100) break;
    }
    switch (two.b) {
    case 1: kept = -kept; break;
    case 2: kept = dot(two.a, two.a.yx); break;
    default: break;
    }
    float2x2 turn = float2x2(float2(kept, 1), float2(2, 3));
    two.a = turn * two.a + as_type<float2>(uint2(id, lane));
    shared[lane] = select(two.a.x, two.a.y, !(kept > 1) && id != 2);
    threadgroup_barrier(mem_flags::mem_threadgroup);
    atomic_fetch_add_explicit(&sum, ~lane, memory_order_relaxed);
    data[id] = shared[lane ^ 1u];
}

fragment float4 paint(Varying in [[stage_in]], texture2d<float> picture [[texture(0)]], sampler how [[sampler(0)]]) {
    float4 colour = picture.sample(how, in.uv, level(1.0f)) + picture.read(uint2(in.uv), 0);
    if (colour.a < 0.5f) discard_fragment();
    return colour * in.uv.x;
}
)";

struct Found {
    const Function* function;
    Instruction* instruction;
};

std::vector<Found> instructionsOf(const Module& module) {
    std::vector<Found> all;
    for (const Function* function : module.functions)
        forEachInstruction(*function->body, [&](Instruction& at) { all.push_back({function, &at}); });
    return all;
}

// Changes the program's instruction of this number; false when there is none to change.
using Change = std::function<bool(Module&, Instruction&)>;

// Which instructions can be changed so without verify() noticing.
std::vector<std::string> unnoticed(const Change& change) {
    const std::size_t count = instructionsOf(Lowered(program).module).size();
    std::vector<std::string> missed;
    bool wasChanged = false;
    for (std::size_t i = 0; i < count; ++i) {
        Lowered lowered(program); // sound again
        const auto [function, instruction] = instructionsOf(lowered.module)[i];
        if (!change(lowered.module, *instruction)) continue;
        wasChanged = true;
        const std::string fault = verify(lowered.module);
        if (fault.empty()) missed.push_back(std::string(function->name) + ": " + std::string(opName(instruction->op)));
    }
    EXPECT_TRUE(wasChanged) << "nothing of the kind is in the program";
    return missed;
}

TypeRef foreign(Module& module) {
    return module.structs.front(); // of no operand
}

TEST(Verify, TheProgramItselfIsSound) {
    const Lowered lowered(program);
    ASSERT_EQ(lowered.errors, "");
    EXPECT_EQ(lowered.fault, "");
    EXPECT_GT(instructionsOf(lowered.module).size(), 100U);
}

TEST(Verify, AnOperandOfAForeignTypeIsFound) {
    for (const std::size_t which : {0U, 1U, 2U})
        EXPECT_EQ(unnoticed([&](Module& module, Instruction& at) {
                      if (which >= at.operands.size() || at.operands[which]->type == foreign(module)) return false;
                      at.operands[which] = module.constantNull(foreign(module));
                      return true;
                  }),
                  std::vector<std::string>())
            << "operand " << which;
}

TEST(Verify, AnOperandTooFewIsFound) {
    EXPECT_EQ(unnoticed([](Module&, Instruction& at) {
                  if (at.operands.empty()) return false;
                  at.operands = at.operands.first(at.operands.size() - 1);
                  return true;
              }),
              std::vector<std::string>());
}

TEST(Verify, AResultOfAForeignTypeIsFound) {
    EXPECT_EQ(unnoticed([](Module& module, Instruction& at) {
                  if (at.result == nullptr || at.result->type == foreign(module)) return false;
                  at.result->type = foreign(module);
                  return true;
              }),
              std::vector<std::string>());
}

TEST(Verify, AValueUsedBeforeItIsMadeIsFound) {
    EXPECT_EQ(unnoticed([](Module& module, Instruction& at) {
                  if (at.operands.empty()) return false;
                  at.operands[0] = module.newValue(Value::Kind::result, at.operands[0]->type);
                  return true;
              }),
              std::vector<std::string>());
}

TEST(Verify, ABrokenListIsFound) {
    EXPECT_EQ(unnoticed([](Module&, Instruction& at) {
                  if (at.previous == nullptr) return false;
                  at.previous = nullptr;
                  return true;
              }),
              std::vector<std::string>());
}

TEST(Verify, APlaceThatLeadsElsewhereIsFound) {
    EXPECT_EQ(unnoticed([](Module& module, Instruction& at) {
                  if (at.place == nullptr) return false;
                  at.place->type = at.place->type->is(TypeKind::struct_) ? module.types.int_() : foreign(module);
                  return true;
              }),
              std::vector<std::string>());
    EXPECT_EQ(unnoticed([](Module& module, Instruction& at) { // of another function
                  if (at.place == nullptr) return false;
                  at.place->root = module.newVariable(Variable::Kind::local, at.place->root->type, "stranger");
                  return true;
              }),
              std::vector<std::string>());
}

TEST(Verify, WhatStandsWhereItMayNotIsFound) {
    const auto isA = [](const Instruction& at, Op op) { return at.op == op; };
    const auto expectFound = [](const char* what, const Change& change) {
        EXPECT_EQ(unnoticed(change), std::vector<std::string>()) << what;
    };
    expectFound("a jump out of nothing", [&](Module&, Instruction& at) {
        if (!isA(at, Op::return_) || !at.operands.empty()) return false;
        at.op = Op::break_;
        return true;
    });
    expectFound("two cases of one value", [&](Module&, Instruction& at) {
        if (!isA(at, Op::switch_)) return false;
        at.cases[0].values = at.cases[1].values;
        return true;
    });
    expectFound("a second default", [&](Module&, Instruction& at) {
        if (!isA(at, Op::switch_)) return false;
        at.cases[0].isDefault = at.cases[1].isDefault = true;
        return true;
    });
    expectFound("an if with one block", [&](Module&, Instruction& at) {
        if (!isA(at, Op::if_)) return false;
        at.blocks = at.blocks.first(1);
        return true;
    });
    expectFound("a write to what is only read", [&](Module&, Instruction& at) {
        if (!isA(at, Op::store) || at.place->root->kind != Variable::Kind::buffer) return false;
        at.place->root->isWritable = false;
        return true;
    });
    expectFound("a call of a function that comes later", [&](Module& module, Instruction& at) {
        if (!isA(at, Op::call)) return false;
        at.callee = module.newFunction("later", at.callee->returnType);
        return true;
    });
    expectFound("an index that is checked and outside", [&](Module& module, Instruction& at) {
        if (at.place == nullptr || at.place->steps.empty() || at.place->steps.back().kind != Step::Kind::index)
            return false;
        at.place->steps.back() = {
            .kind = Step::Kind::index, .value = module.constantInt(module.types.int_(), -1), .isChecked = true};
        return true;
    });
    expectFound("a texture function without roles", [&](Module&, Instruction& at) {
        if (!isA(at, Op::builtin) || at.indices.empty()) return false;
        at.indices = at.indices.first(at.indices.size() - 1);
        return true;
    });
    expectFound("two operands of one role", [&](Module&, Instruction& at) {
        if (!isA(at, Op::builtin) || at.indices.size() < 2) return false;
        at.indices[1] = at.indices[0];
        return true;
    });
}

} // namespace
