// What the editor does with messages and values beside showing them: marks, edits that mend, numbers and colours under
// the pointer, and texts that are larger than any shader.
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/CodePointer.h"
#include "GlassHob/ui/editor/ColourPicker.h"
#include "GlassHob/ui/editor/ColourSwatches.h"
#include "GlassHob/ui/editor/MessageList.h"
#include "GlassHobCore/code/DirectiveNotes.h"
#include "GlassHobCore/code/ParamEdits.h"
#include "GlassHobCore/files/ShaderFile.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QPainter>
#include <QPicture>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>

namespace glasshob {
namespace {

using Severity = Diagnostic::Severity;

class CodeHelpTest : public ::testing::Test {
  protected:
    void SetUp() override {
        editor.resize(640, 400);
        editor.show();
        QApplication::setActiveWindow(&editor);
        editor.setFocus();
    }
    void caretAt(const char* text, int further = 0) {
        const int at = int(editor.toPlainText().indexOf(QString::fromUtf8(text))) + further;
        editor.selectRange(at, at);
    }
    // In the viewport, the middle of a letter.
    QPoint placeOf(const char* text, int letter = 0) const {
        QTextCursor cursor(editor.document());
        cursor.setPosition(int(editor.toPlainText().indexOf(QString::fromUtf8(text))) + letter);
        return editor.cursorRect(cursor).center() + QPoint(4, 0);
    }
    void drag(const QPoint& from, const QPoint& to, Qt::KeyboardModifiers modifiers) {
        QTest::mousePress(editor.viewport(), Qt::LeftButton, modifiers, from);
        for (int i = 1; i <= 4; ++i) {
            const QPoint at = from + (to - from) * i / 4;
            QMouseEvent move(QEvent::MouseMove, at, editor.viewport()->mapToGlobal(QPointF(at)), Qt::NoButton,
                             Qt::LeftButton, modifiers);
            QApplication::sendEvent(editor.viewport(), &move);
        }
        QTest::mouseRelease(editor.viewport(), Qt::LeftButton, modifiers, to);
    }
    std::string text() const { return editor.toPlainText().toStdString(); }

