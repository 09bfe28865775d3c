#include "MSL/source/Diagnostics.h"
#include "MSL/source/SourceManager.h"
#include "MSL/source/TokenLength.h"

#include <gtest/gtest.h>

namespace msl {
namespace {

SourceLocation at(std::string_view text, std::string_view what) {
    return SourceLocation::atOffset(static_cast<std::uint32_t>(text.find(what)));
}

TEST(Diagnostics, ShowTheLineWithACaret) {
    std::string_view text = "one\r\n\ttwo \xCF\x80 three\rfour";
    SourceManager sources(text, "file", 0, 0);
    Diagnostics diagnostics(sources);
    diagnostics.error(at(text, "three"), "no three");
    diagnostics.note(at(text, "one"), "one is here");
    EXPECT_EQ(toText(diagnostics.messages()), "file:2:9: error: no three\n\ttwo \xCF\x80 three\n\t      ^\n"
                                              "file:1:1: note: one is here\none\n^\n");
}

TEST(Diagnostics, ComeInTheOrderOfTheText) {
    std::string_view text = "a\nb\nc";
    SourceManager sources(text, "f", 0, 0);
    Diagnostics diagnostics(sources);
    diagnostics.error(at(text, "c"), "third");
    diagnostics.error(at(text, "a"), "first");
    diagnostics.note(at(text, "c"), "of the first");
    diagnostics.warning(at(text, "b"), "second");
    EXPECT_EQ(toText(diagnostics.messages()), "f:1:1: error: first\na\n^\nf:3:1: note: of the first\nc\n^\n"
                                              "f:2:1: warning: second\nb\n^\nf:3:1: error: third\nc\n^\n");
}

TEST(Diagnostics, StayBounded) {
    std::string text(100'000, 'x');
    SourceManager sources(text, "f", 0, 0);
    Diagnostics diagnostics(sources);
    for (std::uint32_t i = 0; i < 1000; ++i) {
        diagnostics.error(SourceLocation::atOffset(i * 90), std::string(5000, 'm') + '\n');
        diagnostics.note(SourceLocation::atOffset(0), "note");
    }
    EXPECT_TRUE(diagnostics.isFull());
    EXPECT_EQ(diagnostics.errorCount(), Diagnostics::errorLimit);
    EXPECT_LT(toText(diagnostics.messages()).size(), 40'000U);
    // The caret of a cut line still stands under its column.
    Diagnostics one(sources);
    one.error(SourceLocation::atOffset(50'000), "here");
    std::string shown = toText(one.messages());
    std::size_t line = shown.find('\n') + 1;
    std::size_t caretLine = shown.find('\n', line) + 1;
    EXPECT_EQ(shown.substr(line, 3), "...");
    EXPECT_EQ(shown.substr(line).find('x') + 100, shown.substr(caretLine).find('^'));
}

TEST(Diagnostics, DropRepetitionsWithTheirNotes) {
    SourceManager sources("a", "f", 0, 0);
    Diagnostics diagnostics(sources);
    for (int i = 0; i < 3; ++i) {
        diagnostics.error(SourceLocation::atOffset(0), "same");
        diagnostics.note(SourceLocation::atOffset(0), "note");
    }
    EXPECT_EQ(toText(diagnostics.messages()), "f:1:1: error: same\na\n^\nf:1:1: note: note\na\n^\n");
}

TEST(TokenLength, IsThatOfTheLexersTokens) {
    struct Row {
        std::string_view line;
        std::uint32_t length;
    };
    const Row rows[] = {
        {"", 0},         {" x", 0},     {"// x", 0}, {"x1+2", 2},    {"\xCF\x80x+", 3},
        {"1.5e-3+x", 6}, {"0x1e+2", 4}, {".5f;", 3}, {"1'000u)", 6}, {"\"a\\\"b\" c", 6},
        {"'", 1},        {"<<=2", 3},   {"->x", 2},  {"(", 1},       {"\xE2\x88\x92 1", 3},
    };
    for (const Row& row : rows)
        EXPECT_EQ(tokenLength(row.line), row.length) << row.line;
}

TEST(SourceManager, FollowsLineDirectives) {
    std::string_view text = "a\n#line 10 \"x\"\nb\n#line 5\nc";
    SourceManager sources(text, "start", 0, 0);
    sources.addLineDirective(2, 10, "x");
    sources.addLineDirective(static_cast<std::uint32_t>(text.find("#line 5")), 5, "");
    auto place = [&](std::string_view what) {
        PresumedLocation p = sources.presumed(at(text, what));
        return std::string(p.file) + ":" + std::to_string(p.line);
    };
    EXPECT_EQ(place("a"), "start:1");
    EXPECT_EQ(place("b"), "x:10");
    EXPECT_EQ(place("c"), "x:5");
}

} // namespace
} // namespace msl
