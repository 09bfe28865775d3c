#include "GlassHobCore/code/DirectiveNotes.h"

#include "GlassHobCore/shader/Params.h"
#include "GlassHobCore/shader/ShaderAssembler.h"

#include <gtest/gtest.h>

using namespace glasshob;

namespace {

// The text after a note's edit.
std::string mended(std::string source, const Diagnostic& note) {
    std::size_t at = 0;
    for (std::uint32_t line = 1; line < note.fixIt->line; ++line)
        at = source.find('\n', at) + 1;
    return source.replace(at + note.fixIt->column - 1, note.fixIt->length, note.fixIt->replacement);
}

} // namespace

TEST(DirectiveNotes, WhatNobodyCanFollowIsTold) {
    struct Case {
        std::string line;
        std::string underlined; // what the note is about
        std::string says;       // in its message
        std::string mended;     // empty: no edit is known
    };
    const Case cases[] = {
        {"// @param", "param", "no slider", ""},
        {"// @param speed", "speed", "a default, a minimum and a maximum", ""},
        {"  //@param speed 1 0", "speed", "a default, a minimum and a maximum", ""},
        {"// @param 2x 1 0 2", "2x", "'2x' is no name", ""},
        {"// @param a 1,5 0 2", "1,5", "'1,5' is not a number", "// @param a 1.5 0 2"},
        {"// @param a 1 0.0f 2", "0.0f", "not a number", "// @param a 1 0.0 2"},
        {"// @param a 1 0 x", "x", "'x' is not a number", ""},
        {"// @param a 1.5 2 1 text", "2 1", "the minimum 2 is not below the maximum 1", "// @param a 1.5 1 2 text"},
        {"// @param a 0.5 1 1", "1 1", "not below", ""},
        {"// @param a 5 0 1", "5", "begins at 1", "// @param a 1 0 1"},
        {"// @param a -3 0 1", "-3", "begins at 0", "// @param a 0 0 1"},
        {"// @param float 1 0 2", "float", "word of the language", ""},
        {"// @params a 1 0 2", "params", "did you mean '@param'?", "// @param a 1 0 2"},
        {"// @Still 4", "Still", "did you mean '@still'?", "// @still 4"},
        {"// @param: a 1 0 2", "param", "a blank is missing", ""},
        {"// @still abc", "abc", "@still is not read", ""},
        {"// @still 1,5", "1,5", "@still is not read", "// @still 1.5"},
        {"// @still -1", "-1", "0 or more", ""},
        {"// @length 0", "0", "above 0", ""},
        {"// @particles many", "many", "the number of particles", ""},
        {"// @particles 100 dots", "100 dots", "nothing behind it", ""},
        {"// @grid 5000", "5000", "at most 1024", "// @grid 1024"},
        {"// @variations 3, x", "x", "numbers above 0", ""},
        {"// @episode Smoke rings", "Smoke rings", "a number and a title", ""},
        {"// @teaches", "teaches", "nothing stands behind it", ""},
    };
    for (const Case& each : cases) {
        // Breaks of every kind before it, as the compiler and the editor count them.
        const std::string source = "\xEF\xBB\xBF// one\r\n// two\r\v\f\xE2\x80\xA8// three\n" + each.line + "\nend";
        const auto notes = directiveNotes(source);
        ASSERT_EQ(notes.size(), 1U) << each.line;
        EXPECT_EQ(notes[0].severity, Diagnostic::Severity::warning);
        EXPECT_EQ(notes[0].line, 4) << each.line;
        EXPECT_EQ(each.line.substr(std::size_t(notes[0].column - 1), std::size_t(notes[0].length)), each.underlined);
        EXPECT_NE(notes[0].message.find(each.says), std::string::npos) << notes[0].message;
        EXPECT_EQ(notes[0].fixIt.has_value(), !each.mended.empty()) << each.line;
        if (!notes[0].fixIt || each.mended.empty()) continue;
        const auto alone = directiveNotes(each.line);
        ASSERT_EQ(alone.size(), 1U);
        EXPECT_EQ(mended(each.line, alone[0]), each.mended);
        EXPECT_TRUE(directiveNotes(each.mended).empty()) << each.mended;
    }
}

TEST(DirectiveNotes, WhatIsReadHasNoNote) {
    EXPECT_TRUE(directiveNotes(ShaderTemplate::make("New")).empty());
    EXPECT_TRUE(directiveNotes("").empty());
    const char* const good[] = {
        "// @param speed 0.6 0.0 3.0 How fast",
        "//@param\ta -inf -inf inf",
        "// @particles 0100 ",
        "// @still 0",
        "// @variations 3, 7,12",
        "// @episode 12",
        "// @forked-from s/ab12",
        "// @author somebody", // not ours
        "/// @param uv where", // a comment of another kind
        "// see @param for the numbers",
        "float x; // @param a",
    };
    for (const char* line : good)
        EXPECT_TRUE(directiveNotes(line).empty()) << line;
}

TEST(DirectiveNotes, WhatDependsOnOtherLines) {
    auto notes = directiveNotes("// @param a x 0 1\n// @param a 0 0 1\n// @param a 0 0 1\n");
    ASSERT_EQ(notes.size(), 2U) << "a line that makes no slider blocks no other";
    EXPECT_EQ(notes[1].line, 3);
    EXPECT_NE(notes[1].message.find("line 2"), std::string::npos);

    notes = directiveNotes("// @particles 10\n// @grid 8\n// @still x\n// @grid 9\n");
    ASSERT_EQ(notes.size(), 3U);
    EXPECT_NE(notes[0].message.find("grid shader by line 2"), std::string::npos) << notes[0].message;
    EXPECT_EQ(notes[1].line, 3);
    EXPECT_NE(notes[2].message.find("the one in line 2 counts"), std::string::npos) << notes[2].message;
    EXPECT_TRUE(directiveNotes("// @particles 10\n// @grid 8\n").front().line == 1);

    std::string many;
    for (int i = 0; i < 5000; ++i)
        many += "// @param\n";
    EXPECT_EQ(directiveNotes(many).size(), mostDirectiveNotes);
}

TEST(DirectiveNotes, SlidersAndNotesAgree) {
    // Every line that begins as a declaration has a slider or a note; one with a default outside its range has both.
    const char* const words[] = {"a", "9", "1", "0", "-2", "nan", "inf", "1e3", "0x1p2", "1,", "\xC2\xBD", "@", ""};
    for (const char* name : {"a", "9", "_b"})
        for (const char* value : words)
            for (const char* min : words)
                for (const char* max : words) {
                    const std::string line = std::string("// @param ") + name + " " + value + " " + min + " " + max;
                    const bool hasSlider = !ParamParser::parse(line).empty();
                    const auto notes = directiveNotes(line);
                    EXPECT_TRUE(hasSlider || !notes.empty()) << line;
                    if (hasSlider && !notes.empty()) {
                        EXPECT_NE(notes[0].message.find("begins at"), std::string::npos) << line;
                    }
                }
}
