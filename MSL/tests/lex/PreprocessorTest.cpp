#include "MSL/lex/Preprocessor.h"

#include <gtest/gtest.h>

namespace msl {
namespace {

struct Result {
    std::string tokens;
    std::string errors;
    std::string warnings;
};

Result preprocess(std::string_view text, std::size_t userTextBegin = 0, std::size_t userTextEnd = 0) {
    SourceManager sources(text, "t", userTextBegin, userTextEnd);
    Diagnostics diagnostics(sources);
    Arena arena;
    IdentifierTable identifiers(arena);
    Preprocessor preprocessor(sources, identifiers, arena, diagnostics);
    Result result;
    Token token;
    for (preprocessor.next(token); !token.is(TokenKind::eof); preprocessor.next(token)) {
        if (!result.tokens.empty()) result.tokens += ' ';
        result.tokens += token.is(TokenKind::regionEnd) ? std::string_view("<end>") : spelling(token);
        if (result.tokens.size() > 10'000) break;
    }
    (diagnostics.hasErrors() ? result.errors : result.warnings) = toText(diagnostics.messages());
    return result;
}

TEST(Preprocessor, ExpandsMacros) {
    struct Row {
        std::string_view text;
        std::string_view tokens;
    };
    const Row rows[] = {
        {"#define N 64\nN n N", "64 n 64"},
        {"#define SQ(x) ((x) * (x))\nSQ(a + 1)", "( ( a + 1 ) * ( a + 1 ) )"},
        {"#define SQ(x) x*x\nSQ (SQ(2)) SQ", "2 * 2 * 2 * 2 SQ"},
        {"#define A B\n#define B A\nA B", "A B"}, // a name met in its own expansion stays
        {"#define f(x) f(x + 1)\nf(f(1))", "f ( f ( 1 + 1 ) + 1 )"},
        {"#define EMPTY\na EMPTY b", "a b"},
        {"#define CALL(f, ...) f(__VA_ARGS__)\nCALL(g, 1, 2) CALL(h)", "g ( 1 , 2 ) h ( )"},
        {"#define STR(x) #x\nSTR(a + \"b\") STR( c  d )", "\"a + \\\"b\\\"\" \"c d\""},
        {"#define CAT(a, b) a##b\nCAT(float, 3) CAT(x, CAT)", "float3 xCAT"},
        {"#define V(n) float##n\n#define W V(2)\nW V(4)", "float2 float4"},
        {"#define F(a, b) a b\nF((1, 2), [3])", "( 1 , 2 ) [ 3 ]"},
        {"#define F(a) [a]\nF(\n1\n)", "[ 1 ]"},
        {"#define OBJ (1)\nOBJ", "( 1 )"},
        {"#define X 1\n#undef X\nX", "X"},
        {"#define LONG a \\\n b\nLONG", "a b"},
        {"#define F() 1\nF()", "1"},
        {"#define REST(a, ...) a, ##__VA_ARGS__\nREST(1) REST(1, 2)", "1 1 , 2"},
        {"#define LP (\n#define F(x) <x>\nF LP 1)", "F ( 1 )"},
        {"M_PI_F __METAL_VERSION__ UINT_MAX", "3.141592653589793f 320 4294967295u"},
        {"#undef M_PI_F\nM_PI_F", "M_PI_F"},
        {"#define M_PI_F 3\nM_PI_F", "3"},
        {"__LINE__\n#line 20\n__LINE__ __FILE__", "1 20 \"t\""},
    };
    for (const Row& row : rows) {
        Result result = preprocess(row.text);
        EXPECT_EQ(result.tokens, row.tokens) << row.text;
        EXPECT_EQ(result.errors, "") << row.text;
    }
}

TEST(Preprocessor, ChoosesBranches) {
    struct Row {
        std::string_view condition;
        bool holds;
    };
    const Row rows[] = {
        {"1", true},
        {"0", false},
        {"UNKNOWN", false},
        {"defined(N) && N > 3", true},
        {"defined N", true},
        {"!defined(M)", true},
        {"N == 4 ? 0 : 1", false},
        {"(1 << 3) == 8 && 16 >> 2 == 4", true},
        {"1 + 2 * 3 == 7", true},
        {"-1 < 0", true},
        {"-1 < 0u", false}, // unsigned, as in C
        {"0x10 == 16 && 'a' == 97", true},
        {"__METAL_VERSION__ >= 300", true},
        {"~0 == -1", true},
        {"7 % 4 == 3 && 7 / -2 == -3", true},
        {"__has_include(<metal_stdlib>) && !__has_include(\"x.h\")", true},
        {"3 > 2 > 1", false},
        {"1 || 0 && 0", true},
    };
    for (const Row& row : rows) {
        std::string text = "#define N 4\n#if " + std::string(row.condition) + "\nyes\n#else\nno\n#endif";
        Result result = preprocess(text);
        EXPECT_EQ(result.tokens, row.holds ? "yes" : "no") << row.condition;
        EXPECT_EQ(result.errors, "") << row.condition;
    }
    EXPECT_EQ(preprocess("#if 0\na\n#elif 1\nb\n#elif 1\nc\n#else\nd\n#endif\ne").tokens, "b e");
    EXPECT_EQ(preprocess("#ifdef X\na\n#if 1\nb\n#endif\n#else\nc\n#endif").tokens, "c");
    EXPECT_EQ(preprocess("#ifndef X\n#define X\na\n#endif\n#ifndef X\nb\n#endif").tokens, "a");
    EXPECT_EQ(preprocess("#if 0\n it's \"fine @ /* \n */\n#endif\na").errors, "");
}

TEST(Preprocessor, IgnoresWhatTheLanguageBringsAlong) {
    Result result = preprocess("#include <metal_stdlib>\n#include <simd/simd.h>\n#pragma once\n#\n# 12 \"other\"\nx");
    EXPECT_EQ(result.tokens, "x");
    EXPECT_EQ(result.errors, "");
}

TEST(Preprocessor, ReportsFaults) {
    struct Row {
        std::string_view text;
        std::string_view errors;
    };
    const Row rows[] = {
        {"#include \"noise.h\"", "t:1:10: error: 'noise.h' file not found\n#include \"noise.h\"\n         ^\n"},
        {"#include <SwiftUI/SwiftUI_Metal.h>",
         "t:1:10: error: 'SwiftUI/SwiftUI_Metal.h' file not found\n#include <SwiftUI/SwiftUI_Metal.h>\n         ^\n"},
        {"#include", "t:1:2: error: expected \"FILENAME\" or <FILENAME>\n#include\n ^\n"},
        {"#if 1\nx", "t:1:2: error: unterminated conditional directive\n#if 1\n ^\n"},
        {"#endif", "t:1:2: error: #endif without #if\n#endif\n ^\n"},
        {"#else", "t:1:2: error: #else without #if\n#else\n ^\n"},
        {"#if 1\n#else\n#else\n#endif", "t:3:2: error: #else after #else\n#else\n ^\n"},
        {"#if\n#endif", "t:1:2: error: expected value in expression\n#if\n ^\n"},
        {"#if (1\n#endif", "t:1:7: error: expected ')' in preprocessor expression\n#if (1\n      ^\n"
                           "t:1:5: note: to match this '('\n#if (1\n    ^\n"},
        {"#if 1 / 0\n#endif", "t:1:7: error: division by zero in preprocessor expression\n#if 1 / 0\n      ^\n"},
        {"#if 1.0\n#endif", "t:1:5: error: floating point literal in preprocessor expression\n#if 1.0\n    ^\n"},
        {"#error nothing here", "t:1:2: error: nothing here\n#error nothing here\n ^\n"},
        {"#nonsense", "t:1:2: error: invalid preprocessing directive\n#nonsense\n ^\n"},
        {"#define", "t:1:8: error: macro name missing\n#define\n       ^\n"},
        {"#define 3", "t:1:9: error: macro name must be an identifier\n#define 3\n        ^\n"},
        {"#define F(a", "t:1:12: error: missing ')' in macro parameter list\n#define F(a\n           ^\n"},
        {"#define F(a) #b",
         "t:1:14: error: '#' is not followed by a macro parameter\n#define F(a) #b\n             ^\n"},
        {"#define F a ##",
         "t:1:13: error: '##' cannot appear at end of macro expansion\n#define F a ##\n            ^\n"},
        {"#line x", "t:1:7: error: #line directive requires a positive integer argument\n#line x\n      ^\n"},
        {"#line 3 x", "t:1:9: error: invalid filename for #line directive\n#line 3 x\n        ^\n"},
        {"#define F(a) a\nF(1, 2)",
         "t:2:1: error: too many arguments provided to function-like macro invocation\nF(1, 2)\n^\n"
         "t:1:9: note: macro 'F' defined here\n#define F(a) a\n        ^\n"},
        {"#define F(a, b) a\nF(1)",
         "t:2:1: error: too few arguments provided to function-like macro invocation\nF(1)\n^\n"
         "t:1:9: note: macro 'F' defined here\n#define F(a, b) a\n        ^\n"},
        {"#define F(a) a\nF(1", "t:2:1: error: unterminated function-like macro invocation\nF(1\n^\n"
                                "t:1:9: note: macro 'F' defined here\n#define F(a) a\n        ^\n"},
        {"#define CAT(a, b) a ## b\nCAT(+, x)",
         "t:2:5: error: pasting formed '+x', an invalid preprocessing token\nCAT(+, x)\n    ^\n"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(preprocess(row.text).errors, row.errors) << row.text;
    EXPECT_EQ(preprocess("#define A 1\n#define A 2").warnings,
              "t:2:9: warning: 'A' macro redefined\n#define A 2\n        ^\n"
              "t:1:9: note: previous definition is here\n#define A 1\n        ^\n");
    EXPECT_EQ(preprocess("#define A 1\n#define A 1").warnings, "");
}

TEST(Preprocessor, BoundsExpansion) {
    std::string text = "#define A0 x x x x x x x x\n";
    for (int i = 1; i < 12; ++i) {
        std::string before = "A" + std::to_string(i - 1);
        text += "#define A" + std::to_string(i);
        for (int j = 0; j < 8; ++j)
            text += " " + before;
        text += "\n";
    }
    SourceManager sources(text += "A11", "t", 0, 0);
    Diagnostics diagnostics(sources);
    Arena arena;
    IdentifierTable identifiers(arena);
    Preprocessor preprocessor(sources, identifiers, arena, diagnostics);
    Token token;
    std::uint64_t count = 0;
    for (preprocessor.next(token); !token.is(TokenKind::eof); preprocessor.next(token))
        ASSERT_LT(++count, 2 * Preprocessor::expansionLimit);
    EXPECT_NE(toText(diagnostics.messages()).find("error: macro expansion produces too many tokens"),
              std::string::npos);

    // Calls inside of calls as deep as anyone likes.
    std::string calls = "#define F(x) x\n";
    for (int i = 0; i < 5000; ++i)
        calls += "F(";
    calls += "1";
    calls.append(5000, ')');
    EXPECT_NE(preprocess(calls).errors, "");
}

// The host's text stands around the user's: what the user leaves open must not swallow it.
TEST(Preprocessor, EndsEverythingAtTheEndOfTheForeignText) {
    std::string before = "before\n#line 1 \"user\"\n";
    std::string after = "\n#line 1 \"host\"\nafter";
    auto around = [&](std::string user) {
        std::string text = before + user + after;
        return preprocess(text, before.size(), before.size() + user.size());
    };
    EXPECT_EQ(around("a").tokens, "before <end> a <end> after");
    for (std::string_view open : {"#if 0\n", "/* \n", "#define F(x) x\nF(\n", "// \\\n", "\"\n"}) {
        Result result = around(std::string(open));
        EXPECT_TRUE(result.tokens.ends_with("<end> after")) << open << result.tokens;
    }
    EXPECT_EQ(around("#if 0\n").errors, "user:1:2: error: unterminated conditional directive\n#if 0\n ^\n");
    // A stranger's #line is for __LINE__: messages tell lines that the text has.
    EXPECT_EQ(around("#line 7 \"host\"\n@").errors, "user:2:1: error: unexpected '@' in program\n@\n^\n");
    EXPECT_EQ(around("a\n#line 500\n#line 4294967295\n\n@").errors,
              "user:5:1: error: unexpected '@' in program\n@\n^\n");
    EXPECT_EQ(around("__LINE__\n#line 500 \"user\"\n__LINE__ __FILE__\n__LINE__").tokens,
              "before <end> 1 500 \"user\" 501 <end> after");
    EXPECT_EQ(around("#line 500").errors, "");
}

} // namespace
} // namespace msl
