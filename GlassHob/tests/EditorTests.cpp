#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeAssistant.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/EditorText.h"
#include "GlassHob/ui/editor/MessageList.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QPaintEvent>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>

namespace glasshob {
namespace {

const std::vector<std::string> awkwardTexts = {
    "",
    "one line",
    "plain\nlines\n",
    "dos\r\nlines\r\n",
    "\xEF\xBB\xBF"
    "with a mark\n",
    "\xEF\xBB\xBF\xEF\xBB\xBF"
    "with two\r\n",
    "mixed\r\nends\nhere\r\n",
    "mostly\nplain\r\nends\n",
    "lone\rreturn\r\n",
    "a\xC2\xA0"
    "b \xE2\x80\xA8 c \xE2\x80\xA9 d\n",                  // no-break space, line and paragraph separator
    "\xEF\xB7\x90\xEF\xB7\x91\xEF\xB7\x92\xEF\xB7\xAF\r", // noncharacters, two of them with a meaning inside Qt
    "tab\tand \xF0\x9F\x94\xA5 beyond the first plane\n",
    "\n\n\n",
    "\r\r\n\n\r",
    "old\rmac\r\nlines\r",
    std::string("nul\0inside\n", 11),
    "vertical\vform\ffeed\xC2\x85next\n",
    "\xEF\xBF\xBC object\n",
};

class CodeEditorTest : public ::testing::Test {
  protected:
    void SetUp() override {
        editor.resize(640, 400);
        editor.show();
    }
    void type(const QString& text) { QTest::keyClicks(&editor, text); }
    void key(Qt::Key which, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(&editor, which, modifiers); }
    void caretTo(int line, int column) { editor.goTo(line, column); }