    CodeEditor editor;
};

// ---- Marks and edits ------------------------------------------------------------------------------------------------

TEST_F(CodeHelpTest, NotesOnDirectivesAreQuiet) {
    const std::string source = "// @param speed\n// @still 4\nfloat x = y;\n";
    editor.loadText(source);
    std::vector<Diagnostic> notes = directiveNotes(source);
    for (Diagnostic& note : notes)
        note.severity = Severity::note;
    editor.setDiagnostics({{Severity::error, 3, 11, "use of undeclared identifier 'y'"}}, notes);
    EXPECT_EQ(editor.severityOfBlock(0), Severity::note);
    EXPECT_EQ(editor.severityOfBlock(1), std::nullopt);
    EXPECT_EQ(editor.severityOfBlock(2), Severity::error);
    // Under the name and nowhere else in the line there is something in the note's colour.
    const QImage image = editor.viewport()->grab().toImage();
    auto isMarked = [&](int letter) {
        const QPoint middle = placeOf("// @param speed", letter);
        int found = 0;
        for (int x = -3; x <= 3; ++x)
            for (int y = 4; y < editor.codeLineHeight() / 2; ++y) {
                const QColor pixel = image.pixelColor(middle + QPoint(x, y));
                const QColor wanted = themed(Role::note);
                found += std::abs(pixel.red() - wanted.red()) + std::abs(pixel.green() - wanted.green()) +
                             std::abs(pixel.blue() - wanted.blue()) <
                         60;
            }
        return found > 0;
    };
    EXPECT_TRUE(isMarked(10) || isMarked(11));
    EXPECT_FALSE(isMarked(1) || isMarked(2));
}

TEST_F(CodeHelpTest, AKeyMendsWhatIsMarked) {
    editor.loadText("// Title\n\nfloat x = lenght(y);\nfloat z;\n");
    Diagnostic slip{Severity::error, 3, 11, "use of undeclared identifier 'lenght'; did you mean 'length'?"};
    slip.length = 6;
    slip.fixIt = msl::FixIt{3, 11, 6, "length"};
    Diagnostic slider{Severity::error, 4, 7, "no member named 'glow' in 'Params'"};
    editor.setDiagnostics({slip, slider});
    // The edits go with the text.
    caretAt("float z");
    editor.insertPlainText(QStringLiteral("int a;\n"));
    caretAt("lenght", 2);
    editor.fixAtCaret();
    EXPECT_EQ(text(), "// Title\n\nfloat x = length(y);\nint a;\nfloat z;\n");
    caretAt("float z");
    editor.fixAtCaret();
    EXPECT_EQ(text(), "// Title\n// @param glow 0.5 0.0 1.0\n\nfloat x = length(y);\nint a;\nfloat z;\n");
    EXPECT_EQ(editor.textCursor().block().text(), QStringLiteral("// @param glow 0.5 0.0 1.0"));
    editor.undo();
    EXPECT_EQ(text(), "// Title\n\nfloat x = length(y);\nint a;\nfloat z;\n");
    caretAt("// Title");
    editor.fixAtCaret();
    EXPECT_EQ(text(), "// Title\n\nfloat x = length(y);\nint a;\nfloat z;\n") << "nothing is marked there";
}

TEST_F(CodeHelpTest, ARowOffersItsEdit) {
    MessageList list(nullptr);
    list.resize(600, 200);
    list.setMessages({{Severity::error, 3, 11, "use of undeclared identifier 'lenght'"}, {Severity::error, 4, 1, "b"}},
                     {});
    list.rows()->setFixes({QStringLiteral("Change to 'length'"), QString()});
    list.setVisible(true);
    list.rows()->resize(600, 160);
    QSignalSpy wanted(&list, &MessageList::fixWanted), picked(&list, &MessageList::placePicked);
    const int y = list.rows()->rowRect(0).center().y();
    int at = 0;
    for (int x = 10; x < 600 && wanted.isEmpty(); x += 10)
        QTest::mouseClick(list.rows()->viewport(), Qt::LeftButton, {}, QPoint(at = x, y));
    EXPECT_EQ(wanted.count(), 1);
    EXPECT_GT(at, 200);
    EXPECT_GT(picked.count(), 0) << "elsewhere the row goes to the place";
    EXPECT_TRUE(list.rows()->spokenText(0).contains(QStringLiteral("Change to 'length'")));
    list.rows()->setCurrent(0);
    QTest::keyClick(list.rows(), Qt::Key_Return, Qt::AltModifier);
    EXPECT_EQ(wanted.count(), 2);
}

TEST_F(CodeHelpTest, ValuesAreWrittenInOneStep) {
    const std::string source = "\r\n// @param a 1.0 0 9\r\nx\r\n//@param  b 5 0 9 text\r\n// @param a 2 0 9\r\n";
    editor.loadText(source);
    editor.applyEdits(defaultEdits(source, {{"a", 3}, {"b", 2.5F}, {"c", 1}}));
    EXPECT_EQ(editor.fileText(), "\r\n// @param a 3.0 0 9\r\nx\r\n//@param  b 2.5 0 9 text\r\n// @param a 2 0 9\r\n");
    editor.undo();
    EXPECT_EQ(editor.fileText(), source);
    EXPECT_TRUE(defaultEdits(source, {{"a", 1}, {"b", 5}}).empty());
}

// ---- The pointer ----------------------------------------------------------------------------------------------------

TEST_F(CodeHelpTest, ADoubleClickTakesTheNumber) {
    editor.loadText("float a1 = 0.5 + 1.5e-3 + b.x;\n");
    for (const auto& [at, letter, whole] :
         {std::tuple{"0.5", 0, "0.5"}, {"0.5", 2, "0.5"}, {"1.5e-3", 4, "1.5e-3"}, {"a1", 1, "a1"}, {"b.x", 2, "x"}}) {
        QTest::mouseDClick(editor.viewport(), Qt::LeftButton, {}, placeOf(at, letter));
        EXPECT_EQ(editor.textCursor().selectedText().toStdString(), whole);
    }
}

TEST_F(CodeHelpTest, ControlDragsANumber) {
    editor.loadText("float a = 0.5;\nfloat b = x - 0.1;\nfloat c = x-0.1;\nfloat d = -1.0;\n");
    const std::string before = editor.fileText();
    QSignalSpy dragged(editor.pointer(), &CodePointer::valueDragged);
    drag(placeOf("0.5", 1), placeOf("0.5", 1) + QPoint(36, 0), Qt::ControlModifier);
    EXPECT_EQ(text().substr(0, 16), "float a = 0.62;\n");
    EXPECT_GT(dragged.count(), 1) << "the picture follows before the drag ends";
    editor.undo();
    EXPECT_EQ(editor.fileText(), before) << "one drag is one step";
    drag(placeOf("- 0.1", 3), placeOf("- 0.1", 3) - QPoint(120, 0), Qt::ControlModifier);
    EXPECT_NE(text().find("x - -0.3"), std::string::npos) << text();
    drag(placeOf("-0.1;", 2), placeOf("-0.1;", 2) - QPoint(120, 0), Qt::ControlModifier);
    EXPECT_NE(text().find("x-0.0;"), std::string::npos) << text();
    drag(placeOf("1.0"), placeOf("1.0") + QPoint(120, 0), Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_NE(text().find("d = 3.0;"), std::string::npos) << text();
    const std::string after = text();
    drag(placeOf("a ="), placeOf("a =") + QPoint(60, 0), Qt::ControlModifier);
    drag(placeOf("0.62") + QPoint(200, 0), placeOf("0.62") + QPoint(300, 0), Qt::ControlModifier);
    EXPECT_EQ(text(), after) << "beside a number nothing is dragged";
}

TEST_F(CodeHelpTest, ControlGoesToTheDefinition) {
    editor.loadText("// @param speed 1 0 2\n#define TWO 2\nfloat helper(float x) { return x * TWO; }\n"
                    "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                    "    float near = uv.x;\n    return float4(helper(near)) + sin(u.time);\n}\n");
    const std::tuple<const char*, int, const char*> cases[] = {
        {"helper(near)", 3, "float helper(float x) { return x * TWO; }"},
        {"near))", 1, "    float near = uv.x;"},
        {"TWO;", 1, "#define TWO 2"},
        {"uv.x", 1, "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {"},
    };
    for (const auto& [name, letter, line] : cases) {
        QTest::mouseClick(editor.viewport(), Qt::LeftButton, Qt::ControlModifier, placeOf(name, letter));
        EXPECT_EQ(editor.textCursor().block().text().toStdString(), line) << name;
        EXPECT_TRUE(QString::fromUtf8(name).startsWith(editor.textCursor().selectedText()))
            << editor.textCursor().selectedText().toStdString();
    }
    caretAt("sin(", 1);
    EXPECT_FALSE(editor.pointer()->goToDefinition()) << "the library's names stand nowhere in the text";
}

TEST_F(CodeHelpTest, AColourIsPickedBesideItsLine) {
    editor.loadText("float3 a = mix(float3(0.9, 0.2, 0.0), float3(0.0), x);\nfloat4 b = float4(0, 0, 1, 0.25);\n");
    EXPECT_EQ(colourSwatches::swatchesOf(editor, 0).size(), 1U);
    const auto swatches = colourSwatches::swatchesOf(editor, 1);
    ASSERT_EQ(swatches.size(), 1U);
    const QImage image = editor.viewport()->grab().toImage();
    EXPECT_EQ(image.pixelColor(swatches[0].rect.center().toPoint()), QColor(Qt::blue));
    QTest::mouseClick(editor.viewport(), Qt::LeftButton, {}, swatches[0].rect.center().toPoint());
    ColourPicker* picker = editor.pointer()->picker();
    ASSERT_TRUE(picker->isVisible());
    QTest::keyClick(picker, Qt::Key_Down, Qt::ShiftModifier);
    QTest::keyClick(picker, Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_NE(text().find("float4(0, 0, 0.8, 0.25)"), std::string::npos) << text();
    const std::string picked = text();
    QTest::keyClick(picker, Qt::Key_Left, Qt::ShiftModifier);
    QTest::keyClick(picker, Qt::Key_Return);
    EXPECT_FALSE(picker->isVisible());
    EXPECT_NE(text(), picked);
    editor.undo();
    EXPECT_NE(text().find("float4(0, 0, 1, 0.25)"), std::string::npos) << "one colour is one step";

    // Where the line leaves no room behind it, it has some before it.
    editor.loadText("    float3 c = float3(0, 1, 0); // " + std::string(200, 'x') + "\n");
    const auto indented = colourSwatches::swatchesOf(editor, 0);
    ASSERT_EQ(indented.size(), 1U);
    EXPECT_LT(indented[0].rect.right(), placeOf("float3").x());
    EXPECT_GE(indented[0].rect.left(), 0);
    // Where lines wrap they are behind the last row, whatever room the text leaves, and cover nothing.
    editor.setWrapsLines(true);
    for (int letters = 0; letters < 60; ++letters) {
        editor.loadText("    float3 c = float3(0, 1, 0); // one " + std::string(std::size_t(letters), 'x') + "\n");
        const auto behind = colourSwatches::swatchesOf(editor, 0);
        ASSERT_EQ(behind.size(), 1U);
        const QTextLayout* layout = editor.document()->firstBlock().layout();
        const QTextLine last = layout->lineAt(layout->lineCount() - 1);
        const double top = editor.visibleLines().front().top + (layout->lineCount() - 1) * editor.codeLineHeight();
        EXPECT_GT(behind[0].rect.left(), editor.textLeft() + last.x() + last.naturalTextWidth()) << letters;
        EXPECT_LE(behind[0].rect.right(), editor.viewport()->width()) << letters;
        EXPECT_GT(behind[0].rect.top(), top) << letters;
    }
    editor.setWrapsLines(false);
    editor.loadText("float3 a = mix(float3(0.9, 0.2, 0.0), float3(0.0), x);\n");

    caretAt("0.9");
    ASSERT_TRUE(editor.pointer()->pickColour());
    const std::string before = text();
    QTest::keyClick(picker, Qt::Key_PageUp, Qt::ShiftModifier);
    EXPECT_NE(text(), before);
    QTest::keyClick(picker, Qt::Key_Escape);
    EXPECT_EQ(text(), before);
    caretAt("mix");
    EXPECT_FALSE(editor.pointer()->pickColour());
}

TEST_F(CodeHelpTest, SidewaysTheCodeStopsAtWholeLetters) {
    editor.loadText(std::string(400, 'x') + "\n");
    const double letter = QFontMetricsF(editor.font()).horizontalAdvance(u' ');
    QScrollBar* bar = editor.horizontalScrollBar();
    for (const int value : {1, 5, 97, 333, bar->maximum()}) {
        bar->setValue(value);
        const double letters = bar->value() / letter;
        EXPECT_NEAR(letters, std::round(letters), 0.6 / letter) << value;
        EXPECT_GE(bar->value(), value);
    }
    editor.moveCursor(QTextCursor::End);
    editor.moveCursor(QTextCursor::PreviousBlock);
    editor.moveCursor(QTextCursor::EndOfBlock);
    EXPECT_LE(editor.cursorRect().right(), editor.viewport()->width());
    editor.moveCursor(QTextCursor::StartOfBlock);
    EXPECT_EQ(bar->value(), 0);
}

TEST_F(CodeHelpTest, WrappedRowsHang) {
    editor.setWrapsLines(true);
    editor.loadText("    // " + std::string(20, 'w') + " " + std::string(60, 'x') + " yy zz " + std::string(90, 'v') +
                    "\nb\n");
    editor.viewport()->grab();
    const QTextLayout* layout = editor.document()->firstBlock().layout();
    ASSERT_GT(layout->lineCount(), 1);
    const double letter = QFontMetricsF(editor.font()).horizontalAdvance(u' ');
    for (int i = 1; i < layout->lineCount(); ++i) {
        EXPECT_NEAR(layout->lineAt(i).x(), layout->lineAt(0).x() + 6 * letter, 1.5);
        EXPECT_LE(layout->lineAt(i).x() + layout->lineAt(i).naturalTextWidth(), editor.viewport()->width());
    }
    EXPECT_EQ(editor.document()->firstBlock().lineCount(), layout->lineCount());
    EXPECT_EQ(editor.visibleLines()[1].top - editor.visibleLines()[0].top,
              layout->lineCount() * editor.codeLineHeight());
}

// ---- Several carets -------------------------------------------------------------------------------------------------

TEST_F(CodeHelpTest, TypingHappensAtEveryCaret) {
    editor.loadText("float a = b;\na = a + c;\n// a\n");
    const std::string before = text();
    caretAt("a =");
    MoreCarets& carets = editor.moreCarets();
    carets.addNextOccurrence();
    EXPECT_EQ(editor.textCursor().selectedText(), QStringLiteral("a")) << "first the word itself";
    EXPECT_TRUE(carets.isEmpty());
    carets.addNextOccurrence();
    carets.addNextOccurrence();
    EXPECT_EQ(carets.all().size(), 2U);
    QTest::keyClicks(&editor, QStringLiteral("xy"));
    EXPECT_EQ(text(), "float xy = b;\nxy = xy + c;\n// a\n");
    QTest::keyClick(&editor, Qt::Key_Backspace);
    QTest::keyClick(&editor, Qt::Key_Left, Qt::ShiftModifier);
    QApplication::clipboard()->setText(QStringLiteral("pq"));
    editor.paste();
    EXPECT_EQ(text(), "float pq = b;\npq = pq + c;\n// a\n");
    while (text() != before && editor.document()->isUndoAvailable())
        editor.undo();
    EXPECT_EQ(text(), before);

    QTest::keyClick(&editor, Qt::Key_Escape);
    EXPECT_TRUE(carets.isEmpty());
    caretAt("c;");
    QTest::keyClicks(&editor, QStringLiteral("z"));
    EXPECT_EQ(text(), "float a = b;\na = a + zc;\n// a\n") << "one caret again";
    caretAt("a = a");
    carets.addAllOccurrences();
    EXPECT_EQ(carets.all().size(), 4U) << "letters in words count, as they do for the next one";
    QTest::mouseClick(editor.viewport(), Qt::LeftButton, {}, placeOf("b;"));
    EXPECT_TRUE(carets.isEmpty());
    caretAt("b;");
    carets.addAllOccurrences();
    QTest::keyClick(&editor, Qt::Key_Home);
    QTest::keyClick(&editor, Qt::Key_Home);
    EXPECT_TRUE(carets.isEmpty()) << "carets at one place are one";
}

// ---- Texts that are no shaders --------------------------------------------------------------------------------------

TEST_F(CodeHelpTest, WhatCouldNotBeOpenedAgainIsNotPasted) {
    editor.loadText("first\n");
    QSignalSpy refused(&editor, &CodeEditor::pasteRefused), edited(&editor, &CodeEditor::edited);
    QApplication::clipboard()->setText(QString(int(ShaderFile::sizeLimit), u'a'));
    editor.paste();
    ASSERT_EQ(refused.count(), 1);
    EXPECT_TRUE(refused[0][0].toString().contains(QStringLiteral("4 MB")));
    EXPECT_EQ(text(), "first\n");
    // Letters count as the bytes that they are in a file.
    QApplication::clipboard()->setText(QString(int(ShaderFile::sizeLimit / 2), QChar(u'é')));
    editor.paste();
    EXPECT_EQ(refused.count(), 2);
    EXPECT_EQ(edited.count(), 0);
    QApplication::clipboard()->setText(QStringLiteral("small "));
    editor.paste();
    EXPECT_EQ(text(), "small first\n");
    editor.selectAll();
    QApplication::clipboard()->setText(QString(1000, u'b'));
    editor.paste();
    EXPECT_EQ(text().size(), 1000U);
}

TEST_F(CodeHelpTest, OfALongWordOnlyWhatIsSeenIsPainted) {
    // How much is painted is counted, not timed.
    auto painted = [&](int letters) {
        editor.loadText(std::string(std::size_t(letters), 'x') + "\n");
        Diagnostic error{Severity::error, 1, 1, "unknown"};
        error.length = letters;
        editor.setDiagnostics({error});
        QPicture picture;
        {
            QPainter painter(&picture);
            editor.viewport()->render(&painter, {}, {}, QWidget::DrawWindowBackground);
        }
        return picture.size();
    };
    const auto usual = painted(400);
    EXPECT_LT(painted(300'000), usual * 4);
    editor.moveCursor(QTextCursor::EndOfBlock);
    EXPECT_GT(editor.horizontalScrollBar()->value(), 0);
}

TEST_F(CodeHelpTest, ATextWithALongLineIsNotWrapped) {
    editor.setWrapsLines(true);
    editor.loadText(std::string(100'000, 'x') + "\nb\n");
    EXPECT_EQ(editor.document()->firstBlock().lineCount(), 1);
    EXPECT_TRUE(editor.wrapsLines());
    editor.loadText(std::string(300, 'x') + "\nb\n");
    EXPECT_GT(editor.document()->firstBlock().lineCount(), 1) << "the next text is wrapped again";
    QApplication::clipboard()->setText(QString(100'000, u'y'));
    editor.paste();
    EXPECT_EQ(editor.document()->firstBlock().lineCount(), 1);
}

} // namespace
} // namespace glasshob
