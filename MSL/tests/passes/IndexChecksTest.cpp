// Which indices are proved to be in range and left alone, and which get a clamp. Every source here reads "a[<index>]"
// once out of an array that the compiler cannot see through; leaving out a clamp wrongly would be a hole in the
// sandbox.
#include "MSL/tests/lower/Lowered.h"

#include <gtest/gtest.h>

using namespace msl;
using msl::test::Lowered;

namespace {

enum class Verdict { proved, clamped };

std::string program(std::string_view body) {
    return "struct A { float a[8]; };\n"
           "kernel void k(device float& out [[buffer(0)]], constant A& c [[buffer(1)]], constant int& given "
           "[[buffer(2)]],\n"
           "              uint id [[thread_position_in_grid]]) {\n    int n = given; float s = 0;\n    " +
           std::string(body) + "\n    out = s;\n}\n";
}

TEST(IndexChecks, LeaveOutWhatIsProvedAndNothingElse) {
    struct {
        std::string_view body;
        Verdict verdict;
    } const cases[] = {
        {"s = c.a[7];", Verdict::proved},
        {"s = c.a[n];", Verdict::clamped},
        {"s = c.a[n & 7];", Verdict::proved},
        {"s = c.a[n & 15];", Verdict::clamped},
        {"s = c.a[n & -2];", Verdict::clamped},
        {"s = c.a[id % 8u];", Verdict::proved},
        {"s = c.a[id % 9u];", Verdict::clamped},
        {"s = c.a[n % 8];", Verdict::clamped},      // may be negative
        {"s = c.a[abs(n) % 8];", Verdict::clamped}, // abs of the least int is negative
        {"s = c.a[(n & 255) % 8];", Verdict::proved},
        {"s = c.a[(n & 63) >> 3];", Verdict::proved},
        {"s = c.a[(n & 63) / 8];", Verdict::proved},
        {"s = c.a[(n & 63) / 7];", Verdict::clamped},
        {"s = c.a[clamp(n, 0, 7)];", Verdict::proved},
        {"s = c.a[clamp(n, -1, 7)];", Verdict::clamped},
        {"s = c.a[clamp(n, 0, 8)];", Verdict::clamped},
        {"s = c.a[min(n, 7)];", Verdict::clamped},
        {"s = c.a[max(min(n, 7), 0)];", Verdict::proved},
        {"s = c.a[min(id, 7u)];", Verdict::proved},
        {"s = c.a[(n & 3) + (n & 4)];", Verdict::proved},
        {"s = c.a[(n & 3) * 2 + 1];", Verdict::proved},
        {"s = c.a[(n & 3) - 1];", Verdict::clamped},
        {"s = c.a[n > 2 ? 1 : 7];", Verdict::proved},
        {"s = c.a[n > 2 ? 1 : 8];", Verdict::clamped},
        {"s = c.a[uint(n) >> 29];", Verdict::proved},
        {"s = c.a[n >> 29];", Verdict::clamped},
        {"for (int i = 0; i < 8; i++) s += c.a[i];", Verdict::proved},
        {"for (int i = 0; i <= 7; ++i) s += c.a[i];", Verdict::proved},
        {"for (uint i = 0; i < 8; i += 2) s += c.a[i + 1u];", Verdict::clamped}, // 7 + 1, as far as a range can tell
        {"for (int i = 0; i < 4; i++) s += c.a[i * 2 + 1];", Verdict::proved},
        {"for (int i = 7; i >= 0; i--) s += c.a[i];", Verdict::proved},
        {"for (int i = 8; i > 0; --i) s += c.a[i - 1];", Verdict::proved},
        {"for (int i = 0; i < 9; i++) s += c.a[i];", Verdict::clamped},
        {"for (int i = -1; i < 8; i++) s += c.a[i];", Verdict::clamped},
        {"for (int i = 0; i < n; i++) s += c.a[i];", Verdict::clamped},
        {"for (int i = n; i < 8; i++) s += c.a[i];", Verdict::clamped},
        {"for (int i = 0; i != 8; i++) s += c.a[i];", Verdict::clamped},
        {"for (int i = 0; i < 8; i--) s += c.a[i];", Verdict::clamped},
        {"for (int i = 0; i < 8; i++) { s += c.a[i]; i += n; }", Verdict::clamped},
        {"for (int i = 0; i < 8; i++) { i++; s += c.a[i]; }", Verdict::clamped},
        {"for (int i = 0; i < 8; i += 3) s += c.a[i];", Verdict::proved},
        {"for (int i = 0; i < 8; i = i * 2 + 1) s += c.a[i];", Verdict::clamped},
        {"int i = 0; for (; i < 8; i++) { } s = c.a[i];", Verdict::clamped}, // read behind the loop: 8
        {"int i = 0; while (i < 8) { s += c.a[i]; i++; }", Verdict::proved},
        {"int i = 0; while (i < 8) { i++; s += c.a[i]; }", Verdict::clamped}, // 8
        {"int i = 0; while (i < 8) { i++; s += c.a[i - 1]; }", Verdict::proved},
        {"int i = 100; int j = i; i = 0; for (; i < 8; i++) s += c.a[j];", Verdict::clamped}, // read before the loop
        {"int i = 0; for (int r = 0; r < n; r++) { i += 1 << 29; for (; i < 8; i++) s += c.a[i]; }", Verdict::clamped},
        {"for (int i = 0; i < 2147483647; i += 2) s += c.a[i > 7 ? 7 : i];", Verdict::clamped}, // i comes round
        {"for (uint i = 7; i >= 0u; i--) s += c.a[i];", Verdict::clamped}, // i comes round below zero
        {"for (int j = 0; j < 2; j++) for (int i = 0; i < 4; i++) s += c.a[j * 4 + i];", Verdict::proved},
        {"for (int i = 0; i < 8; i++) { if (s > 2.0) continue; s += c.a[i]; }", Verdict::proved},
        {"for (int i = 0; i < 8 && s < 9.0; i++) s += c.a[i];", Verdict::proved},
        {"for (ushort i = 0; i < 8; i++) s += c.a[i];", Verdict::proved},
        {"for (uint i = id; i < 8u; i += 4u) s += c.a[i];", Verdict::proved},
        {"for (uchar i = 0; i < 250; i += 10) s += c.a[i < 8 ? i : 0]; for (uchar i = 100; i < 8;) i++;",
         Verdict::clamped}, // a conditional expression is a branch, or a value that nobody compares
        {"for (int j = 0; j < 8; j++) for (int i = 0; i < j; i++) s += c.a[i + 1];", Verdict::proved},
        {"int i = 3; if (n > 2) i = n; s = c.a[i];", Verdict::clamped},
        {"int i = 3; s = c.a[i]; i = n;", Verdict::proved},
        // The step adds to something that was read before, elsewhere or by another pass.
        {"int i = 2147483647; const int j = i; for (i = 0; i < 4; i = j + 1) s += c.a[i];", Verdict::clamped},
        {"int i = 0; int j = 0; for (; i < 4; i = j + 1) { j = i; i = 100; s += c.a[i]; }", Verdict::clamped},
        {"int i = 0; for (; i < 4;) { const int j = i; for (int k = 0; k < 9; k++) i = j + 1; s += c.a[i + 3]; }",
         Verdict::clamped},
        // More than one write, or one that runs more than once in a pass.
        {"for (int i = 0; i < 8; i++) { if (s > 2.0) i = n; s += c.a[i]; }", Verdict::clamped},
        {"for (int i = 0; i < 8; i += 1) { for (int k = 0; k < n; k++) i += 1 << 28; s += c.a[i]; }", Verdict::clamped},
        {"for (int i = 0; i < 8;) { for (int k = 0; k < 99; k++) i += 1 << 28; if (i > 0) break; s += c.a[i]; }",
         Verdict::clamped},
        // The test is not what the body relies on.
        {"int i = 0; int j = i; for (i = -5; j < 8; i++) { s += c.a[i]; j = i; }", Verdict::clamped},
        {"for (int i = -2147483647; i < 8; i -= 2) s += c.a[i];", Verdict::clamped}, // comes round from below
        {"for (int i = 0; i < 8 || s < 3.0; i++) s += c.a[i];", Verdict::clamped},
        {"int i = -1; while (++i < 8) s += c.a[i];", Verdict::clamped}, // would be proved with its step looked into
        {"s = c.a[clamp(n, 7, 0)];", Verdict::clamped},                 // the bounds the wrong way round
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.body);
        Lowered lowered(program(one.body));
        ASSERT_EQ(lowered.errors, "");
        const IndexCheckCounts counts = checkIndexes(lowered.module);
        EXPECT_EQ(ir::verify(lowered.module), "");
        EXPECT_EQ(counts.proved + counts.clamped, 1U);
        EXPECT_EQ(counts.clamped > 0 ? Verdict::clamped : Verdict::proved, one.verdict);
    }
}