    CodeEditor editor;
};

TEST(EditorText, UneditedTextComesBackByteForByte) {
    for (const std::string& bytes : awkwardTexts) {
        EditorText text;
        EXPECT_EQ(text.encode(text.load(bytes)), bytes);
    }
}

TEST_F(CodeEditorTest, UneditedTextSurvivesTheDocument) {
    for (const std::string& bytes : awkwardTexts) {
        QSignalSpy edited(&editor, &CodeEditor::edited);
        editor.loadText(bytes);
        EXPECT_EQ(editor.fileText(), bytes);
        EXPECT_EQ(edited.count(), 0) << "loading and colouring are no edits";
    }
}

TEST_F(CodeEditorTest, ANewerTextOfTheFileIsOneStepOfUndo) {
    for (const std::string& before : awkwardTexts)
        for (const std::string& after : awkwardTexts) {
            editor.loadText(before);
            QSignalSpy edited(&editor, &CodeEditor::edited);
            editor.reloadText(after);
            EXPECT_EQ(editor.fileText(), after);
            EXPECT_EQ(edited.count(), 0);
            // Other conventions, as of line ends that nothing can stand for, begin anew.
            if (!editor.document()->isUndoAvailable()) continue;
            editor.undo();
            EXPECT_EQ(editor.fileText(), before);
        }
    editor.loadText("one\ntwo \xF0\x9F\x94\xA5\nthree\n");
    caretTo(1, 3);
    type("!");
    editor.reloadText("on!e\ntwo \xF0\x9F\x94\xA6\r\nthree\n");
    EXPECT_EQ(editor.caretColumn(), 4) << "the caret stays where the text is the same";
    editor.undo();
    EXPECT_EQ(editor.fileText(), "on!e\ntwo \xF0\x9F\x94\xA5\nthree\n");
    editor.undo();
    EXPECT_EQ(editor.fileText(), "one\ntwo \xF0\x9F\x94\xA5\nthree\n") << "and the edits before it";
}

TEST_F(CodeEditorTest, AnEditChangesOnlyItsPlace) {
    struct Case {
        std::string before, after;
    };
    const Case cases[] = {
        {"a\r\nb\r\n", "a\r\nx\r\nb\r\n"},
        {"\xEF\xBB\xBF"
         "a\nb\n",
         "\xEF\xBB\xBF"
         "a\nx\nb\n"},
        {"a\nb\r\nc\n", "a\nx\nb\r\nc\n"},
        {"a\r\nb\nc\r\n", "a\r\nx\r\nb\nc\r\n"},
        {"a\xC2\xA0\nb\xE2\x80\xA8\n", "a\xC2\xA0\nx\nb\xE2\x80\xA8\n"},
    };
    for (const Case& c : cases) {
        editor.loadText(c.before);
        QSignalSpy edited(&editor, &CodeEditor::edited);
        caretTo(2, 1);
        type(QStringLiteral("x"));
        key(Qt::Key_Return);
        EXPECT_EQ(editor.fileText(), c.after);
        EXPECT_GE(edited.count(), 2);
        editor.undo();
        editor.undo();
        EXPECT_EQ(editor.fileText(), c.before);
    }
}

TEST_F(CodeEditorTest, TheBytesKeepUpWithEveryEdit) {
    // Edits of all sizes, undone and redone; the bytes are always those of the whole document.
    const QStringList pieces = {"x", "\n", "a\nb\n", "\n\n", "é€🔥", "float3 q;\n}", " 	", "\n\nlast", "", "/*"};
    unsigned random = 7;
    auto next = [&random](int below) {
        random = random * 1664525u + 1013904223u;
        return int((random >> 8) % unsigned(below));
    };
    for (const std::string& start : awkwardTexts) {
        editor.loadText(start);
        EditorText conventions;
        conventions.load(start);
        for (int step = 0; step < 60; ++step) {
            QTextCursor cursor(editor.document());
            const int length = editor.document()->characterCount();
            cursor.beginEditBlock();
            for (int edits = 1 + next(2); edits > 0; --edits) {
                const int from = next(editor.document()->characterCount());
                cursor.setPosition(from);
                cursor.setPosition(std::min(from + next(6), editor.document()->characterCount() - 1),
                                   QTextCursor::KeepAnchor);
                cursor.insertText(pieces[next(int(pieces.size()))]);
            }
            cursor.endEditBlock();
            if (next(4) == 0) editor.undo();
            if (next(6) == 0) editor.redo();
            ASSERT_EQ(editor.fileText(), conventions.encode(editor.document()->toRawText()))
                << "step " << step << " of a text of " << length;
            ASSERT_EQ(editor.assistant()->index().lineCount(), editor.blockCount());
        }
    }
}

// The regions that a widget paints.
class PaintWatch : public QObject {
  public:
    explicit PaintWatch(QWidget* widget) { widget->installEventFilter(this); }
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint) painted += static_cast<QPaintEvent*>(event)->region();
        return false;
    }
    QRegion painted;
};

TEST_F(CodeEditorTest, AKeyPaintsItsOwnLine) {
    std::string text;
    for (int i = 0; i < 100; ++i)
        text += "float a = 1.0;\n";
    editor.loadText(text);
    caretTo(8, 15);
    editor.setFocus();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&editor));
    QApplication::processEvents();
    for (const char* typed : {" ", "b", "c", "(", ")", "="}) {
        PaintWatch watch(editor.viewport());
        type(QString::fromLatin1(typed));
        QApplication::processEvents();
        EXPECT_FALSE(watch.painted.isEmpty());
        EXPECT_LE(watch.painted.boundingRect().height(), 2 * editor.codeLineHeight()) << typed;
    }
    // A line that comes to take two rows moves those below it.
    editor.setWrapsLines(true);
    QApplication::processEvents();
    PaintWatch watch(editor.viewport());
    editor.textCursor().insertText(QString(120, u'm'));
    QApplication::processEvents();
    EXPECT_GT(watch.painted.boundingRect().height(), 8 * editor.codeLineHeight());
    EXPECT_EQ(editor.visibleLines().at(8).top - editor.visibleLines().at(7).top, 3 * editor.codeLineHeight());
}

