// Finding, replacing, going to a line and the commands on whole lines, through the widgets.
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/FindBar.h"
#include "GlassHob/ui/editor/GoToLineBar.h"
#include "GlassHob/ui/editor/LineCommands.h"

#include <gtest/gtest.h>

#include <QTest>
#include <QTextBlock>
#include <QVBoxLayout>

namespace glasshob {
namespace {

// Puts the selection between two bars, the caret at one.
QString shown(const QTextCursor& cursor) {
    QString text = cursor.document()->toPlainText();
    text.insert(cursor.selectionEnd(), u'|');
    if (cursor.hasSelection()) text.insert(cursor.selectionStart(), u'|');
    return text;
}

QTextCursor placed(QTextDocument& document, QString text) {
    const int from = int(text.indexOf(u'|'));
    text.remove(from, 1);
    const int to = int(text.indexOf(u'|'));
    if (to >= 0) text.remove(to, 1);
    document.setPlainText(text);
    QTextCursor cursor(&document);
    cursor.setPosition(from);
    if (to >= 0) cursor.setPosition(to, QTextCursor::KeepAnchor);
    return cursor;
}

TEST(LineCommands, WorkOnTheLinesThatAreTouched) {
    using namespace lineCommands;
    struct Case {
        const char* before;
        void (*run)(QTextCursor&);
        const char* after;
    };
    auto up = [](QTextCursor& cursor) { moveLines(cursor, -1); };
    auto down = [](QTextCursor& cursor) { moveLines(cursor, 1); };
    auto home = [](QTextCursor& cursor) { smartHome(cursor, QTextCursor::MoveAnchor); };
    const Case cases[] = {
        {"a\nb|c\nd", up, "b|c\na\nd"},
        {"a\nb|c\nd", down, "a\nd\nb|c"},
        {"|a\nb", up, "|a\nb"},
        {"a\nb|", down, "a\nb|"},
        {"a\n|b\nc|\nd", up, "|b\nc|\na\nd"},
        {"a\n|b\n|c\nd", down, "a\nc\n|b\n|d"},
        {"\nx|", up, "x|\n"},
        {"a|b\nc", duplicateLines, "ab\na|b\nc"},
        {"|a\nb|", duplicateLines, "a\nb\n|a\nb|"},
        {"ab\ncde|f\ng", deleteLines, "ab\ng|"},
        {"ab\ncd|", deleteLines, "ab|"},
        {"|a\nb|", deleteLines, "|"},
        {"    co|de", home, "    |code"},
        {"    |code", home, "|    code"},
        {"|    code", home, "    |code"},
        {"  |  ", home, "    |"},
    };
    for (const Case& c : cases) {
        QTextDocument document;
        QTextCursor cursor = placed(document, QString::fromLatin1(c.before));
        const QString before = document.toPlainText();
        c.run(cursor);
        EXPECT_EQ(shown(cursor).toStdString(), c.after) << c.before;
        if (document.toPlainText() == before) continue;
        document.undo();
        EXPECT_EQ(document.toPlainText(), before) << "one step of undo: " << c.before;
    }
}

class BarsTest : public ::testing::Test {
  protected:
    BarsTest() : editor(new CodeEditor(&pane)), find(new FindBar(editor, &pane)), goTo(new GoToLineBar(editor, &pane)) {
        auto* column = new QVBoxLayout(&pane);
        column->addWidget(find);
        column->addWidget(goTo);
        column->addWidget(editor);
        pane.resize(640, 400);
        pane.show();
        QApplication::setActiveWindow(&pane);
        editor->setFocus();
    }
    void lookFor(const QString& text) {
        find->openFind();
        find->findField()->setText(text);
    }
    QString selected() const { return editor->textCursor().selectedText(); }

