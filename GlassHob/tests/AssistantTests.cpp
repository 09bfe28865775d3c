// Completion, signatures and brackets in the editor, by the keys that a person presses.
#include "GlassHob/ui/editor/CodeAssistant.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/CodeTip.h"
#include "GlassHob/ui/editor/CompletionPopup.h"

#include <gtest/gtest.h>

#include <QTest>
#include <QTextBlock>

namespace glasshob {
namespace {

class AssistantTest : public ::testing::Test {
  protected:
    void SetUp() override {
        editor.resize(640, 400);
        editor.show();
        QApplication::setActiveWindow(&editor);
        editor.setFocus();
    }
    // The caret stands at the bar.
    void load(QString text) {
        const int bar = int(text.indexOf(u'|'));
        text.remove(bar, 1);
        editor.loadText(text.toStdString());
        editor.selectRange(bar, bar);
    }
    void type(const char* text) { QTest::keyClicks(&editor, QString::fromUtf8(text)); }
    void key(Qt::Key which, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(&editor, which, modifiers); }
    std::string shown() const {
        QString text = editor.document()->toPlainText();
        return text.insert(editor.textCursor().position(), u'|').toStdString();
    }
    bool isOpen() const { return editor.assistant()->popup()->isVisible(); }
    std::string chosen() const {
        const CompletionPopup* popup = editor.assistant()->popup();
        return popup->items()[std::size_t(popup->current())].symbol.name.toStdString();
    }
    QList<QPair<int, int>> brackets() const {
        QList<QPair<int, int>> places;
        for (const auto& span : editor.spans(CodeEditor::SpanLayer::bracket))
            places.append({span.from, span.to});
        return places;
    }

    CodeEditor editor;
};

TEST_F(AssistantTest, TheListComesWhileTypingAndTabTakesTheName) {
    load(QStringLiteral("void f(float x) {\n    |\n}\n"));
    type("x = s");
    EXPECT_FALSE(isOpen()) << "one letter is not enough";
    type("mo");
    ASSERT_TRUE(isOpen());
    EXPECT_EQ(chosen(), "smoothstep");
    key(Qt::Key_Tab);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(shown(), "void f(float x) {\n    x = smoothstep(|)\n}\n");
    EXPECT_TRUE(editor.assistant()->callTip()->isVisible());
    type("0.0");
    key(Qt::Key_ParenRight);
    EXPECT_EQ(shown(), "void f(float x) {\n    x = smoothstep(0.0)|\n}\n") << "the bracket is passed over, once";
    EXPECT_FALSE(editor.assistant()->callTip()->isVisible());
    key(Qt::Key_ParenRight);
    EXPECT_EQ(shown(), "void f(float x) {\n    x = smoothstep(0.0))|\n}\n");
    editor.undo();
    editor.undo();
    editor.undo();
    EXPECT_EQ(shown(), "void f(float x) {\n    x = smo|\n}\n");
}

TEST_F(AssistantTest, TheOpeningBracketIsNotDoubledEither) {
    load(QStringLiteral("void f(float x) {\n    |\n}\n"));
    type("x = smo");
    key(Qt::Key_Tab);
    type("(");
    EXPECT_EQ(shown(), "void f(float x) {\n    x = smoothstep(|)\n}\n");
    type("(");
    EXPECT_EQ(shown(), "void f(float x) {\n    x = smoothstep((|)\n}\n") << "only the first one is a habit";
    load(QStringLiteral("void f(float x) {\n    |\n}\n"));
    type("x = smo");
    key(Qt::Key_Tab);
    type("2*(");
    EXPECT_EQ(shown(), "void f(float x) {\n    x = smoothstep(2*(|)\n}\n");
}

TEST_F(AssistantTest, ReturnTakesANameOnlyWhereOneWasBegun) {
    load(QStringLiteral("void f(float2 uv) {\n    |\n}\n"));
    type("uv.");
    ASSERT_TRUE(isOpen());
    key(Qt::Key_Return);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(shown(), "void f(float2 uv) {\n    uv.\n    |\n}\n") << "nothing was typed of a name: a line end";
    load(QStringLiteral("void f(float2 uv) {\n    |\n}\n"));
    type("uv.");
    key(Qt::Key_Down);
    EXPECT_EQ(chosen(), "y");
    key(Qt::Key_Return);
    EXPECT_EQ(shown(), "void f(float2 uv) {\n    uv.y|\n}\n");
    type(" + sq");
    ASSERT_TRUE(isOpen());
    key(Qt::Key_Return);
    EXPECT_EQ(shown(), "void f(float2 uv) {\n    uv.y + sqrt(|)\n}\n");
    type("sin");
    EXPECT_FALSE(isOpen()) << "the whole name stands there";
}

TEST_F(AssistantTest, EscapeAndTheArrowsCloseTheList) {
    load(QStringLiteral("void f() {\n    |\n}\n"));
    type("cl");
    ASSERT_TRUE(isOpen());
    key(Qt::Key_Escape);
    EXPECT_FALSE(isOpen());
    type("a");
    EXPECT_TRUE(isOpen());
    key(Qt::Key_Left);
    EXPECT_FALSE(isOpen());
    editor.assistant()->complete();
    EXPECT_TRUE(isOpen());
    key(Qt::Key_Backspace);
    key(Qt::Key_Backspace);
    EXPECT_TRUE(isOpen()) << "one that was asked for stays while letters go";
    editor.clearFocus();
    EXPECT_FALSE(isOpen());
}

TEST_F(AssistantTest, TheListGoesWithItsWordAndStaysInside) {
    load(QStringLiteral("void f() {\n") + QString(40, u'\n') + QStringLiteral("    x = aRatherLongName + |"));
    editor.ensureCursorVisible();
    type("cl");
    const CompletionPopup* list = editor.assistant()->popup();
    ASSERT_TRUE(isOpen());
    const auto isAtWord = [&] {
        const QRect caret(editor.viewport()->mapTo(&editor, editor.cursorRect().topLeft()), editor.cursorRect().size());
        const QRect box = list->geometry();
        return editor.rect().contains(box) && (box.bottom() < caret.top() || box.top() > caret.bottom()) &&
               box.left() < caret.left() && box.right() > caret.left();
    };
    EXPECT_TRUE(isAtWord());
    // As when the list of messages comes up under the code.
    for (const QSize size : {QSize(640, 250), QSize(330, 200), QSize(640, 400)}) {
        editor.resize(size);
        QApplication::processEvents();
        ASSERT_TRUE(isOpen()) << size.width() << " x " << size.height();
        EXPECT_TRUE(isAtWord()) << size.width() << " x " << size.height();
    }
}

TEST_F(AssistantTest, TheRestOfANameIsNotDoubled) {
    load(QStringLiteral("void f() {\n    x = smo|othstep(1);\n}\n"));
    editor.assistant()->complete();
    ASSERT_TRUE(isOpen());
    key(Qt::Key_Tab);
    EXPECT_EQ(shown(), "void f() {\n    x = smoothstep|(1);\n}\n");
}

TEST_F(AssistantTest, WhatWasJustTypedIsKnown) {
    load(QStringLiteral("|\nvoid f() {\n    \n}\n"));
    type("float3 brightest(float3 a, float3 b) { return max(a, b)");
    editor.goTo(3, 5);
    type("brig");
    ASSERT_TRUE(isOpen());
    key(Qt::Key_Tab);
    EXPECT_EQ(editor.textCursor().block().text(), "    brightest()");
    const auto& entries = editor.assistant()->callTip()->entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].code, "float3 brightest(float3 a, float3 b)");
    EXPECT_EQ(entries[0].code.mid(entries[0].boldFrom, entries[0].boldTo - entries[0].boldFrom), "float3 a");
    type("1, ");
    const auto& next = editor.assistant()->callTip()->entries();
    EXPECT_EQ(next[0].code.mid(next[0].boldFrom, next[0].boldTo - next[0].boldFrom), "float3 b");
}

