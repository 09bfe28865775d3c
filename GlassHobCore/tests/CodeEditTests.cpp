#include "GlassHobCore/code/CodeEdit.h"

#include <gtest/gtest.h>

using namespace glasshob;

namespace {

// A text whose selection stands between two bars.
std::pair<QString, TextRange> marked(QString text) {
    const qsizetype from = text.indexOf(u'|');
    text.remove(from, 1);
    const qsizetype to = text.indexOf(u'|');
    text.remove(to, 1);
    return {text, {from, to - from}};
}

QString toggled(const QString& markedText) {
    const auto [text, selection] = marked(markedText);
    CodeEdit::Result result = CodeEdit::toggleComment(text, selection);
    result.text.insert(result.selection.end(), u'|');
    return result.text.insert(result.selection.location, u'|');
}

} // namespace

TEST(CodeEdit, TogglesTheSelectedLines) {
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"a\nb|b|\nc", "a\n|// bb|\nc"},
        {"||", "|// |"},
        {"|// |", "||"},
        {"  |a\n    b|\n", "|  // a\n  //   b|\n"},
        {"|  // a\n  //   b|\n", "|  a\n    b|\n"},
        {"|a\n|b", "|// a|\nb"},
        {"a\n||b", "a\n|// b|"},
        {"|// a\nb|", "|// // a\n// b|"},
        {"|//a\n//  b|", "|a\n b|"},
        {"|  a\n\n  b|", "|  // a\n\n  // b|"},
        {"|  // a\n\n  // b|", "|  a\n\n  b|"},
        {"|\n|x", "|// |\nx"},
        {"x // y|\n|", "|// x // y|\n"},
        {"|\ta\n  b|", "|\t// a\n //  b|"},
    };
    for (const auto& [before, after] : cases) {
        EXPECT_EQ(toggled(QString::fromUtf8(before)).toStdString(), after) << before;
    }
}

TEST(CodeEdit, TogglingTwiceGivesTheTextBack) {
    for (const char* text :
         {"a\n", "  a\n\n\t b\r\n c", "float x; // tail\n", "\n\n", "\xC3\xA9 \xF0\x9F\x94\xA5\nx"}) {
        const QString before = QString::fromUtf8(text);
        const auto once = CodeEdit::toggleComment(before, {0, before.size()});
        EXPECT_NE(once.text, before);
        EXPECT_EQ(CodeEdit::toggleComment(once.text, once.selection).text, before) << text;
    }
}

TEST(CodeEdit, BringsTheSelectionIntoTheText) {
    EXPECT_EQ(CodeEdit::toggleComment(QStringLiteral("a"), {99, 99}).text, QStringLiteral("// a"));
    EXPECT_EQ(CodeEdit::toggleComment(QStringLiteral("a"), {-5, 2}).text, QStringLiteral("// a"));
}
