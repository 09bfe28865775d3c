#include "GlassHobCore/shader/Params.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace glasshob;

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

struct Case {
    const char* what;
    std::string source;
    std::vector<ParamDecl> expected;
};

} // namespace

TEST(ParamParser, ReadsOrSkipsEachLine) {
    const std::vector<Case> cases = {
        {"a usual line",
         "// @param speed 0.6 0.0 3.0 How fast the bands drift",
         {{"speed", 0.6f, 0, 3, "How fast the bands drift"}}},
        {"two numbers only", "// @param a 1 0", {}},
        {"default above the range", "// @param a 5 0 1", {{"a", 1, 0, 1, ""}}},
        {"default below the range", "// @param a -3 0 1", {{"a", 0, 0, 1, ""}}},
        {"equal and reversed bounds", "// @param a 0.5 1 1\n// @param b 0.5 2 1", {}},
        {"name that begins with a digit", "// @param 9lives 1 0 2", {}},
        {"name with a dash", "// @param a-b 1 0 2", {}},
        {"a rejected line leaves its name free", "// @param a x 0 1\n// @param a 1 0 2", {{"a", 1, 0, 2, ""}}},
        {"the first valid line of a name wins",
         "// @param a 1 0 2\n// @param b 3 0 4\n// @param a 9 0 9",
         {{"a", 1, 0, 2, ""}, {"b", 3, 0, 4, ""}}},
        {"no blank behind the slashes", "//@param a 1 0 2 x", {{"a", 1, 0, 2, "x"}}},
        {"block comment, code in front, third slash",
         "/* @param a 1 0 2 */\nfloat x; // @param b 1 0 2\n/// @param c 1 0 2",
         {}},
        {"letter case of the word", "// @Param a 1 0 2\n// @params b 1 0 2\n// @paramc 1 0 2", {}},
        {"every line break",
         "// @param a 1 0 2 d\r\n// @param b 1 0 2\r// @param c 1 0 2\v// @param d 1 0 2\f// @param e 1 0 2"
         "\xC2\x85// @param f 1 0 2\xE2\x80\xA8// @param g 1 0 2\xE2\x80\xA9// @param h 1 0 2",
         {{"a", 1, 0, 2, "d"},
          {"b", 1, 0, 2, ""},
          {"c", 1, 0, 2, ""},
          {"d", 1, 0, 2, ""},
          {"e", 1, 0, 2, ""},
          {"f", 1, 0, 2, ""},
          {"g", 1, 0, 2, ""},
          {"h", 1, 0, 2, ""}}},
        {"white space of other scripts separates",
         "\xC2\xA0//\xE2\x80\x83@param\xE3\x80\x80"
         "a\xC2\xA0"
         "1 0\t2\xE2\x80\x83 caf\xC3\xA9 \xC2\xA0",
         {{"a", 1, 0, 2, "caf\xC3\xA9"}}},
        {"byte-order mark", "\xEF\xBB\xBF// @param a 1 0 2", {{"a", 1, 0, 2, ""}}},
        {"numbers that are numbers",
         "// @param a +.5 0x1p-2 3e2\n// @param b 0 -inf inf\n// @param c 1e99 0 INFINITY",
         {{"a", 0.5f, 0.25f, 300, ""}, {"b", 0, -infinity, infinity, ""}, {"c", infinity, 0, infinity, ""}}},
        {"numbers that are none",
         "// @param a 1,5 0 2\n// @param b 1.5f 0 2\n// @param c \xC2\xBD 0 2\n// @param d \xD9\xA1 0 2\n"
         "// @param e 0x 0 2\n// @param f 1_0 0 2",
         {}},
        {"bounds that are NaN", "// @param a 1 nan 2\n// @param b 1 0 nan", {}},
        {"description keeps its inner blanks",
         "// @param a 1 0 2   two  words // and slashes  ",
         {{"a", 1, 0, 2, "two  words // and slashes"}}},
        {"a number with a zero byte in it", std::string("// @param a 1\0x 0 2", 19), {}},
    };
    for (const Case& each : cases)
        EXPECT_EQ(ParamParser::parse(each.source), each.expected) << each.what;
}

TEST(ParamParser, KeepsADefaultOfNaN) {
    const auto params = ParamParser::parse("// @param a nan 0 1");
    ASSERT_EQ(params.size(), 1u);
    EXPECT_TRUE(std::isnan(params[0].defaultValue));
}

TEST(ParamParser, HasNoLimitOnTheNumberOfDeclarations) {
    std::string source;
    for (int i = 0; i < 3000; ++i)
        source += "// @param p" + std::to_string(i) + " 1 0 2\n";
    const auto params = ParamParser::parse(source);
    ASSERT_EQ(params.size(), 3000u);
    EXPECT_EQ(params.back().name, "p2999");
}
