// Which programs have chains of loops that are too long for a CPU driver. That the loops still do what they did is seen
// on the device.
#include "MSL/passes/LoopChains.h"
#include "MSL/tests/lower/Lowered.h"

#include <gtest/gtest.h>

namespace msl {
namespace {

using test::Lowered;

std::string repeated(std::string_view text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

TEST(LoopChains, AreBrokenWhereTheyGetLong) {
    const std::string loop = "for (int j = 0; j < n; ++j) x = x * 3 + j;\n";
    const std::string function = "int f(int x, int n) { " + loop + " return x; }\n";
    const struct {
        const char* what;
        std::string functions, body;
        std::size_t broken;
    } cases[] = {
        {"five loops", "", repeated(loop, 5), 0},
        {"six loops", "", repeated(loop, 6), 1},
        {"twenty-two loops", "", repeated(loop, 22), 4},
        {"loops of four turns are laid out", "", repeated("for (int j = 0; j < 4; ++j) x = x * 3 + j;\n", 20), 0},
        {"loops of forty are not", "", repeated("for (int j = 0; j < 40; ++j) x = x * 3 + j;\n", 6), 1},
        {"nor are those that count backwards from there", "",
         repeated("for (int j = 40; j > 0; --j) x = x * 3 + j;\n", 6), 1},
        {"nor large ones of twenty turns", "",
         repeated("for (int j = 0; j < 20; ++j) {" + repeated("x = x * 3 + j;", 40) + "}\n", 6), 1},
        {"a loop with loops in it starts again", "",
         repeated(repeated(loop, 3) + "for (int k = 0; k < n; ++k) { " + loop + " }\n", 4), 0},
        {"branches follow one another", "", repeated("if (x > 3) { " + loop + " } else { " + loop + " }\n", 3), 1},
        {"a function counts where it is called", function, repeated("x = f(x, n);\n", 6), 1},
        {"one that is called as the sixth only sometimes", function,
         "x = f(x, n);\n" + repeated(loop, 4) + "x = f(x, n);", 1},
        {"a march with a few calls", function,
         "for (int k = 0; k < 80; ++k) { x = f(x, n); if (x > 5) break; }\n" + repeated("x = f(x, n);\n", 4), 0},
    };
    for (const auto& [what, functions, body, broken] : cases) {
        Lowered lowered(functions +
                        "kernel void k(device int* o [[buffer(0)]], constant int& n [[buffer(1)]]) {\nint x = o[0];\n" +
                        body + "\no[0] = x; }\n");
        ASSERT_EQ(lowered.errors + lowered.fault, "") << what;
        EXPECT_EQ(breakLoopChains(lowered.module, DriverLoops(lowered.module)), broken) << what;
        EXPECT_EQ(ir::verify(lowered.module), "") << what;
        EXPECT_EQ(breakLoopChains(lowered.module, DriverLoops(lowered.module)), 0U) << what << ", again";
    }
}

} // namespace
} // namespace msl
