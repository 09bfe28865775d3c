#include "GlassHobCore/code/MSLSyntax.h"

#include <QString>
#include <gtest/gtest.h>

#include <random>

using namespace glasshob;

namespace {

// "kind<text>" for each token; a readable form of a token list.
std::string describe(const QString& text) {
    static const char* const names[] = {"comment", "header", "headerKey",    "keyword",  "type",
                                        "number",  "string", "preprocessor", "attribute"};
    std::string out;
    for (const SyntaxToken& token : MSLSyntax::tokens(text)) {
        if (!out.empty()) out += ' ';
        out += names[static_cast<int>(token.kind)];
        out += '<' + text.mid(token.range.location, token.range.length).toStdString() + '>';
    }
    return out;
}

} // namespace

TEST(MSLSyntax, FindsTheTokensOfAText) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", ""},
        {"#include <metal_stdlib>\nx", "preprocessor<#include <metal_stdlib>>"},
        {" \t\r#if\n", "preprocessor<#if>"},
        {"a # b", ""},
        {"/* */ #x", "comment</* */>"},
        {"\"abc\nfloat", "string<\"abc> type<float>"},
        {"\"a\\\"b\" if", "string<\"a\\\"b\"> keyword<if>"},
        {"\"a\\\nb\" if\n#x", "string<\"a\\\nb\"> keyword<if> preprocessor<#x>"},
        {"\"a\\\n\n#x", "string<\"a\\\n> preprocessor<#x>"},
        {"\"a\\", "string<\"a\\>"},
        {"a /* b\n\n c */ #d /*", "comment</* b\n\n c */> comment</*>"},
        {"/*\n", "comment</*\n>"},
        {"/*/ x */ 1", "comment</*/ x */> number<1>"},
        {"// plain\n//@param a 1 0 2\nx", "comment<// plain> header<//@param a 1 0 2> headerKey<@param>"},
        {"int a; // \t@forked-from b\n// @ x\n// @9", "type<int> header<// \t@forked-from b> headerKey<@forked-from> "
                                                      "comment<// @ x> comment<// @9>"},
        {"x [[position]]; [[a\n]] a[b[0]]", "attribute<[[position]]> attribute<[[a> number<0>"},
        {"1.5e-3 0x1Fu 2.0h .5 .x v.x 1+2 1e+5-3", "number<1.5e-3> number<0x1Fu> number<2.0h> number<.5> number<1> "
                                                   "number<2> number<1e+5> number<3>"},
        {"float3x3 Particle float5 float1x2 half2x3 uchar4 bool4 long2", "type<float3x3> type<Particle> type<half2x3> "
                                                                         "type<uchar4> type<bool4>"},
        {"constexpr iff _if if_ return", "keyword<constexpr> keyword<return>"},
        {"\xC3\xA9"
         "float \xF0\x9F\x94\xA5 float",
         "type<float>"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(describe(QString::fromStdString(text)), expected) << text;
}

TEST(MSLSyntax, CountsInUTF16) {
    const auto found = MSLSyntax::tokens(u"/*\U0001F525*/ if");
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[1], (SyntaxToken{SyntaxKind::keyword, {7, 2}}));
}

TEST(MSLSyntax, StaysInsideAnyText) {
    std::mt19937 random(4);
    const QString pieces = QStringLiteral("/*\"\\\n#[]@a.1e+ \r\t'");
    for (int i = 0; i < 5000; ++i) {
        QString text;
        for (unsigned n = random() % 24; n > 0; --n)
            text += pieces[static_cast<qsizetype>(random() % pieces.size())];
        qsizetype end = 0;
        SyntaxToken last;
        for (const SyntaxToken& token : MSLSyntax::tokens(text)) {
            if (token.kind == SyntaxKind::headerKey) {
                ASSERT_EQ(last.kind, SyntaxKind::header) << text.toStdString();
                ASSERT_LE(token.range.end(), last.range.end()) << text.toStdString();
            } else {
                ASSERT_GE(token.range.location, end) << text.toStdString();
            }
            ASSERT_GT(token.range.length, 0) << text.toStdString();
            end = std::max(end, token.range.end());
            last = token;
        }
        ASSERT_LE(end, text.size()) << text.toStdString();
    }
}