TEST(IndexChecks, CoverEveryKindOfIndex) {
    Lowered lowered("struct S { float4x4 m; float3 v[2]; };\n"
                    "constant float table[3] = { 1, 2, 3 };\n"
                    "kernel void k(device S* out [[buffer(0)]], const device float* in [[buffer(1)]],\n"
                    "              uint id [[thread_position_in_grid]]) {\n"
                    "  int i = int(in[id]); float l[4] = {}; l[i] = table[i]; float3 v = float3(l[i]); v[i] = 2.0;\n"
                    "  const float3 w = float3(in[i]); out[i].m[i][i] = v[i] + w[i]; out[i].v[i][i] = 1.0; }\n");
    ASSERT_EQ(lowered.errors, "");
    const IndexCheckCounts counts = checkIndexes(lowered.module);
    EXPECT_EQ(ir::verify(lowered.module), "");
    EXPECT_EQ(counts.proved, 0U);
    EXPECT_EQ(counts.clamped, 14U);
    const std::string text = ir::toText(lowered.module);
    for (std::size_t at = text.find("[%"); at != std::string::npos; at = text.find("[%", at + 1))
        EXPECT_EQ(text[text.find(']', at) - 1], '!') << text.substr(at, 20);
    // A buffer's length is asked once in a function.
    std::size_t asked = 0;
    for (std::size_t at = text.find("arrayLength"); at != std::string::npos; at = text.find("arrayLength", at + 1))
        ++asked;
    EXPECT_EQ(asked, 2U);
}

TEST(IndexChecks, RunTwiceChangeNothing) {
    Lowered lowered(program("s = c.a[n];"));
    ASSERT_EQ(lowered.errors, "");
    checkIndexes(lowered.module);
    const std::string once = ir::toText(lowered.module);
    const IndexCheckCounts again = checkIndexes(lowered.module);
    EXPECT_EQ(again.clamped + again.proved, 0U);
    EXPECT_EQ(ir::toText(lowered.module), once);
}

} // namespace