TEST_F(AssistantTest, ThePointerShowsSignatures) {
    load(QStringLiteral("// What it does.\nfloat g(float x) { return sin(x); }\n|"));
    auto placeOf = [&](int position) {
        QTextCursor cursor(editor.document());
        cursor.setPosition(position);
        return editor.cursorRect(cursor).center() + QPoint(3, 0);
    };
    const QString text = editor.document()->toPlainText();
    CodeAssistant* assistant = editor.assistant();
    assistant->describeAt(placeOf(int(text.indexOf(u"sin"))));
    ASSERT_TRUE(assistant->hoverTip()->isVisible());
    EXPECT_EQ(assistant->hoverTip()->entries()[0].code, "T sin(T x)");
    assistant->describeAt(placeOf(int(text.indexOf(u"g("))));
    EXPECT_EQ(assistant->hoverTip()->entries()[0].code, "float g(float x)");
    EXPECT_EQ(assistant->hoverTip()->entries()[0].note, "What it does.");
    assistant->describeAt(placeOf(int(text.indexOf(u"return"))));
    EXPECT_FALSE(assistant->hoverTip()->isVisible());
    assistant->describeAt(QPoint(600, 30));
    EXPECT_FALSE(assistant->hoverTip()->isVisible()) << "behind the end of a line there is no word";
}

TEST_F(AssistantTest, BracketsAtTheCaretAreMarked) {
    load(QStringLiteral("f(a[1]) // (\n{ }|"));
    using Places = QList<QPair<int, int>>;
    EXPECT_EQ(brackets(), (Places{{13, 14}, {15, 16}}));
    editor.selectRange(1, 1);
    EXPECT_EQ(brackets(), (Places{{1, 2}, {6, 7}}));
    editor.selectRange(6, 6); // between ] and ): the one before counts first
    EXPECT_EQ(brackets(), (Places{{3, 4}, {5, 6}}));
    editor.selectRange(1, 3);
    EXPECT_TRUE(brackets().isEmpty());
    editor.selectRange(12, 12);
    EXPECT_TRUE(brackets().isEmpty()) << "in a comment";
}

} // namespace
} // namespace glasshob
