// What a module must hold beyond being valid: the promises that a host relies on, read from its disassembly.
#include "MSL/Compiler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <spirv-tools/libspirv.hpp>

namespace msl {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

// The module of `source` as text, with the names of variables and struct members.
std::string disassembled(const std::string& source) {
    CompileOptions options;
    options.debugNames = true;
    const auto compiled = compile("#include <metal_stdlib>\nusing namespace metal;\n" + source, options);
    if (!compiled) {
        ADD_FAILURE() << compiled.error().text;
        return {};
    }
    spvtools::SpirvTools tools(SPV_ENV_VULKAN_1_3);
    tools.SetMessageConsumer(
        [](spv_message_level_t, const char*, const spv_position_t&, const char* message) { ADD_FAILURE() << message; });
    spvtools::ValidatorOptions validation;
    validation.SetScalarBlockLayout(true);
    EXPECT_TRUE(tools.Validate(compiled->spirv.data(), compiled->spirv.size(), validation));
    std::string text;
    tools.Disassemble(compiled->spirv, &text, SPV_BINARY_TO_TEXT_OPTION_FRIENDLY_NAMES);
    return text;
}

TEST(SpirvWriter, MemoryHasMetalsOffsetsAndNoBool) {
    const std::string text = disassembled(R"(
struct Item { float3 v; float after; packed_float3 p; bool flag; half h; float3x3 m; float3 many[2]; };
kernel void k(device Item* items [[buffer(3)]], constant Item& one [[buffer(5)]], uint i [[thread_position_in_grid]]) {
    Item copy = one;
    copy.flag = !copy.flag;
    items[i] = copy;
})");
    for (const char* decoration :
         {"OpMemberDecorate %Item_memory 1 Offset 16", "OpMemberDecorate %Item_memory 2 Offset 20",
          "OpMemberDecorate %Item_memory 3 Offset 32", "OpMemberDecorate %Item_memory 4 Offset 34",
          "OpMemberDecorate %Item_memory 5 Offset 48", "OpMemberDecorate %Item_memory 5 MatrixStride 16",
          "OpMemberDecorate %Item_memory 6 Offset 96"})
        EXPECT_THAT(text, HasSubstr(decoration));
    EXPECT_THAT(text, HasSubstr("ArrayStride 16"));
    EXPECT_THAT(text, HasSubstr("ArrayStride 128")) << "the buffer's elements";
    EXPECT_THAT(text, HasSubstr("OpDecorate %items Binding 3"));
    EXPECT_THAT(text, HasSubstr("OpDecorate %one Binding 5"));
    EXPECT_THAT(text, HasSubstr("%one = OpVariable %_ptr_Uniform"));
    EXPECT_THAT(text, ContainsRegex("%Item_memory = OpTypeStruct %v3float %float %v3float %uchar %half"));
}

TEST(SpirvWriter, OnlyWhatTheCodeTouchesIsLoaded) {
    const std::string text = disassembled(R"(
struct Big { float many[64]; float wanted; };
fragment float4 f(constant Big& big [[buffer(0)]]) { return big.wanted; })");
    EXPECT_THAT(text, ContainsRegex("OpAccessChain %_ptr_Uniform_float %big %uint_0 %uint_1"));
    EXPECT_THAT(text, Not(HasSubstr("OpCopyLogical")));
}

TEST(SpirvWriter, AKernelsThreadgroupIsLeftToTheHost) {
    const std::string text = disassembled("kernel void k(device float* x [[buffer(0)]]) { x[0] = 1; }");
    EXPECT_THAT(text, ContainsRegex("OpExecutionModeId %[0-9a-z_]+ LocalSizeId"));
    for (const char* constant : {"SpecId 0", "SpecId 1", "SpecId 2"})
        EXPECT_THAT(text, HasSubstr(constant));
}

TEST(SpirvWriter, StageVariablesMeetAndIntegersAreFlat) {
    const std::string text = disassembled(R"(
struct Varying { float4 position [[position]]; half3 colour; uint id [[flat]]; float size [[point_size]]; };
vertex Varying v(uint vid [[vertex_id]]) { return Varying{float4(vid), half3(vid), vid, 4.0}; }
fragment half4 f(Varying in [[stage_in]], float2 at [[point_coord]]) { return half4(in.colour, in.id + at.x + in.position.x); })");
    EXPECT_THAT(text, HasSubstr("Flat"));
    EXPECT_THAT(text, HasSubstr("BuiltIn Position"));
    EXPECT_THAT(text, HasSubstr("BuiltIn FragCoord"));
    EXPECT_THAT(text, HasSubstr("BuiltIn PointSize"));
    EXPECT_THAT(text, HasSubstr("BuiltIn PointCoord"));
    EXPECT_THAT(text, Not(HasSubstr("StorageInputOutput16"))) << "halves travel as floats";
    EXPECT_THAT(text, HasSubstr("OriginUpperLeft"));
}

TEST(SpirvWriter, CapabilitiesAreAskedForOnlyWhereNeeded) {
    const std::string plain = disassembled("fragment float4 f(float4 p [[position]]) { return p * 2.0; }");
    EXPECT_THAT(plain, Not(ContainsRegex("OpCapability (Float16|Int8|Int16|Int64|StorageBuffer)")));
    EXPECT_THAT(disassembled("fragment half4 f(float4 p [[position]]) { half h = half(p.x); return half4(h * h); }"),
                HasSubstr("OpCapability Float16"));
    EXPECT_THAT(disassembled("fragment float4 f(float4 p [[position]]) { if (p.x < 1) discard_fragment(); return p; }"),
                HasSubstr("OpDemoteToHelperInvocation"));
}

// What others wrote behind a barrier must be seen on devices that cache; the CPU driver would not show the lack of it.
TEST(SpirvWriter, BuffersAreCoherentWhereABarrierCoversThem) {
    const auto kernel = [](const std::string& barrier) {
        return disassembled("kernel void k(device float* out [[buffer(0)]], const device float* in [[buffer(1)]]) {\n"
                            "out[0] = in[0]; " +
                            barrier + " out[1] = out[0]; }");
    };
    for (const char* barrier : {"threadgroup_barrier(mem_flags::mem_device);",
                                "threadgroup_barrier(mem_flags::mem_threadgroup | mem_flags::mem_device);",
                                "atomic_thread_fence(mem_flags::mem_device, memory_order_seq_cst);"}) {
        const std::string text = kernel(barrier);
        EXPECT_THAT(text, HasSubstr("OpDecorate %out Coherent")) << barrier;
        EXPECT_THAT(text, Not(HasSubstr("OpDecorate %in Coherent"))) << barrier;
    }
    EXPECT_THAT(kernel("threadgroup_barrier(mem_flags::mem_threadgroup);"), Not(HasSubstr("Coherent")));
    EXPECT_THAT(kernel("threadgroup_barrier(mem_flags::mem_device);"),
                ContainsRegex("OpControlBarrier %uint_2 %uint_2 %uint_72"))
        << "acquire and release of uniform memory";
}

} // namespace
} // namespace msl
