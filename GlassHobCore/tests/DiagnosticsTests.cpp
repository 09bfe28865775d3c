#include "GlassHobCore/code/Diagnostics.h"

#include "MSL/Compiler.h"
#include "MSL/tests/messages/Mistakes.h"

#include <gtest/gtest.h>

using namespace glasshob;
using Severity = Diagnostic::Severity;

TEST(DiagnosticParser, ReadsMessageLines) {
    struct Case {
        std::string text;
        std::vector<Diagnostic> expected;
    };
    const std::vector<Case> cases = {
        {"", {}},
        {"program_source:3:10: error: unknown type name 'flot'",
         {{Severity::error, 0, 10, "unknown type name 'flot'"}}},
        {"shader.metal:12:5: warning: unused variable 'x'", {{Severity::warning, 12, 5, "unused variable 'x'"}}},
        {"gh_host:4:12: error: use of undeclared identifier 'shade'",
         {{Severity::error, 0, 12, "use of undeclared identifier 'shade'"}}},
        {"shader.metal:7:1: remark: something\nshader.metal:7:1: fatal error: x\nshaderXmetal:1:1: error: x", {}},
        {"In file x: shader.metal:2:3: note: see 'a: b': here", {{Severity::note, 2, 3, "see 'a: b': here"}}},
        {"shader.metal:3:1: error: a\n    flot x;\n    ^~~~\r\n\nshader.metal:3:1: error: a\n1 error generated.\n",
         {{Severity::error, 3, 1, "a"}, {Severity::error, 3, 1, "a"}}},
        {"shader.metal:99999999999999999999:99999999999999999999: error: far", {{Severity::error, 0, 0, "far"}}},
        {"shader.metal:\xD9\xA1:2: error: digits of another script",
         {{Severity::error, 0, 2, "digits of another script"}}},
        {"shader.metal:1: error: no column\nshader.metal:1:2:error: no blank\nshader.metal::2: error: no line", {}},
        {"shader.metal:1:x gh_host:1:2: error: later match", {{Severity::error, 0, 2, "later match"}}},
        {"shader.metal:1:2: error: ", {{Severity::error, 1, 2, ""}}},
        {"shader.metal:007:2: error: zeros", {{Severity::error, 7, 2, "zeros"}}},
        {"shader.metal:1:2: error: gh_host:3:4: error: inner", {{Severity::error, 1, 2, "gh_host:3:4: error: inner"}}},
    };
    for (const Case& each : cases)
        EXPECT_EQ(DiagnosticParser::parse(each.text), each.expected) << each.text;
}

TEST(Diagnostics, OfRecordsAreThoseOfTheirText) {
    std::size_t messages = 0;
    for (const auto& mistake : msl::testing::readMistakes(MSL_TEST_MISTAKES)) {
        const auto compiled = msl::compile(msl::testing::mistakesPrelude + mistake.source);
        const auto& records = compiled ? compiled->warnings : compiled.error().diagnostics;
        const std::vector<Diagnostic> found = fromCompiler(records);
        EXPECT_EQ(found, DiagnosticParser::parse(toText(records))) << mistake.name;
        messages += found.size();
    }
    EXPECT_GT(messages, 200U);
    // Of the text before the user's and behind it, too.
    const auto compiled = msl::compile("int a() { return nowhere; }\n#line 7 \"gh_host\"\nint b() { return nowhere; }\n"
                                       "#line 1 \"shader.metal\"\nint c() { return nowhere; }\n");
    ASSERT_FALSE(compiled);
    const std::vector<Diagnostic> found = fromCompiler(compiled.error().diagnostics);
    EXPECT_EQ(found, DiagnosticParser::parse(compiled.error().text));
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[1].line, 0);
    EXPECT_EQ(found[2].length, 7);
}

TEST(Diagnostic, IdentityTellsEveryField) {
    EXPECT_EQ((Diagnostic{Severity::warning, 12, 5, "unused: 'x'"}).id(), "warning:12:5:unused: 'x'");
}
