#include "MSL/lex/Lexer.h"
#include "MSL/lex/Literals.h"
#include "MSL/source/SourceManager.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace msl {
namespace {

struct Lexed {
    std::string tokens; // spellings; "|" before the first of a line, "~" before one that nothing separates
    std::string errors;
};

Lexed lex(std::string_view text) {
    SourceManager sources(text, "t", 0, 0);
    Diagnostics diagnostics(sources);
    Arena arena;
    IdentifierTable identifiers(arena);
    Lexer lexer(text, identifiers, diagnostics);
    lexer.setRange(0, static_cast<std::uint32_t>(text.size()));
    Lexed result;
    Token token;
    for (lexer.next(token); !token.is(TokenKind::eof); lexer.next(token)) {
        if (!result.tokens.empty())
            result.tokens += token.has(Token::startOfLine) ? '|' : token.touchesPrevious() ? '~' : ' ';
        result.tokens += spelling(token);
    }
    result.errors = toText(diagnostics.messages());
    return result;
}

TEST(Lexer, SplitsTextIntoTokens) {
    struct Row {
        std::string_view text;
        std::string_view tokens;
    };
    const Row rows[] = {
        {"a+b", "a~+~b"},
        {"a += b ++ -- -> ...", "a += b ++ -- -> ..."},
        {"x<<=1 y<=2 z<<3", "x~<<=~1 y~<=~2 z~<<~3"},
        {"a>>b a>>=b a>=b", "a~>~>~b a~>~>=~b a~>=~b"}, // one '>' each, joined by the parser
        {"1. .5 1.e5 1e-5f 0x1p-3f 0x1e+2 1'000u", "1. .5 1.e5 1e-5f 0x1p-3f 0x1e~+~2 1'000u"},
        {"v.xyz 1.x", "v~.~xyz 1.x"},
        {"a // b\nc /* d\n */ e", "a|c e"},
        {"a/**/b", "a b"},
        {"a \\\n b", "a b"},
        {"lo\\\nng", "long"},
        {"a\r\nb\rc", "a|b|c"},
        {"// comment \\\n still comment\nx", "x"},
        {"\"a\\\"b\" 'c' '\\''", "\"a\\\"b\" 'c' '\\''"},
        {"[[buffer(0)]]", "[~[~buffer~(~0~)~]~]"},
        {"\xEF\xBB\xBF"
         "a\xC2\xA0=\xE2\x80\x83"
         "b\xE2\x80\xA8"
         "c",
         "a = b c"}, // byte-order mark, no-break space, em space, line separator
        {"\xCF\x80 = r\xC3\xA9sum\xC3\xA9", "\xCF\x80 = r\xC3\xA9sum\xC3\xA9"},
        {"a::b:c", "a~::~b~:~c"},
        {"a##b #c", "a~##~b #~c"},
    };
    for (const Row& row : rows) {
        Lexed lexed = lex(row.text);
        EXPECT_EQ(lexed.tokens, row.tokens) << row.text;
        EXPECT_EQ(lexed.errors, "") << row.text;
    }
}

TEST(Lexer, ReportsStrayCharactersAndReadsOn) {
    struct Row {
        std::string_view text;
        std::string_view tokens;
        std::string_view errors;
    };
    const Row rows[] = {
        {"a @ b", "a b", "t:1:3: error: unexpected '@' in program\na @ b\n  ^\n"},
        {"a \xE2\x80\x9C"
         "b",
         "a b",
         "t:1:3: error: unexpected character <U+201C>\na \xE2\x80\x9C"
         "b\n  ^\n"},
        {"a \xE2\x88\x92 b", "a - b",
         "t:1:3: error: unexpected character <U+2212>; did you mean '-'?\na \xE2\x88\x92 b\n  ^\n"},
        {std::string_view("a\0b", 3), "a b",
         "t:1:2: error: unexpected character <U+0000>\na\xEF\xBF\xBD"
         "b\n ^\n"},
        {"a \xFF b", "a b", "t:1:3: error: unexpected character <FF>\na \xEF\xBF\xBD b\n  ^\n"},
        {"a /* b", "a", "t:1:3: error: unterminated /* comment\na /* b\n  ^\n"},
        {"a \"b\nc", "a|c", "t:1:3: error: missing terminating '\"' character\na \"b\n  ^\n"},
    };
    for (const Row& row : rows) {
        Lexed lexed = lex(row.text);
        // What follows a character left out does not count as touching what stood before it.
        std::string tokens = lexed.tokens;
        std::replace(tokens.begin(), tokens.end(), '~', ' ');
        EXPECT_EQ(tokens, row.tokens);
        EXPECT_EQ(lexed.errors, row.errors);
    }
}

TEST(Literals, ReadNumbers) {
    struct Row {
        std::string_view text;
        double value;
        bool isFloat;
        ScalarKind kind;
        bool isUnsigned, isLong;
    };
    constexpr ScalarKind half = ScalarKind::half;
    constexpr ScalarKind bfloat = ScalarKind::bfloat;
    constexpr ScalarKind plain = ScalarKind::float_;
    const Row rows[] = {
        {"0", 0, false, plain, false, false},
        {"42u", 42, false, plain, true, false},
        {"0x9e3779b9U", 2654435769.0, false, plain, true, false},
        {"0755", 493, false, plain, false, false},
        {"0b101", 5, false, plain, false, false},
        {"7ul", 7, false, plain, true, true},
        {"1'000'000", 1e6, false, plain, false, false},
        {"1.", 1, true, plain, false, false},
        {".5", 0.5, true, plain, false, false},
        {"1e3", 1000, true, plain, false, false},
        {"1.5e-3f", static_cast<double>(1.5e-3F), true, plain, false, false},
        {"0.1", static_cast<double>(0.1F), true, plain, false, false}, // single precision without a suffix
        {"0.1h", 0.1, true, half, false, false},
        {"0.1bf", 0.1, true, bfloat, false, false},
        {"0x1.8p1BF", 3, true, bfloat, false, false},
        {"1e3bf", 1000, true, bfloat, false, false},
        {"0x1.8p1", 3, true, plain, false, false},
        {"08.5", 8.5, true, plain, false, false},
        {"1e-60", 0, true, plain, false, false},
        {"16777217.0", 16777216, true, plain, false, false},
    };
    for (const Row& row : rows) {
        NumberLiteral read = readNumber(row.text);
        EXPECT_EQ(read.error, "") << row.text;
        EXPECT_EQ(read.isFloat ? read.floating : static_cast<double>(read.integer), row.value) << row.text;
        EXPECT_EQ(read.isFloat, row.isFloat) << row.text;
        EXPECT_EQ(read.kind, row.kind) << row.text;
        EXPECT_EQ(read.isUnsigned, row.isUnsigned) << row.text;
        EXPECT_EQ(read.isLong, row.isLong) << row.text;
        EXPECT_FALSE(read.isTooLarge) << row.text;
    }
    EXPECT_TRUE(readNumber("1e60").isTooLarge);
    EXPECT_EQ(readNumber("18446744073709551615").integer, 18446744073709551615ULL);
}

TEST(Literals, ExplainNumbersThatAreNone) {
    struct Row {
        std::string_view text;
        std::string_view error;
        std::size_t at;
    };
    const Row rows[] = {
        {"1f", "invalid suffix 'f' on integer constant", 1},
        {"1uu", "invalid suffix 'uu' on integer constant", 1},
        {"1.0bF", "invalid suffix 'bF' on floating constant", 3},
        {"1bf", "invalid suffix 'bf' on integer constant", 1},
        {"1.0lf", "invalid suffix 'lf' on floating constant", 3},
        {"1.0.0", "invalid suffix '.0' on floating constant", 3},
        {"09", "invalid digit '9' in octal constant", 1},
        {"0b12", "invalid digit '2' in binary constant", 3},
        {"0x", "invalid suffix 'x' on integer constant", 1},
        {"1e", "exponent has no digits", 1},
        {"0x1.8", "hexadecimal floating constant requires an exponent", 0},
        {"99999999999999999999", "integer literal is too large to be represented in any integer type", 0},
    };
    for (const Row& row : rows) {
        NumberLiteral read = readNumber(row.text);
        EXPECT_EQ(read.error, row.error) << row.text;
        EXPECT_EQ(read.errorOffset, row.at) << row.text;
    }
}

TEST(Literals, ReadCharactersAndStrings) {
    EXPECT_EQ(readCharacter("'a'").value, 'a');
    EXPECT_EQ(readCharacter("'\\n'").value, '\n');
    EXPECT_EQ(readCharacter("'\\x41'").value, 'A');
    EXPECT_EQ(readCharacter("'\\101'").value, 'A');
    EXPECT_EQ(readCharacter("''").error, "empty character constant");
    EXPECT_EQ(readString("\"a\\tb\\\"\""), "a\tb\"");
}

} // namespace
} // namespace msl
