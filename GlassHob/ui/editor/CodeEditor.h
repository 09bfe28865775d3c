// The editor pane's text: a plain-text editor for shader code with a ruler, coloured tokens, the compiler's messages
// marked on their lines, and the keys a programmer expects. It knows nothing of the model: it is given texts and
// messages and tells of edits.
//
// Text goes in and out as the file's exact bytes (see EditorText). Lines count from 1, as the compiler counts them.
// Main thread.
#pragma once

#include "GlassHob/ui/editor/CodeMarks.h"
#include "GlassHob/ui/editor/EditorText.h"
#include "GlassHob/ui/editor/FileBytes.h"
#include "GlassHob/ui/editor/MoreCarets.h"
#include "GlassHobCore/code/Diagnostics.h"

#include <QBasicTimer>
#include <QPlainTextEdit>
#include <QTextCursor>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

class CodeAssistant;
class CodePointer;
class LineRuler;
class MessageTip;
class SyntaxHighlighter;

class CodeEditor : public QPlainTextEdit {
    Q_OBJECT
  public:
    explicit CodeEditor(QWidget* parent = nullptr);
    ~CodeEditor() override;

    // Replaces the whole text, forgetting what could be undone. Does not emit edited().
    void loadText(std::string_view utf8);
    // A newer text of the same file: one step of undo. Does not emit edited().
    void reloadText(std::string_view utf8);
    // The text as the bytes of a file.
    std::string fileText() const;

    // Marks the errors and warnings on their lines, and quietly the notes on directives; marks move with the text until
    // the next call. Both are about the text as it stands.
    void setDiagnostics(const std::vector<Diagnostic>& diagnostics, const std::vector<Diagnostic>& directiveNotes = {});
    const CodeMarks& marks() const { return marks_; }
    // The worst severity marked on a line (from 0), if any.
    std::optional<Diagnostic::Severity> severityOfBlock(int blockNumber) const {
        return marks_.severityOfBlock(blockNumber);
    }
    // Mends what a message is about, as far as is known how.
    void applyFix(std::size_t message);
    // Edits places of the text as it stands, in one step of undo.
    void applyEdits(const std::vector<msl::FixIt>& edits);
    // Takes whole lines out, by their numbers from 1 in rising order, in one step of undo.
    void removeLines(const std::vector<std::int64_t>& numbers);
    // Mends what is marked at the caret or on its line; asks where there is a choice.
    void fixAtCaret();

    // Puts the caret at a line and byte column as the compiler gives them, and shows it. Out of range is brought in.
    void goTo(std::int64_t line, std::int64_t byteColumn);
    // Selects a stretch of the document and shows it.
    void selectRange(int from, int to);
    // The caret's line and column from 1, the column in UTF-16 units.
    int caretLine() const;
    int caretColumn() const;
    // The word at the caret, a directive with its @; empty between words.
    QString wordAtCaret() const;

    void setWrapsLines(bool wraps);
    // As it was set; a text with a line that is no line of code is not wrapped all the same.
    bool wrapsLines() const { return wraps_; }
    // 10 to 28 pixels.
    void setCodeSize(int pixels);
    int codeSize() const { return codeSize_; }
    int codeLineHeight() const { return lineHeight_; }

    void toggleComment();
    // Inserts a line of its own before the caret's line.
    void insertLine(const QString& line);

    // Stretches of the document that are marked behind the text, in their order: what was looked for, and a pair of
    // brackets. They move with the text until they are set again.
    struct Span {
        int from = 0, to = 0;
        bool operator==(const Span&) const = default;
    };
    enum class SpanLayer : std::uint8_t { match, bracket, count };
    void setSpans(SpanLayer layer, std::vector<Span> spans);
    const std::vector<Span>& spans(SpanLayer layer) const { return spans_[std::size_t(layer)]; }

    CodeAssistant* assistant() const { return assistant_; }
    CodePointer* pointer() const { return pointer_; }
    MoreCarets& moreCarets() { return moreCarets_; }

    // For the ruler: the visible blocks from the top, with their place in the viewport.
    struct VisibleLine {
        int blockNumber;
        double top;
        double height;
    };
    std::vector<VisibleLine> visibleLines() const;
    // Where the text's own left edge lies in the viewport.
    double textLeft() const { return contentOffset().x(); }
    // The name of the slider that a line declares; empty where it declares none.
    QString declaredParameter(int blockNumber) const;
    // Shows the messages of a line beside it, or hides the message window where there are none.
    void showMessages(int blockNumber);

  signals:
    // The user changed the text.
    void edited();
    // The lines [first, first + removed) have become these.
    void linesChanged(int first, int removed, const std::vector<QString>& lines);
    // A key has done its work; its text.
    void keyHandled(const QString& text);
    void caretMoved(int line, int column);
    void parameterPicked(const QString& name);
    void filesDropped(const QStringList& paths);
    // A text is too long to be put in; the sentence about it.
    void pasteRefused(const QString& sentence);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    QMimeData* createMimeDataFromSelection() const override;
    bool canInsertFromMimeData(const QMimeData* source) const override;
    void insertFromMimeData(const QMimeData* source) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void followTheme();
    void applyFont();
    void followWrapping(bool hasLongLine);
    void scrollWholeLetters(int value);
    void layOutRuler();
    void paintLines(QPainter& painter, const QRect& dirty) const;
    void paintText(QPainter& painter, const QTextBlock& block, const QPointF& offset, const QRect& dirty) const;
    void paintSelections(QPainter& painter, const QTextBlock& block, const QPointF& offset) const;
    void paintSpans(QPainter& painter, const QTextBlock& block, const QPointF& offset, bool frames) const;
    // Where a stretch of the document lies in a line of it, one rectangle for each row.
    std::vector<QRectF> rectsOf(int from, int to, const QTextBlock& block, const QPointF& offset) const;
    void paintMarks(QPainter& painter, const QTextBlock& block, const QPointF& offset) const;
    QRect caretRect() const { return caretRect(textCursor()); }
    QRect caretRect(const QTextCursor& cursor) const;
    void restartCaret();
    void updateLine(int blockNumber);
    void readChangedLines(int position, int added);
    void documentChanged(int position, int removed, int added);
    void hoverAt(const QPoint& place);
    void indentSelection(bool outwards);
    void insertNewLine();
    void handleKey(QKeyEvent* event);
    void applyFix(const CodeMarks::Fix& fix);

    EditorText conventions_;
    FileBytes bytes_;
    SyntaxHighlighter* highlighter_ = nullptr;
    LineRuler* ruler_ = nullptr;
    CodeAssistant* assistant_ = nullptr;
    CodePointer* pointer_ = nullptr;
    MessageTip* tip_ = nullptr;
    QWidget* underRuler_ = nullptr;
    CodeMarks marks_;
    MoreCarets moreCarets_;
    std::array<std::vector<Span>, std::size_t(SpanLayer::count)> spans_;
    QBasicTimer caretTimer_;
    QBasicTimer hoverTimer_;
    QPoint hoverPlace_;
    bool caretShown_ = true;
    int caretBlock_ = 0;
    bool selected_ = false;
    bool loading_ = false;
    bool wraps_ = false;
    bool hasLongLine_ = false;
    int codeSize_ = 13;
    int lineHeight_ = 20;
};

} // namespace glasshob