    QWidget pane;
    CodeEditor* editor;
    FindBar* find;
    GoToLineBar* goTo;
};

TEST_F(BarsTest, FindingCountsMarksAndGoesRound) {
    editor->loadText("ray\nRay ray\ngray\n");
    editor->goTo(2, 1);
    lookFor(QStringLiteral("ray"));
    EXPECT_EQ(find->findField()->counter(), "2 of 4") << "the first one from the caret";
    EXPECT_EQ(editor->spans(CodeEditor::SpanLayer::match).size(), 4u);
    QStringList counters;
    for (int i = 0; i < 3; ++i) {
        QTest::keyClick(find->findField(), Qt::Key_Return);
        counters << find->findField()->counter();
    }
    EXPECT_EQ(counters, (QStringList{"3 of 4", "4 of 4", "1 of 4"}));
    QTest::keyClick(find->findField(), Qt::Key_Return, Qt::ShiftModifier);
    EXPECT_EQ(find->findField()->counter(), "4 of 4");
    find->setOptions({.isCaseSensitive = true, .isWholeWord = true});
    EXPECT_EQ(find->matchCount(), 2u);
    lookFor(QStringLiteral("nothing like it"));
    EXPECT_EQ(find->findField()->counter(), "no match");
    find->setOptions({.isExpression = true});
    lookFor(QStringLiteral("r(a"));
    EXPECT_TRUE(find->findField()->isRefused());
    QTest::keyClick(find->findField(), Qt::Key_Escape);
    EXPECT_FALSE(find->isVisible());
    EXPECT_TRUE(editor->spans(CodeEditor::SpanLayer::match).empty());
}

TEST_F(BarsTest, EveryMatchGetsACaret) {
    editor->loadText("ray\nRay gray\n");
    find->setOptions({.isCaseSensitive = true});
    lookFor(QStringLiteral("ray"));
    QTest::keyClick(find->findField(), Qt::Key_Return, Qt::AltModifier);
    QTest::keyClicks(editor, QStringLiteral("x"));
    EXPECT_EQ(editor->toPlainText(), QStringLiteral("x\nRay gx\n"));
    QTest::keyClick(editor, Qt::Key_Escape);
    EXPECT_TRUE(find->isVisible()) << "the first Escape is the carets'";
    EXPECT_TRUE(editor->moreCarets().isEmpty());
}

TEST_F(BarsTest, TheBarTakesTheSelectedText) {
    editor->loadText("alpha beta\ngamma beta\n");
    editor->selectRange(6, 10);
    find->openFind();
    EXPECT_EQ(find->findField()->text(), "beta");
    EXPECT_EQ(find->findField()->counter(), "1 of 2");
    find->close();
    editor->selectRange(0, 0);
    find->step(1); // closed, the last text still serves
    EXPECT_EQ(selected(), "beta");
    EXPECT_FALSE(find->isVisible());
}

TEST_F(BarsTest, ReplacingAllIsOneStepOfUndo) {
    const std::string before = "float2(a, b);\r\nfloat2(c, d);\r\nfloat3(e);\r\n";
    editor->loadText(before);
    find->openReplace();
    find->setOptions({.isExpression = true});
    find->findField()->setText(QStringLiteral("float2\\((\\w), (\\w)\\)"));
    find->replaceField()->setText(QStringLiteral("flip($2, $1)"));
    find->replaceAll();
    EXPECT_EQ(editor->fileText(), "flip(b, a);\r\nflip(d, c);\r\nfloat3(e);\r\n");
    EXPECT_EQ(find->findField()->counter(), "2 replaced");
    editor->undo();
    EXPECT_EQ(editor->fileText(), before);
    // One at a time: the first press goes to a match, the next ones replace.
    editor->selectRange(0, 0);
    find->replaceOne();
    EXPECT_EQ(editor->fileText(), before);
    find->replaceOne();
    EXPECT_EQ(editor->fileText(), "flip(b, a);\r\nfloat2(c, d);\r\nfloat3(e);\r\n");
    EXPECT_EQ(selected(), "float2(c, d)");
}

TEST_F(BarsTest, MarksMoveWithTheTextUntilTheNextSearch) {
    editor->loadText("one two one\n");
    lookFor(QStringLiteral("one"));
    QTextCursor cursor(editor->document());
    cursor.setPosition(5);
    cursor.insertText(QStringLiteral("xyz"));
    EXPECT_EQ(editor->spans(CodeEditor::SpanLayer::match), (std::vector<CodeEditor::Span>{{0, 3}, {11, 14}}));
    EXPECT_EQ(find->matchCount(), 2u);
}

TEST_F(BarsTest, GoingToALine) {
    editor->loadText("one\ntwo\nthree\n");
    editor->goTo(2, 2);
    struct Case {
        const char* typed;
        int line, column;
    };
    for (const Case& c : {Case{"3", 3, 1}, Case{"3:4", 3, 4}, Case{"99", 4, 1}, Case{"1:99", 1, 4}, Case{"0", 1, 1}}) {
        goTo->open();
        EXPECT_EQ(goTo->field()->counter(), "of 4");
        QTest::keyClicks(goTo->field(), QString::fromLatin1(c.typed));
        QTest::keyClick(goTo->field(), Qt::Key_Return);
        EXPECT_EQ(editor->caretLine(), c.line) << c.typed;
        EXPECT_EQ(editor->caretColumn(), c.column) << c.typed;
        EXPECT_FALSE(goTo->isVisible());
    }
    goTo->open();
    QTest::keyClicks(goTo->field(), QStringLiteral("3"));
    EXPECT_EQ(editor->caretLine(), 3) << "the code follows the typing";
    QTest::keyClick(goTo->field(), Qt::Key_Escape);
    EXPECT_EQ(editor->caretLine(), 1);
}

} // namespace
} // namespace glasshob
