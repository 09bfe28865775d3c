// The handbook's window: what F1 shows, the search, the way back, and a shader that is tried.
#include "GlassHob/tests/ShownWindow.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/handbook/HandbookView.h"
#include "GlassHob/ui/handbook/HandbookWindow.h"

#include <QFileInfo>
#include <QListWidget>
#include <QTextBlock>

namespace glasshob {
namespace {

class HandbookTest : public ShownWindow {
  protected:
    HandbookWindow* shown() const { return window->findChild<HandbookWindow*>(); }
    // F1 with the caret inside of the first such word of the text.
    HandbookWindow* ask(const std::string& text, const QString& word) {
        model->setText(text);
        auto* editor = window->findChild<CodeEditor*>();
        editor->setFocus();
        editor->setTextCursor(editor->document()->find(word));
        QTest::keyClick(editor, Qt::Key_F1);
        return shown();
    }
    QString page() const { return handbook::pages()[std::size_t(shown()->view()->place().page)].file; }
};

TEST_F(HandbookTest, F1ExplainsTheWordAtTheCaret) {
    const std::string text = shader("// @param speed 1 0 2") + "// smoothstep hobRamp\n";
    ASSERT_NE(ask(text, QStringLiteral("smoothstep")), nullptr);
    EXPECT_EQ(page(), QStringLiteral("functions.md"));
    EXPECT_TRUE(shown()->view()->textCursor().selectedText().startsWith(QStringLiteral("smoothstep(")));
    ask(text, QStringLiteral("param"));
    EXPECT_EQ(page(), QStringLiteral("directives.md"));
    EXPECT_EQ(shown()->view()->textCursor().block().text(), QStringLiteral("@param"));
    ask(text, QStringLiteral("hobRamp")); // nothing is told of it: as it was
    EXPECT_EQ(page(), QStringLiteral("directives.md"));
    EXPECT_EQ(shown()->field()->text(), QString());
}

TEST_F(HandbookTest, LinksAndTheSearchLeadOnAndAltLeftBack) {
    HandbookWindow* handbook = ask(shader(""), QStringLiteral("uv"));
    ASSERT_NE(handbook, nullptr);
    EXPECT_EQ(page(), QStringLiteral("values.md"));
    emit handbook->view()->anchorClicked(QUrl(QStringLiteral("kinds.md#a-grid-of-squares")));
    EXPECT_EQ(page(), QStringLiteral("kinds.md"));
    EXPECT_EQ(handbook->view()->textCursor().block().text(), QStringLiteral("A grid of squares"));
    handbook->field()->setText(QStringLiteral("48,000"));
    ASSERT_GT(handbook->list()->count(), 0);
    QTest::keyClick(handbook->field(), Qt::Key_Return);
    EXPECT_EQ(page(), QStringLiteral("sound.md"));
    EXPECT_EQ(handbook->view()->textCursor().selectedText(), QStringLiteral("48,000"));
    QTest::keyClick(handbook, Qt::Key_Left, Qt::AltModifier);
    EXPECT_EQ(page(), QStringLiteral("kinds.md"));
    QTest::keyClick(handbook, Qt::Key_Left, Qt::AltModifier);
    EXPECT_EQ(page(), QStringLiteral("values.md"));
}

TEST_F(HandbookTest, AShaderThatIsTriedBecomesAFileOfItsOwn) {
    questions.choice = 2; // the edits may go
    HandbookWindow* handbook = ask(shader(""), QStringLiteral("shade"));
    ASSERT_NE(handbook, nullptr);
    emit handbook->view()->anchorClicked(QUrl(QStringLiteral("example:1")));
    ASSERT_TRUE(model->filePath());
    EXPECT_EQ(QFileInfo(*model->filePath()).fileName(), QStringLiteral("Particles.metal"));
    EXPECT_TRUE(model->currentText().starts_with("// @particles 4000"));
    EXPECT_EQ(model->errorText(), std::nullopt);
}

} // namespace
} // namespace glasshob
