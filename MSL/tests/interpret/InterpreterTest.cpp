// The interpreter against numbers worked out by hand, against the programs that check themselves on the device
// (conformance/data), and against IR that goes outside of its memory.
#include "MSL/interpret/Interpreter.h"
#include "MSL/FrontEnd.h"
#include "MSL/tests/lower/Lowered.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

using namespace msl;
using interpret::Launch;
using Outcome = interpret::Result::Outcome;

namespace {

const std::string head = "#include <metal_stdlib>\nusing namespace metal;\n";

std::unique_ptr<ir::Module> moduleOf(const std::string& text) {
    SourceManager sources(text, "test.metal", 0, 0);
    Diagnostics diagnostics(sources, WarningLevel::ignored);
    WorkLimit limit(std::chrono::milliseconds(0));
    auto module = translate(sources, diagnostics, limit);
    EXPECT_EQ(toText(diagnostics.messages()), "");
    return module;
}

template <typename T>
interpret::Buffer buffer(std::uint32_t index, std::vector<T>& values) {
    return {index, std::as_writable_bytes(std::span<T>(values))};
}

// A kernel over "device int* out" [[buffer(0)]] of eight numbers, 0 to 7, and what it leaves there.
std::vector<std::int32_t> outOf(const std::string& body, Launch launch = {}, const std::string& before = {}) {
    const auto module = moduleOf(head + before +
                                 "kernel void check(device int* out [[buffer(0)]], device float* none [[buffer(1)]],\n"
                                 "    uint3 at [[thread_position_in_grid]], uint lid [[thread_index_in_threadgroup]],\n"
                                 "    threadgroup int* shared [[threadgroup(0)]]) {\n" +
                                 body + "\n}\n");
    if (module == nullptr) return {};
    std::vector<std::int32_t> out = {0, 1, 2, 3, 4, 5, 6, 7};
    std::vector<std::byte> none(3);
    launch.buffers = {buffer(0, out), {1, none}};
    const interpret::Result result = interpret::run(*module, *module->entries.front(), launch);
    EXPECT_EQ(result.outcome, Outcome::finished) << result.message;
    return out;
}

TEST(Interpreter, ComputesWhatTheProgramSays) {
    struct {
        const char* body;
        std::int32_t expected; // out[0]
    } const cases[] = {
        {"for (int i = 0; i < 10; i++) { if (i == 3) continue; if (i == 8) break; out[0] += i; }", 25},
        {"int i = 0; do { out[0] += 2; } while (++i < 5);", 10},
        {"switch (out[2]) { case 1: out[0] = 5; break; case 2: out[0] = 6; case 3: out[0] += 1; break; default: break; "
         "}",
         7},
        {"switch (out[5]) { case 1: out[0] = 5; break; default: out[0] = 9; }", 9},
        {"float3x3 m = float3x3(2.0); out[0] = int((m * float3(1, 2, 3)).z * m[1][1]);", 12},
        {"float2x3 m = float2x3(1, 2, 3, 4, 5, 6); out[0] = int((transpose(m) * float3(1, 1, 2)).y);", 21},
        {"uchar a = 250; a += 10; out[0] = a + (char(200) < 0);", 5},
        {"out[0] = int(0x80000000u) / -1 == int(0x80000000u) ? out[1] / (out[1] - 1) : 0;", 1},
        {"out[0] = as_type<int>(half2(1.0h, 2.0h));", 0x40003C00},
        {"out[0] = int(float(out[7]) * 1e20); out[0] -= 2147483640;", 7},
        {"atomic_fetch_add_explicit((device atomic_int*)&out[3], 4, memory_order_relaxed); out[0] = out[3];", 7},
        {"out[0] = clamp(max(out[5], 2), 0, 4) + popcount(255) + abs(-3);", 15},
        {"Pair p = { 1, { 2, 3 } }; touch(p); p.b.y = 9; Pair q = p; out[0] = q.a * 100 + q.b.x * 10 + q.b.y;", 739},
        {"int a[3] = { 1, 2, 3 }; for (thread int& x : a) x *= 2; out[0] = a[out[2]];", 6},
        {"out[0] = int(none[0]) + 3; none[0] = 4; none[out[5]] += 1;", 3}, // three bytes hold no float
        {"out[0] = out[1000];", 7},                                        // the last one
    };
    for (const auto& [body, expected] : cases) {
        SCOPED_TRACE(body);
        const auto out =
            outOf(body, {}, "struct Pair { int a; int2 b; };\nvoid touch(thread Pair& p) { p.a = 7; p.b.x++; }\n");
        ASSERT_EQ(out.size(), 8U);
        EXPECT_EQ(out[0], expected);
    }
}

TEST(Interpreter, RunsTheThreadsOfAGroupFromBarrierToBarrier) {
    const char* const sum = "shared[lid] = out[at.x]; threadgroup_barrier(mem_flags::mem_threadgroup);\n"
                            "for (uint n = 2; n > 0; n /= 2) { if (lid < n) shared[lid] += shared[lid + n];\n"
                            "  threadgroup_barrier(mem_flags::mem_threadgroup); }\n"
                            "out[at.x] = shared[0];";
    Launch launch;
    launch.groups = {2, 1, 1};
    launch.groupSize = {4, 1, 1};
    launch.lengths = {{0, 4}};
    EXPECT_EQ(outOf(sum, launch), (std::vector<std::int32_t>{6, 6, 6, 6, 22, 22, 22, 22}));
}

TEST(Interpreter, StopsAtTheFirstAccessOutside) {
    // Before the index checks, so that nothing is in the way.
    struct {
        const char* body;
        const char* message;
    } const cases[] = {
        {"int a[3] = {}; a[out[5]] = 1;", "store: index 5 into 'a', where there are 3"},
        {"out[out[7] - 8] = 1;", "store: index -1 into 'out', where there are 8"},
        {"int3 v = int3(1); v[out[3]] = 1;", "store: index 3 into 'v', where there are 3"},
        {"const int4 v = int4(out[0]); out[0] = v[out[4]];", "extractDynamic: component 4 of 4"},
    };
    for (const auto& [body, message] : cases) {
        SCOPED_TRACE(body);
        test::Lowered lowered("kernel void check(device int* out [[buffer(0)]]) { " + std::string(body) + " }");
        ASSERT_EQ(lowered.errors, "");
        std::vector<std::int32_t> out = {0, 1, 2, 3, 4, 5, 6, 7};
        Launch launch;
        launch.buffers = {buffer(0, out)};
        EXPECT_EQ(interpret::run(lowered.module, *lowered.module.entries.front(), launch).message, message);
        checkIndexes(lowered.module);
        EXPECT_EQ(interpret::run(lowered.module, *lowered.module.entries.front(), launch).message, "");
    }
}

TEST(Interpreter, SaysWhatItCannotDo) {
    const auto outcome = [](const std::string& text, std::uint64_t mostSteps = 1000) {
        const auto module = moduleOf(head + text);
        std::vector<std::int32_t> out(4);
        Launch launch;
        launch.buffers = {buffer(0, out)};
        launch.mostSteps = mostSteps;
        const auto result = interpret::run(*module, *module->entries.front(), launch);
        return std::pair(result.outcome, result.message);
    };
    using Told = std::pair<Outcome, std::string>;
    EXPECT_EQ(outcome("kernel void check(device int* out [[buffer(0)]]) { while (true) out[0]++; }"),
              Told(Outcome::tooLong, "the program did not end within 1000 steps"));
    EXPECT_EQ(outcome("kernel void check(device int* out [[buffer(0)]]) { out[0] = simd_sum(out[1]); }").first,
              Outcome::notSupported);
    EXPECT_EQ(outcome("kernel void check(texture2d<float> t [[texture(0)]], device float* out [[buffer(0)]]) {\n"
                      "  out[0] = t.read(uint2(0)).x; }")
                  .first,
              Outcome::notSupported);
}

TEST(Interpreter, GivesWhatAFragmentReturnsAndWhetherItIsDiscarded) {
    const auto module = moduleOf(head + "struct In { float4 at [[position]]; float2 uv; };\n"
                                        "fragment float4 f(In in [[stage_in]], device int* out [[buffer(0)]]) {\n"
                                        "  if (in.uv.x > 0.5) discard_fragment(); out[0] = 5;\n"
                                        "  return float4(in.uv, in.at.x, 1); }\n");
    for (const float x : {0.25F, 0.75F}) {
        std::vector<std::int32_t> out(1);
        Launch launch;
        launch.buffers = {buffer(0, out)};
        const auto number = [](float value) { return constant::Scalar::floating(ScalarKind::float_, value); };
        launch.inputs = {{ir::SystemValue::fragCoord, 0, {number(3), number(4), number(0), number(1)}},
                         {ir::SystemValue::none, 0, {number(x), number(0.5F)}}};
        const auto result = interpret::run(*module, *module->entries.front(), launch);
        ASSERT_EQ(result.message, "");
        EXPECT_EQ(result.isDiscarded, x > 0.5F);
        EXPECT_EQ(out[0], x > 0.5F ? 0 : 5);
        ASSERT_EQ(result.outputs.size(), 1U);
        ASSERT_EQ(result.outputs[0].components.size(), 4U);
        EXPECT_EQ(result.outputs[0].components[0].asFloat(), x);
        EXPECT_EQ(result.outputs[0].components[2].asFloat(), 3.0F);
    }
}

// The sections of a file, each a program that puts the line of its first failed check into failed[0].
TEST(Interpreter, RunsTheProgramsThatCheckThemselves) {
    const std::string begin =
        "#include <metal_stdlib>\nusing namespace metal;\n"
        "#define CHECK(...) do { if (!(__VA_ARGS__) && failed[0] == 0) failed[0] = uint(__LINE__); } while (false)\n"
        "#define MAIN static void run(device uint* failed, device int* data); "
        "kernel void check(device uint* failed [[buffer(0)]], device int* data [[buffer(1)]], "
        "uint thread_number [[thread_position_in_grid]]) { if (thread_number == 0) run(failed, data); } "
        "static void run(device uint* failed, device int* data)\n";
    for (const char* file : {"class-checks", "pointer-checks", "statement-checks", "template-checks"}) {
        std::ifstream in(std::string(MSL_CONFORMANCE_DATA "/") + file + ".metal");
        ASSERT_TRUE(in) << file;
        std::vector<std::pair<std::string, std::string>> sections;
        for (std::string line; std::getline(in, line);) {
            if (line.starts_with("//= "))
                sections.emplace_back(line, std::string());
            else if (!sections.empty())
                sections.back().second += line + "\n";
        }
        for (const auto& [name, text] : sections) {
            SCOPED_TRACE(file + name);
            const auto module = moduleOf(begin + text);
            ASSERT_NE(module, nullptr);
            std::vector<std::uint32_t> failed(4);
            std::vector<std::int32_t> numbers(16);
            std::vector<float> floats(16);
            for (int i = 0; i < 16; ++i) {
                numbers[static_cast<std::size_t>(i)] = i;
                floats[static_cast<std::size_t>(i)] = static_cast<float>(i);
            }
            std::vector<float> constants = floats;
            Launch launch;
            launch.buffers = {buffer(0, failed), buffer(1, numbers), buffer(2, floats), buffer(3, constants)};
            const auto result = interpret::run(*module, *module->entries.front(), launch);
            EXPECT_EQ(result.message, "");
            EXPECT_EQ(failed[0], 0U) << "line " << failed[0] << " of\n" << text;
        }
    }
}

} // namespace
