// Random programs, compiled by the host's compiler and by ours: every number that they give must be the same.
#include "GlassHobRender/tests/Kernels.h"
#include "conformance/differential/Prelude.h"

#include <fstream>
#include <sstream>

#define THREAD
#define CONST_THREAD
#define CONSTANT static const
#define PROGRAM_BEGIN(n) namespace program##n {
#define PROGRAM_END }

namespace differential {
#include "programs.inc"
} // namespace differential

namespace glasshob::testing {
namespace {

using Program = void (*)(std::uint32_t*, std::uint32_t*);
#define ENTRY(n) differential::program##n::program_##n,
constexpr Program programs[] = {PROGRAMS(ENTRY)};

constexpr std::uint32_t threads = 32;
constexpr std::uint32_t inputs = 4;
constexpr std::uint32_t outputs = 8;

const char* const prelude = R"(#include <metal_stdlib>
using namespace metal;
#define THREAD thread
#define CONST_THREAD
#define CONSTANT constant
#define INT4 int4
#define UINT2 uint2
#define FLOAT3 float3
#define SHL(a, b) ((a) << (b))
#define SHR(a, b) ((a) >> (b))
#define IDIV(a, b) ((a) / (b))
#define IREM(a, b) ((a) % (b))
#define UDIV(a, b) ((a) / (b))
#define UREM(a, b) ((a) % (b))
static float KEEP(float x) { return float((int(x) & 1023) - 512); }
static float3 KEEP3(float3 x) { return float3(KEEP(x.x), KEEP(x.y), KEEP(x.z)); }
)";

std::vector<std::string> readTexts() {
    std::ifstream file(DIFFERENTIAL_PROGRAMS);
    std::vector<std::string> texts;
    std::string line;
    while (std::getline(file, line)) {
        if (line.starts_with("PROGRAM_BEGIN"))
            texts.emplace_back();
        else if (!line.starts_with("PROGRAM_END") && !line.starts_with("#define PROGRAMS"))
            texts.back() += line + "\n";
    }
    return texts;
}

TEST(Differential, ProgramsGiveTheNumbersOfTheHostsCompiler) {
    const std::vector<std::string> texts = readTexts();
    ASSERT_EQ(texts.size(), std::size(programs));
    std::vector<std::uint32_t> given(threads * inputs);
    std::uint32_t state = 12345;
    for (std::size_t i = 0; i < given.size(); ++i) {
        state = state * 1664525U + 1013904223U;
        constexpr std::uint32_t special[] = {0, 1, 0xFFFFFFFFU, 0x80000000U, 0x7FFFFFFFU, 31, 32, 255};
        given[i] = i % 3 == 0 ? special[(state >> 16) % 8] : i % 3 == 1 ? (state >> 16) % 64 : state;
    }
    for (std::size_t n = 0; n < texts.size(); ++n) {
        const std::string name = "program_" + std::to_string(n);
        const std::string source = prelude + texts[n] +
                                   "kernel void check(device uint* in [[buffer(0)]], device uint* out [[buffer(1)]], "
                                   "uint i [[thread_position_in_grid]]) {\n"
                                   "    if (i >= 32) return;\n"
                                   "    uint given[4]; uint made[8] = {};\n"
                                   "    for (int k = 0; k < 4; ++k) given[k] = in[i * 4 + k];\n    " +
                                   name +
                                   "(given, made);\n"
                                   "    for (int k = 0; k < 8; ++k) out[i * 8 + k] = made[k];\n}\n";
        std::vector<std::vector<std::byte>> buffers = {
            bytesOf(given), std::vector<std::byte>(threads * outputs * sizeof(std::uint32_t))};
        ASSERT_TRUE(runKernel(source, buffers, threads)) << name << " of " << DIFFERENTIAL_PROGRAMS;
        const std::vector<std::uint32_t> got = valuesOf<std::uint32_t>(buffers[1]);
        for (std::uint32_t thread = 0; thread < threads; ++thread) {
            std::uint32_t in[inputs];
            std::uint32_t wanted[outputs] = {};
            std::copy_n(&given[thread * inputs], inputs, in);
            programs[n](in, wanted);
            for (std::uint32_t k = 0; k < outputs; ++k)
                ASSERT_EQ(got[thread * outputs + k], wanted[k])
                    << name << " of " << DIFFERENTIAL_PROGRAMS << ", thread " << thread << ", number " << k;
        }
    }
}

} // namespace
} // namespace glasshob::testing
