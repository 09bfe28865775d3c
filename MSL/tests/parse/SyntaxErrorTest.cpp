#include "Parsed.h"

#include <gtest/gtest.h>

namespace msl {
namespace {

std::string errorsOf(std::string_view user) {
    Hosted text = hosted(user);
    return parsed(text.text, text.begin, text.end).errors;
}

TEST(SyntaxErrors, ShowWholeTexts) {
    EXPECT_EQ(errorsOf("float4 shade(float2 uv) {\n\tfloat x = sin(uv.x;\n    return float4(x)\n}\n"),
              "shader.metal:2:20: error: expected ')'\n"
              "\tfloat x = sin(uv.x;\n"
              "\t                  ^\n"
              "shader.metal:2:15: note: to match this '('\n"
              "\tfloat x = sin(uv.x;\n"
              "\t             ^\n"
              "shader.metal:3:21: error: expected ';' after return statement\n"
              "    return float4(x)\n"
              "                    ^\n");
}

// Statements inside of a function, and all the messages about them.
TEST(SyntaxErrors, AreSaidOnce) {
    struct Row {
        std::string_view text;
        std::string_view messages;
    };
    const Row rows[] = {
        {"float x = 1.0\n  float y = 2.0;", "2:14: error: expected ';' at end of declaration\n"},
        {"x = 1.0\n  y = 2.0;", "2:8: error: expected ';' after expression\n"},
        {"x = 1.0 2.0;", "2:8: error: expected ';' after expression\n"},
        {"float x = 1.0 2.0;", "2:14: error: expected ';' at end of declaration\n"},
        {"x = ;", "2:5: error: expected expression\n"},
        {"x = y + ;", "2:9: error: expected expression\n"},
        {"x = 5 +/ 2;", "2:8: error: expected expression\n"},
        {"float3 c = float3(1, 2, );", "2:25: error: expected expression\n"},
        {"float3 c = float3(1 2, 3);", "2:21: error: expected ')'\n2:18: note: to match this '('\n"},
        {"x = (1 + 2;", "2:11: error: expected ')'\n2:5: note: to match this '('\n"},
        {"x = w[1;", "2:8: error: expected ']'\n2:6: note: to match this '['\n"},
        {"float w[2] = { 1.0, 2.0;", "2:24: error: expected '}'\n2:14: note: to match this '{'\n"},
        {"if (x > 1 { x = 2; }", "2:11: error: expected ')'\n2:4: note: to match this '('\n"},
        {"if x > 1 { x = 2; }", "2:4: error: expected '(' after 'if'\n"},
        {"while x > 1 { x = 2; }", "2:7: error: expected '(' after 'while'\n"},
        {"for (int i = 0, i < 3; i++) { }", "2:19: error: expected ';' in 'for' statement specifier\n"},
        {"for (int i = 0; i < 3) { }", "2:22: error: expected ';' in 'for' statement specifier\n"},
        {"do { } while (x > 1)", "2:21: error: expected ';' after do/while statement\n"},
        {"do { }", "2:7: error: expected 'while' in do/while loop\n"},
        {"else { x = 1; }", "2:1: error: expected expression\n"},
        {"break;", "2:1: error: 'break' statement not in loop or switch statement\n"},
        {"continue;", "2:1: error: 'continue' statement not in loop statement\n"},
        {"case 1: x = 1;", "2:1: error: 'case' statement not in switch statement\n"},
        {"switch (x) { case 1 x = 2; }", "2:20: error: expected ':' after 'case'\n"},
        {"goto done;", "2:1: error: 'goto' is not supported here\n"},
        {"double d = 1.0;", "2:1: error: 'double' is not supported in Metal\n"},
        {"float3 = 2;", "2:8: error: expected unqualified-id\n"},
        {"int float = 2;", "2:5: error: expected unqualified-id\n"},
        {"x = a ? b;", "2:10: error: expected ':'\n2:7: note: to match this '?'\n"},
        {"x = v.;", "2:7: error: expected unqualified-id\n"},
        {"x = 1f;", "2:6: error: invalid suffix 'f' on integer constant\n"},
        {"retrun x;", "2:1: error: unknown type name 'retrun'; did you mean 'return'?\n"},
        {"float y = \xE2\x80\x9Cx;", "2:11: error: unexpected character <U+201C>\n"},
        {"x = static_cast<int(3);", "2:20: error: expected '>'\n2:16: note: to match this '<'\n"},
        {"  float g(float a) { return a; }", "2:20: error: function definition is not allowed here\n"},
        {"x = [a b](float c) { return c; }(1);", "2:8: error: expected ']'\n2:5: note: to match this '['\n"},
        {"float a = 1, b = ;\n  float c = ;", "2:18: error: expected expression\n3:13: error: expected expression\n"},
    };
    for (const Row& row : rows) {
        std::string text = "float4 shade(constant Uniforms& u) {\n" + std::string(row.text) + "\n  return 1;\n}\n";
        std::string expected;
        for (std::string_view rest = row.messages; !rest.empty();) {
            std::size_t end = rest.find('\n') + 1;
            expected += "shader.metal:" + std::string(rest.substr(0, end));
            rest.remove_prefix(end);
        }
        EXPECT_EQ(messages(errorsOf(text)), expected) << row.text;
    }
}

// Whole texts with a fault outside of a function's statements.
TEST(SyntaxErrors, InDeclarationsAreSaidOnce) {
    struct Row {
        std::string_view text;
        std::string_view messages;
    };
    const Row rows[] = {
        {"struct Ray {\n  float3 o;\n  float3 d\n}\nfloat f() { return 1; }",
         "3:11: error: expected ';' at end of declaration list\n4:2: error: expected ';' after struct\n"},
        {"enum Mode { A B }\nfloat f();",
         "1:14: error: missing ',' between enumerators\n1:18: error: expected ';' after enum\n"},
        {"float f(float x,) { return x; }", "1:17: error: expected parameter declarator\n"},
        {"float f(in float x) { return x; }",
         "1:9: error: unknown type name 'in'\n1:9: note: parameters are values here: leave the word out\n"},
        {"uniform float2 size;\nfloat f();", "1:1: error: unknown type name 'uniform'\n1:1: note: values come in as "
                                             "parameters of an entry point here: 'constant float &x [[buffer(0)]]'\n"},
        {"float f(float x)\n    return x;\n}\nfloat g();",
         "1:17: error: expected function body after function declarator\n"},
        {"float f(float x) return x;\nfloat g();", "1:18: error: expected function body after function declarator\n"},
        {"float f(float x)\nfloat g();", "1:17: error: expected ';' after top level declarator\n"},
        {"main() { }", "1:1: error: a type specifier is required for all declarations\n"},
        {"float x = 1\nfloat y;", "1:12: error: expected ';' after top level declarator\n"},
        {"float f() { return 1; } }\nfloat g();", "1:25: error: extraneous closing brace ('}')\n"},
        {"using namespace metal\nfloat g();", "1:22: error: expected ';' after namespace name\n"},
        {"namespace a { float f();", "1:25: error: expected '}'\n1:13: note: to match this '{'\n"},
        {"struct S { float a;", "1:20: error: expected '}'\n1:10: note: to match this '{'\n"},
        {"float4 shade(float2 uv, ", "1:24: error: expected parameter declarator\n"},
        {"float4 shade(float2 uv", "1:23: error: expected ')'\n1:13: note: to match this '('\n"},
        {"float4 shade", "1:13: error: expected ';' after top level declarator\n"},
        {"constant float a[2] = { 1,", "1:27: error: expected '}'\n1:23: note: to match this '{'\n"},
        {"template <typename T float f(T x) { return x; }\nfloat g();",
         "1:22: error: expected '>'\n1:10: note: to match this '<'\n"},
        {"float f(float x { return x; }\nfloat g();", "1:17: error: expected ')'\n1:8: note: to match this '('\n"},
        {"float (*f)(float);", "1:7: error: a pointer to a function is not supported here\n"},
        {"float x[1][1][1][1][1][1][1][1][1][1][1][1][1][1][1][1][1][1];", "1:56: error: type is nested too deeply\n"},
        {"/* open\nfloat f();", "1:1: error: unterminated /* comment\n"},
    };
    for (const Row& row : rows) {
        std::string expected;
        for (std::string_view rest = row.messages; !rest.empty();) {
            std::size_t end = rest.find('\n') + 1;
            expected += "shader.metal:" + std::string(rest.substr(0, end));
            rest.remove_prefix(end);
        }
        EXPECT_EQ(messages(errorsOf(row.text)), expected) << row.text;
    }
}

// The commonest state of a text that is being typed. The message stands on the user's line, the note at the brace that
// the indentation shows to be the open one, and what follows is read as if the brace were there.
TEST(SyntaxErrors, FindTheBraceThatIsMissing) {
    struct Row {
        std::string_view text;
        std::string_view messages;
    };
    const Row rows[] = {
        {"float4 shade() {\n    return 1;\n", "2:14: error: expected '}'\n1:16: note: to match this '{'\n"},
        {"float4 shade() {\n    return 1;\n// the end\n\n",
         "2:14: error: expected '}'\n1:16: note: to match this '{'\n"},
        {"float4 shade() {\n    if (a) {\n        b;\n    return 1;\n}\n",
         "5:2: error: expected '}'\n2:12: note: to match this '{'\n"},
        {"float f() {\n    for (;;) {\n        b;\n\n    return 1;\n}\n\nfloat4 shade() {\n    return 1;\n}\n",
         "6:2: error: expected '}'\n2:14: note: to match this '{'\n"},
        {"float f() {\n    return 1;\n\nfloat4 shade() {\n    return 1;\n}\n",
         "2:14: error: expected '}'\n1:11: note: to match this '{'\n"},
        {"float f() {\n    return 1;\n\nstruct A { int b; };\nfloat4 shade() { return 1; }\n",
         "2:14: error: expected '}'\n1:11: note: to match this '{'\n"},
        {"float f() {\nfloat x = 1;\nif (x > 0) {\nx = 2;\nreturn x;\n}\nfloat4 shade() { return 1; }\n",
         "6:2: error: expected '}'\n1:11: note: to match this '{'\n"},
        {"float f()\n{\n    {\n    return 1;\n}\nconstant float k = 1;\n",
         "5:2: error: expected '}'\n3:5: note: to match this '{'\n"},
        {"float f() { auto g = [&](float x) { return x; ; return 1; \n",
         "1:58: error: expected '}'\n1:35: note: to match this '{'\n"},
        {"float4 shade() {\n    float x = 1;\n    x = (x +\n",
         "3:13: error: expected expression\n3:13: error: expected '}'\n1:16: note: to match this '{'\n"},
        {"float4 shade() {\n    if (x > 1) x = 2; }\n    x *= 3;\n    float y = x;\n    return y;\n}\nfloat g();\n",
         "2:23: error: extraneous closing brace ('}')\n"},
    };
    for (const Row& row : rows) {
        std::string expected;
        for (std::string_view rest = row.messages; !rest.empty();) {
            std::size_t end = rest.find('\n') + 1;
            expected += "shader.metal:" + std::string(rest.substr(0, end));
            rest.remove_prefix(end);
        }
        Hosted text = hosted(row.text);
        Parsed result = parsed(text.text, text.begin, text.end);
        EXPECT_EQ(messages(result.errors), expected) << row.text;
        EXPECT_NE(result.tree.find("\nfragment function gh_fragment("), std::string::npos) << result.tree;
    }
}

// Without knowing which bytes are a stranger's, another file that begins in the middle of a function says the same.
TEST(SyntaxErrors, FindTheMissingBraceBeforeAnotherFile) {
    Hosted text = hosted("float4 shade() {\n    return 1;\n");
    EXPECT_EQ(messages(parsed(text.text).errors),
              "shader.metal:2:14: error: expected '}'\nshader.metal:1:16: note: to match this '{'\n");
}

TEST(SyntaxErrors, StopNestingThatIsTooDeep) {
    auto repeated = [](std::string_view what, int count) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += what;
        return text;
    };
    const std::string texts[] = {
        "int x = " + repeated("(", 100'000),
        "int x = " + repeated("-", 100'000) + "1;",
        "int x = " + repeated("{", 100'000),
        "int x = 1" + repeated(" + 1", 100'000) + ";",
        "int x = a" + repeated("[0]", 100'000) + ";",
        "int x = a" + repeated(".x", 100'000) + ";",
        "int x = a" + repeated("()", 100'000) + ";",
        "int x = " + repeated("a ? b : ", 100'000) + "c;",
        "int x = " + repeated("a = ", 100'000) + "c;",
        "int x = " + repeated("(int)", 100'000) + "c;",
        "int x = " + repeated("[](){ return ", 10'000) + "c;",
        "int x = " + repeated("f(1" + repeated(" + 1", 300) + ", ", 300) + "c;",
        "void f() {" + repeated("{", 100'000),
        "void f() {" + repeated("if (a) ", 100'000),
        "void f() {" + repeated("if (a) b; else ", 100'000),
        "void f() {" + repeated("for (;;) ", 100'000),
        "void f() {" + repeated("do ", 100'000),
        repeated("namespace a { ", 100'000),
        repeated("struct A { ", 100'000),
        repeated("template <", 100'000),
        "int" + repeated("*", 100'000) + " x;",
        "int x" + repeated("[1]", 100'000) + ";",
        "vec<" + repeated("vec<", 10'000),
        "numeric_limits<" + repeated("numeric_limits<", 10'000) + "int>::x;",
        "#if " + repeated("(", 100'000) + "\n#endif",
        "#if " + repeated("!", 100'000) + "1\n#endif",
        "int x = sizeof " + repeated("sizeof ", 100'000) + "1;",
        "void f() { switch (a) " + repeated("{ case 1: switch (a) ", 100'000),
    };
    for (const std::string& text : texts)
        EXPECT_NE(parsed(text).errors, "") << text.substr(0, 60);
}

} // namespace
} // namespace msl