TEST_F(CodeEditorTest, WhatIsNoLineOfCodeIsNotColouredButReadOn) {
    editor.loadText("float a; /* " + std::string(30'000, 'x') + "\nfloat b; */ float c;\n");
    const QTextBlock first = editor.document()->firstBlock();
    EXPECT_TRUE(first.layout()->formats().isEmpty());
    const auto formats = first.next().layout()->formats();
    ASSERT_FALSE(formats.isEmpty());
    EXPECT_EQ(formats.first().length, 11) << "the comment ends here";
}

TEST_F(CodeEditorTest, LinesCountAsTheCompilerCountsThem) {
    // Characters that end a line elsewhere do not end one here.
    editor.loadText("one \xE2\x80\xA8 still one\r\ntwo\v two\r\nthree\r\n");
    EXPECT_EQ(editor.blockCount(), 4);
    editor.goTo(3, 3);
    EXPECT_EQ(editor.caretLine(), 3);
    EXPECT_EQ(editor.caretColumn(), 3);
    EXPECT_EQ(editor.textCursor().block().text(), "three");
}

TEST_F(CodeEditorTest, EveryKindOfLineEndEndsALine) {
    editor.loadText("one\rtwo\r\nthree\nfour");
    EXPECT_EQ(editor.blockCount(), 4);
    EXPECT_EQ(editor.document()->lastBlock().text(), "four");
    editor.loadText("old\rmac\rlines\r");
    EXPECT_EQ(editor.document()->toPlainText(), "old\nmac\nlines\n");
}

TEST_F(CodeEditorTest, ByteColumnsBecomeCharacterColumns) {
    editor.loadText("/* \xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\xA5 */ x\n"); // 2, 3 and 4 bytes
    editor.goTo(1, 1 + 3 + 2 + 3 + 4 + 4);
    EXPECT_EQ(editor.textCursor().block().text().mid(editor.textCursor().positionInBlock()), "x");
    editor.goTo(99, 99);
    EXPECT_EQ(editor.caretLine(), 2);
}

TEST_F(CodeEditorTest, MarksStandOnTheirLinesAndMoveWithThem) {
    editor.loadText("float a;\nfloat b = c;\nfloat d;\n");
    using enum Diagnostic::Severity;
    editor.setDiagnostics({{error, 2, 11, "use of undeclared identifier 'c'"},
                           {note, 1, 7, "did you mean 'a'?"},
                           {warning, 3, 7, "unused variable 'd'"},
                           {error, 0, 0, "about the host's code"},
                           {error, 3, 500, "beyond the line"}});
    EXPECT_EQ(editor.severityOfBlock(0), std::nullopt) << "a note marks nothing";
    EXPECT_EQ(editor.severityOfBlock(1), error);
    EXPECT_EQ(editor.severityOfBlock(2), error) << "the worst one counts";
    caretTo(1, 1);
    key(Qt::Key_Return);
    EXPECT_EQ(editor.severityOfBlock(1), std::nullopt);
    EXPECT_EQ(editor.severityOfBlock(2), error);
    editor.setDiagnostics({});
    EXPECT_EQ(editor.severityOfBlock(2), std::nullopt);
}

TEST_F(CodeEditorTest, AMarkedLineIsPaintedInTheErrorColourAcrossItsWidth) {
    editor.loadText("a\nb\nc\n");
    editor.setDiagnostics({{Diagnostic::Severity::error, 2, 1, "wrong"}});
    const QImage picture = editor.grab().toImage();
    const double ratio = picture.devicePixelRatio();
    const auto line = editor.visibleLines().at(1);
    for (const int x : {2, 300, editor.viewport()->geometry().right() - 2})
        EXPECT_EQ(picture.pixelColor(int(x * ratio), int((line.top + 3) * ratio)), themed(Role::errorLine)) << x;
    EXPECT_EQ(line.height, editor.codeLineHeight());
}

TEST_F(CodeEditorTest, TheLineBeingTypedStaysInSightWhenTheEditorShrinks) {
    std::string text;
    for (int i = 0; i < 100; ++i)
        text += "float a;\n";
    editor.loadText(text);
    caretTo(101, 1);
    ASSERT_LE(editor.cursorRect().bottom(), editor.viewport()->height());
    editor.resize(640, 250);
    EXPECT_LE(editor.cursorRect().bottom(), editor.viewport()->height());
}

TEST_F(CodeEditorTest, SliderLinesAreKnownByTheirDeclaration) {
    editor.loadText("// @param speed 0.6 0.0 3.0 How fast\n// @param broken 1\nfloat x; // @param no 1 0 2\n");
    EXPECT_EQ(editor.declaredParameter(0), "speed");
    EXPECT_EQ(editor.declaredParameter(1), "");
    EXPECT_EQ(editor.declaredParameter(2), "");
}

TEST_F(CodeEditorTest, KeysIndentAsAProgrammerExpects) {
    editor.loadText("");
    type(QStringLiteral("if (x) {"));
    key(Qt::Key_Return);
    type(QStringLiteral("y();"));
    key(Qt::Key_Return);
    type(QStringLiteral("}"));
    EXPECT_EQ(editor.fileText(), "if (x) {\n    y();\n}");
    editor.selectAll();
    key(Qt::Key_Tab);
    EXPECT_EQ(editor.fileText(), "    if (x) {\n        y();\n    }");
    key(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(editor.fileText(), "if (x) {\n    y();\n}");
    editor.toggleComment();
    EXPECT_EQ(editor.fileText(), "// if (x) {\n//     y();\n// }");
    editor.undo();
    EXPECT_EQ(editor.fileText(), "if (x) {\n    y();\n}") << "one step of undo";
}

TEST_F(CodeEditorTest, BracesAndIndentationGoByWholeSteps) {
    editor.loadText("    if (x) {}\n");
    caretTo(1, 13);
    key(Qt::Key_Return);
    EXPECT_EQ(editor.fileText(), "    if (x) {\n        \n    }\n");
    EXPECT_EQ(editor.caretLine(), 2);
    EXPECT_EQ(editor.caretColumn(), 9);
    key(Qt::Key_Backspace);
    EXPECT_EQ(editor.caretColumn(), 5);
    type(QStringLiteral("  "));
    key(Qt::Key_Backspace);
    EXPECT_EQ(editor.caretColumn(), 5) << "to the step before";
    type(QStringLiteral("a"));
    key(Qt::Key_Backspace);
    EXPECT_EQ(editor.fileText(), "    if (x) {\n    \n    }\n") << "one letter behind code";
    while (editor.document()->isUndoAvailable())
        editor.undo();
    EXPECT_EQ(editor.fileText(), "    if (x) {}\n");
}

TEST_F(CodeEditorTest, TheClipboardCarriesWhatTheFileHolds) {
    editor.loadText("a\xC2\xA0"
                    "b\xE2\x80\xA8"
                    "c\r\nd");
    editor.selectAll();
    editor.copy();
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(), "a\xC2\xA0"
                                                               "b\xE2\x80\xA8"
                                                               "c\nd");
    editor.loadText("");
    QApplication::clipboard()->setText(QStringLiteral("1\r\n2\u20283\r4"));
    editor.paste();
    EXPECT_EQ(editor.fileText(), "1\n2\n3\n4");
}

TEST(MessageListTest, CountsAndSteps) {
    using enum Diagnostic::Severity;
    const std::vector<Diagnostic> messages = {
        {error, 24, 40, "no member"}, {note, 9, 4, "declared here"}, {error, 0, 0, "host"}, {warning, 3, 1, "unused"}};
    EXPECT_EQ(MessageList::summary(messages), "2 errors, 1 warning, 1 note");
    MessageList list(nullptr);
    list.setMessages(messages, {});
    QList<qint64> lines;
    QObject::connect(&list, &MessageList::placePicked, [&](std::int64_t line, std::int64_t) { lines << line; });
    for (int i = 0; i < 4; ++i)
        list.step(1);
    EXPECT_EQ(lines, (QList<qint64>{24, 9, 3, 24})) << "messages without a place are passed over";
    lines.clear();
    list.step(-1);
    EXPECT_EQ(lines, QList<qint64>{3});
}

} // namespace
} // namespace glasshob
