#include "GlassHob/ui/editor/CodeEditor.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHob/ui/editor/CodeAssistant.h"
#include "GlassHob/ui/editor/CodeLayout.h"
#include "GlassHob/ui/editor/CodePointer.h"
#include "GlassHob/ui/editor/ColourSwatches.h"
#include "GlassHob/ui/editor/LineCommands.h"
#include "GlassHob/ui/editor/LineRuler.h"
#include "GlassHob/ui/editor/MessageTip.h"
#include "GlassHob/ui/editor/SyntaxHighlighter.h"
#include "GlassHobCore/code/CodeEdit.h"
#include "GlassHobCore/code/Words.h"
#include "GlassHobCore/files/ShaderFile.h"
#include "GlassHobCore/shader/Params.h"

#include <QGuiApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QStyleHints>
#include <QTextBlock>
#include <QUrl>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr int indentWidth = 4;
constexpr int textMargin = 6;
constexpr int hoverDelay = 300;
constexpr qsizetype longestWrapped = 20'000;
constexpr int shortPaste = 1000; // letters that are pasted at many carets

qsizetype longestLineOf(QStringView text) {
    qsizetype longest = 0;
    for (qsizetype at = 0; at < text.size();) {
        const qsizetype found = text.indexOf(u'\n', at), end = found < 0 ? text.size() : found;
        longest = std::max(longest, end - at);
        at = end + 1;
    }
    return longest;
}

QString leadingBlanks(const QString& line) {
    int end = 0;
    while (end < line.size() && (line[end] == u' ' || line[end] == u'\t'))
        ++end;
    return line.left(end);
}

} // namespace

CodeEditor::CodeEditor(QWidget* parent) : QPlainTextEdit(parent), marks_(document()), moreCarets_(this) {
    auto* layout = new CodeLayout(document());
    layout->setRoomBehind(&colourSwatches::roomBehind);
    document()->setDocumentLayout(layout);
    document()->setDocumentMargin(textMargin);
    setFrameShape(NoFrame);
    setLineWrapMode(NoWrap);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setUndoRedoEnabled(true);
    setCursorWidth(0); // the caret is painted here
    setMouseTracking(true);
    viewport()->setMouseTracking(true);
    setAccessibleName(tr("Shader source"));
    highlighter_ = new SyntaxHighlighter(document());
    ruler_ = new LineRuler(this);
    // The scroll bar begins where the text does.
    underRuler_ = new FilledPane(Role::editor, {}, this);
    addScrollBarWidget(underRuler_, Qt::AlignLeft);
    setCornerWidget(new FilledPane(Role::editor, {}, this));
    tip_ = new MessageTip(this);
    applyFont();
    followTheme();
    layOutRuler();

    connect(this, &QPlainTextEdit::blockCountChanged, this, &CodeEditor::layOutRuler);
    connect(this, &QPlainTextEdit::updateRequest, this, [this](const QRect& rect, int scrolled) {
        if (scrolled) tip_->hide();
        if (scrolled)
            ruler_->update();
        else if (rect.height() >= codeLineHeight())
            ruler_->update(0, rect.top(), ruler_->width(), rect.height());
    });
    connect(this, &QPlainTextEdit::cursorPositionChanged, this, [this] {
        restartCaret();
        // Only the lines that the caret left and reached look different.
        const int block = textCursor().blockNumber();
        updateLine(caretBlock_);
        updateLine(block);
        caretBlock_ = block;
        emit caretMoved(caretLine(), caretColumn());
    });
    connect(this, &QPlainTextEdit::selectionChanged, this, [this] {
        const bool selects = textCursor().hasSelection();
        if (selects || selected_) viewport()->update();
        selected_ = selects;
    });
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this, &CodeEditor::scrollWholeLetters);
    connect(document(), &QTextDocument::contentsChange, this, &CodeEditor::documentChanged);
    assistant_ = new CodeAssistant(this);
    pointer_ = new CodePointer(this);
    connect(&Theme::instance(), &Theme::changed, this, &CodeEditor::followTheme);
}

CodeEditor::~CodeEditor() = default;

void CodeEditor::loadText(std::string_view utf8) {
    QScopedValueRollback loading(loading_, true);
    marks_.clear();
    moreCarets_.clear();
    tip_->hide();
    const QString text = conventions_.load(utf8);
    bytes_.clear(conventions_);
    emit linesChanged(0, blockCount(), {QString()});
    // Of a million letters in a line nobody wants the fifteen thousand rows.
    if (const bool hasLongLine = longestLineOf(text) > longestWrapped; hasLongLine != hasLongLine_) {
        clear();
        followWrapping(hasLongLine);
    }
    setPlainText(text);
    document()->setModified(false);
    layOutRuler();
}

void CodeEditor::reloadText(std::string_view utf8) {
    const std::optional<QString> text = conventions_.read(utf8);
    if (!text || (longestLineOf(*text) > longestWrapped) != hasLongLine_) {
        // Other line ends, say: nothing of the old text can be put back byte for byte.
        loadText(utf8);
        return;
    }
    QScopedValueRollback loading(loading_, true);
    moreCarets_.clear();
    tip_->hide();
    QString old = document()->toRawText();
    old.replace(QChar::ParagraphSeparator, u'\n');
    // Only the stretch that differs, so that the caret and the view stay where they are.
    const qsizetype shorter = std::min(old.size(), text->size());
    qsizetype from = std::mismatch(old.begin(), old.begin() + shorter, text->begin()).first - old.begin();
    if (from > 0 && old[from - 1].isHighSurrogate()) --from;
    qsizetype kept = 0;
    while (kept < shorter - from && old[old.size() - 1 - kept] == (*text)[text->size() - 1 - kept])
        ++kept;
    if (kept > 0 && old[old.size() - kept].isLowSurrogate()) --kept;
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.setPosition(int(from));
    cursor.setPosition(int(old.size() - kept), QTextCursor::KeepAnchor);
    cursor.insertText(text->mid(from, text->size() - kept - from));
    cursor.endEditBlock();
}

std::string CodeEditor::fileText() const {
    return bytes_.bytes();
}

void CodeEditor::documentChanged(int position, int removed, int added) {
    // Colouring reports a change too, but of no characters.
    if (removed == 0 && added == 0) return;
    readChangedLines(position, added);
    // Marked stretches move with the text; one that was edited goes.
    for (auto& spans : spans_) {
        std::erase_if(spans, [&](const Span& span) { return span.to > position && span.from < position + removed; });
        for (Span& span : spans)
            if (span.from >= position + removed) span.from += added - removed, span.to += added - removed;
    }
    if (loading_) return;
    tip_->hide();
    emit edited();
}

void CodeEditor::readChangedLines(int position, int added) {
    const QTextBlock firstBlock = document()->findBlock(position);
    QTextBlock lastBlock = document()->findBlock(position + added);
    if (!lastBlock.isValid()) lastBlock = document()->lastBlock();
    const int first = firstBlock.isValid() ? firstBlock.blockNumber() : 0;
    const int last = lastBlock.blockNumber();
    std::vector<QString> lines;
    lines.reserve(std::size_t(last - first + 1));
    for (QTextBlock block = document()->findBlockByNumber(first); block.isValid() && block.blockNumber() <= last;
         block = block.next())
        lines.push_back(block.text());
    const int removed = int(lines.size()) - (document()->blockCount() - bytes_.lineCount());
    bytes_.replaceLines(conventions_, first, removed, lines);
    emit linesChanged(first, removed, lines);
}

void CodeEditor::followTheme() {
    QPalette palette = this->palette();
    palette.setColor(QPalette::Base, themed(Role::editor));
    palette.setColor(QPalette::Text, themed(CodeRole::plain));
    setPalette(palette);
    {
        QScopedValueRollback loading(loading_, true);
        highlighter_->followTheme();
    }
    viewport()->update();
    ruler_->update();
}

void CodeEditor::applyFont() {
    setFont(fonts::mono(codeSize_));
    lineHeight_ = 2 * int(codeSize_ * 1.54 / 2 + 0.5);
    static_cast<CodeLayout*>(document()->documentLayout())
        ->setCodeLine(lineHeight_, 2 * QFontMetricsF(font()).horizontalAdvance(u' '));
    setTabStopDistance(QFontMetricsF(font()).horizontalAdvance(u' ') * indentWidth);
    ruler_->update();
}

// Sideways the code stops at whole letters, to the right of where it was asked to: the caret stays in sight.
void CodeEditor::scrollWholeLetters(int value) {
    const double letter = QFontMetricsF(font()).horizontalAdvance(u' ');
    const int whole = qRound(std::ceil((value - 0.5) / letter) * letter);
    QScrollBar* bar = horizontalScrollBar();
    if (whole == value) return;
    if (whole > bar->maximum()) bar->setMaximum(whole);
    bar->setValue(whole);
}

void CodeEditor::setCodeSize(int pixels) {
    codeSize_ = std::clamp(pixels, 10, 28);
    applyFont();
}

void CodeEditor::setWrapsLines(bool wraps) {
    wraps_ = wraps;
    followWrapping(hasLongLine_);
}

void CodeEditor::followWrapping(bool hasLongLine) {
    hasLongLine_ = hasLongLine;
    setLineWrapMode(wraps_ && !hasLongLine ? WidgetWidth : NoWrap);
}

void CodeEditor::layOutRuler() {
    const int width = ruler_->widthForLines(blockCount());
    setViewportMargins(width, 0, 0, 0);
    underRuler_->setFixedWidth(width + textMargin);
    const QRect inside = contentsRect();
    ruler_->setGeometry(inside.left(), inside.top(), width, inside.height());
    ruler_->raise();
}

void CodeEditor::resizeEvent(QResizeEvent* event) {
    const QRect caret = cursorRect();
    QPlainTextEdit::resizeEvent(event);
    layOutRuler();
    // The line being typed must not slide under the message list that its mistake brings up.
    const bool wasVisible = caret.top() >= 0 && caret.bottom() <= event->oldSize().height();
    if (wasVisible && caret.bottom() > viewport()->height()) ensureCursorVisible();
}

// ---- Messages -------------------------------------------------------------------------------------------------------

void CodeEditor::setDiagnostics(const std::vector<Diagnostic>& diagnostics,
                                const std::vector<Diagnostic>& directiveNotes) {
    const bool any = !diagnostics.empty() || !directiveNotes.empty();
    marks_.set(diagnostics, directiveNotes, any ? fileText() : std::string());
    tip_->hide();
    viewport()->update();
    ruler_->update();
}

void CodeEditor::applyFix(const CodeMarks::Fix& fix) {
    setTextCursor(CodeMarks::apply(fix));
    ensureCursorVisible();
    setFocus(Qt::OtherFocusReason);
}

void CodeEditor::applyFix(std::size_t message) {
    const std::vector<CodeMarks::Fix> fixes = marks_.fixesOf(message);
    if (!fixes.empty()) applyFix(fixes.front());
}

void CodeEditor::applyEdits(const std::vector<msl::FixIt>& edits) {
    if (edits.empty()) return;
    std::vector<QTextCursor> places;
    for (const msl::FixIt& edit : edits)
        places.push_back(marks_.rangeOf(edit));
    QTextCursor whole(document());
    whole.beginEditBlock();
    for (std::size_t i = 0; i < edits.size(); ++i)
        places[i].insertText(QString::fromStdString(edits[i].replacement));
    whole.endEditBlock();
}

void CodeEditor::removeLines(const std::vector<std::int64_t>& numbers) {
    QTextCursor whole(document());
    whole.beginEditBlock();
    for (auto number = numbers.rbegin(); number != numbers.rend(); ++number) {
        const QTextBlock line = document()->findBlockByNumber(int(*number) - 1);
        if (!line.isValid()) continue;
        QTextCursor cursor(line);
        lineCommands::deleteLines(cursor);
    }
    whole.endEditBlock();
}

void CodeEditor::fixAtCaret() {
    const std::vector<CodeMarks::Fix> fixes = marks_.fixesAt(textCursor());
    if (fixes.empty()) return;
    if (fixes.size() == 1) {
        applyFix(fixes.front());
        return;
    }
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (const CodeMarks::Fix& fix : fixes)
        menu->addAction(QString(fix.title).replace(u'&', QLatin1String("&&")), this, [this, fix] { applyFix(fix); });
    menu->setActiveAction(menu->actions().first());
    menu->popup(viewport()->mapToGlobal(caretRect().bottomLeft() + QPoint(0, 2)));
}

void CodeEditor::showMessages(int blockNumber) {
    std::vector<Diagnostic> messages;
    QString fix;
    int firstColumn = -1;
    for (const CodeMarks::Mark* mark : marks_.ofBlock(blockNumber)) {
        messages.push_back(mark->diagnostic);
        if (firstColumn < 0) firstColumn = mark->range.selectionStart();
        if (fix.isEmpty() && !mark->fixes.empty()) fix = mark->fixes.front().title;
    }
    if (messages.empty()) {
        tip_->hide();
        return;
    }
    const QTextBlock block = document()->findBlockByNumber(blockNumber);
    const QRectF geometry = blockBoundingGeometry(block).translated(contentOffset());
    QTextCursor at(block);
    at.setPosition(firstColumn);
    tip_->showFor(messages, fix.isEmpty() ? fix : tr("Alt+Return: %1").arg(fix),
                  QRect(cursorRect(at).left(), int(geometry.top()), 1, lineHeight_));
}

void CodeEditor::hoverAt(const QPoint& place) {
    for (const VisibleLine& line : visibleLines())
        if (place.y() >= line.top && place.y() < line.top + line.height) {
            showMessages(line.blockNumber);
            return;
        }
    tip_->hide();
}

bool CodeEditor::viewportEvent(QEvent* event) {
    switch (event->type()) {
    case QEvent::MouseMove: {
        const QPoint place = static_cast<QMouseEvent*>(event)->pos();
        const bool sameLine = place.y() / lineHeight_ == hoverPlace_.y() / lineHeight_;
        hoverPlace_ = place;
        if (!sameLine) tip_->hide();
        if (!marks_.isEmpty() && !tip_->isVisible()) hoverTimer_.start(hoverDelay, this);
        break;
    }
    case QEvent::Leave:
    case QEvent::MouseButtonPress:
        if (event->type() == QEvent::MouseButtonPress) moreCarets_.clear();
        hoverTimer_.stop();
        tip_->hide();
        break;
    default: break;
    }
    return QPlainTextEdit::viewportEvent(event);
}

// ---- Places ---------------------------------------------------------------------------------------------------------

void CodeEditor::goTo(std::int64_t line, std::int64_t byteColumn) {
    const int number = int(std::clamp<std::int64_t>(line, 1, blockCount())) - 1;
    const QTextBlock block = document()->findBlockByNumber(number);
    QTextCursor cursor(block);
    cursor.setPosition(block.position() + (byteColumn > 0 ? utf16Column(block.text(), byteColumn) : 0));
    setTextCursor(cursor);
    ensureCursorVisible();
    setFocus(Qt::OtherFocusReason);
}

void CodeEditor::selectRange(int from, int to) {
    QTextCursor cursor(document());
    const int end = document()->characterCount() - 1;
    cursor.setPosition(std::clamp(from, 0, end));
    cursor.setPosition(std::clamp(to, 0, end), QTextCursor::KeepAnchor);
    setTextCursor(cursor);
    // A place out of sight comes to the middle, with what is round it.
    const QRect caret = cursorRect();
    if (caret.top() < 0 || caret.bottom() > viewport()->height()) centerCursor();
    ensureCursorVisible();
}

void CodeEditor::setSpans(SpanLayer layer, std::vector<Span> spans) {
    auto& kept = spans_[std::size_t(layer)];
    if (kept == spans) return;
    // A pair of brackets lies on two lines at most; matches may lie anywhere.
    const bool areFew = kept.size() + spans.size() <= 4;
    for (const auto* some : {&kept, &spans})
        for (std::size_t i = 0; areFew && i < some->size(); ++i)
            updateLine(document()->findBlock((*some)[i].from).blockNumber());
    kept = std::move(spans);
    if (!areFew) viewport()->update();
}

int CodeEditor::caretLine() const {
    return textCursor().blockNumber() + 1;
}
int CodeEditor::caretColumn() const {
    return textCursor().positionInBlock() + 1;
}

QString CodeEditor::wordAtCaret() const {
    const QTextCursor cursor = textCursor();
    const QString line = cursor.block().text();
    TextRange word = wordAt(line, cursor.positionInBlock());
    if (word.length == 0 || line[word.location].isDigit()) return {};
    if (word.location > 0 && line[word.location - 1] == u'@') word = {word.location - 1, word.length + 1};
    return line.mid(word.location, word.length);
}

std::vector<CodeEditor::VisibleLine> CodeEditor::visibleLines() const {
    std::vector<VisibleLine> lines;
    QTextBlock block = firstVisibleBlock();
    double top = blockBoundingGeometry(block).translated(contentOffset()).top();
    while (block.isValid() && top < viewport()->height()) {
        // The last block's rectangle has the margin below it, which belongs to no line.
        const double full = blockBoundingRect(block).height();
        const double height = block.next().isValid() ? full : full - document()->documentMargin();
        lines.push_back({block.blockNumber(), top, height});
        top += full;
        block = block.next();
    }
    return lines;
}

void CodeEditor::updateLine(int blockNumber) {
    const QTextBlock block = document()->findBlockByNumber(blockNumber);
    if (!block.isValid()) return;
    const QRect band = blockBoundingGeometry(block).translated(contentOffset()).toAlignedRect();
    viewport()->update(0, band.top(), viewport()->width(), band.height());
    ruler_->update(0, band.top(), ruler_->width(), band.height());
}

QString CodeEditor::declaredParameter(int blockNumber) const {
    const QString text = document()->findBlockByNumber(blockNumber).text();
    if (!text.contains(QLatin1String("@param"))) return {};
    const std::vector<ParamDecl> declared = ParamParser::parse(text.toStdString());
    return declared.empty() ? QString() : QString::fromStdString(declared.front().name);
}

// ---- The caret and the pointer -------------------------------------------------------------------------------------

void CodeEditor::restartCaret() {
    caretShown_ = true;
    const int period = QGuiApplication::styleHints()->cursorFlashTime();
    if (hasFocus() && period > 0)
        caretTimer_.start(period / 2, this);
    else
        caretTimer_.stop();
}

void CodeEditor::timerEvent(QTimerEvent* event) {
    if (event->timerId() == caretTimer_.timerId()) {
        caretShown_ = !caretShown_;
        viewport()->update(caretRect().adjusted(-1, -1, 1, 1));
        for (const QTextCursor& cursor : moreCarets_.all())
            viewport()->update(caretRect(cursor).adjusted(-1, -1, 1, 1));
    } else if (event->timerId() == hoverTimer_.timerId()) {
        hoverTimer_.stop();
        if (viewport()->underMouse()) hoverAt(hoverPlace_);
    } else {
        QPlainTextEdit::timerEvent(event);
    }
}

void CodeEditor::focusInEvent(QFocusEvent* event) {
    QPlainTextEdit::focusInEvent(event);
    restartCaret();
    viewport()->update();
}

void CodeEditor::focusOutEvent(QFocusEvent* event) {
    QPlainTextEdit::focusOutEvent(event);
    caretTimer_.stop();
    tip_->hide();
    viewport()->update();
}

// ---- Editing --------------------------------------------------------------------------------------------------------

void CodeEditor::keyPressEvent(QKeyEvent* event) {
    tip_->hide();
    if (moreCarets_.takesKey(*event)) return;
    handleKey(event);
    const bool types = !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier));
    if (types && !event->text().isEmpty()) emit keyHandled(event->text());
}

void CodeEditor::handleKey(QKeyEvent* event) {
    const bool plain = !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier));
    switch (event->key()) {
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        if (!plain) {
            focusNextPrevChild(event->key() == Qt::Key_Tab && !(event->modifiers() & Qt::ShiftModifier));
            return;
        }
        if (event->key() == Qt::Key_Backtab || textCursor().hasSelection())
            indentSelection(event->key() == Qt::Key_Backtab);
        else
            textCursor().insertText(QString(indentWidth - textCursor().positionInBlock() % indentWidth, u' '));
        ensureCursorVisible();
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (!plain) break;
        insertNewLine();
        return;
    case Qt::Key_BraceRight: {
        // A closing brace on a blank line goes out one level.
        QTextCursor cursor = textCursor();
        const QString before = cursor.block().text().left(cursor.positionInBlock());
        if (!cursor.hasSelection() && before.size() >= indentWidth && leadingBlanks(before) == before &&
            before.endsWith(QString(indentWidth, u' '))) {
            cursor.beginEditBlock();
            for (int i = 0; i < indentWidth; ++i)
                cursor.deletePreviousChar();
            cursor.insertText(QStringLiteral("}"));
            cursor.endEditBlock();
            return;
        }
        break;
    }
    case Qt::Key_Backspace: {
        // In the indentation a whole step goes.
        QTextCursor cursor = textCursor();
        const QString before = cursor.block().text().left(cursor.positionInBlock());
        const int past = int(before.size()) % indentWidth;
        const int step = past == 0 ? indentWidth : past;
        if (!plain || cursor.hasSelection() || before.isEmpty() || before != QString(before.size(), u' ')) break;
        cursor.setPosition(cursor.position() - step, QTextCursor::KeepAnchor);
        cursor.removeSelectedText();
        ensureCursorVisible();
        return;
    }
    case Qt::Key_Home:
        if (!plain) break;
        {
            QTextCursor cursor = textCursor();
            const bool selects = event->modifiers() & Qt::ShiftModifier;
            lineCommands::smartHome(cursor, selects ? QTextCursor::KeepAnchor : QTextCursor::MoveAnchor);
            setTextCursor(cursor);
        }
        return;
    default: break;
    }
    QPlainTextEdit::keyPressEvent(event);
}

void CodeEditor::insertNewLine() {
    QTextCursor cursor = textCursor();
    const QString before = cursor.block().text().left(cursor.positionInBlock());
    QString indent = leadingBlanks(before);
    const QString outside = indent;
    const bool opens = before.trimmed().endsWith(u'{');
    const bool closes = cursor.block().text().mid(cursor.positionInBlock()).trimmed().startsWith(u'}');
    if (opens) indent += QString(indentWidth, u' ');
    cursor.beginEditBlock();
    cursor.insertBlock();
    cursor.insertText(indent);
    if (opens && closes) {
        // Between a pair of braces: the closing one gets a line of its own.
        const int here = cursor.position();
        cursor.insertBlock();
        cursor.insertText(outside);
        cursor.setPosition(here);
    }
    cursor.endEditBlock();
    setTextCursor(cursor);
    ensureCursorVisible();
}

void CodeEditor::indentSelection(bool outwards) {
    QTextCursor cursor = textCursor();
    const int end = cursor.selectionEnd();
    QTextBlock block = document()->findBlock(cursor.selectionStart());
    QTextCursor edit(document());
    edit.beginEditBlock();
    const QTextBlock last =
        document()->findBlock(std::max(cursor.selectionStart(), end - (cursor.hasSelection() ? 1 : 0)));
    for (const int lastNumber = last.blockNumber(); block.isValid() && block.blockNumber() <= lastNumber;
         block = block.next()) {
        edit.setPosition(block.position());
        if (!outwards) {
            if (!block.text().isEmpty()) edit.insertText(QString(indentWidth, u' '));
            continue;
        }
        const QString blanks = leadingBlanks(block.text());
        const int remove = blanks.startsWith(u'\t') ? 1 : int(std::min<qsizetype>(indentWidth, blanks.size()));
        edit.setPosition(block.position() + remove, QTextCursor::KeepAnchor);
        edit.removeSelectedText();
    }
    edit.endEditBlock();
}

void CodeEditor::toggleComment() {
    QTextCursor cursor = textCursor();
    QString text = document()->toRawText();
    text.replace(QChar::ParagraphSeparator, u'\n');
    const TextRange selection{cursor.selectionStart(), cursor.selectionEnd() - cursor.selectionStart()};
    const CodeEdit::Result result = CodeEdit::toggleComment(text, selection);
    if (result.text == text) return;
    // Only the lines that changed are replaced, as one step of undo.
    const qsizetype grown = result.text.size() - text.size();
    cursor.beginEditBlock();
    cursor.setPosition(int(result.selection.location));
    cursor.setPosition(int(result.selection.end() - grown), QTextCursor::KeepAnchor);
    cursor.insertText(result.text.mid(result.selection.location, result.selection.length));
    cursor.endEditBlock();
    cursor.setPosition(int(result.selection.location));
    cursor.setPosition(int(result.selection.end()), QTextCursor::KeepAnchor);
    setTextCursor(cursor);
}

void CodeEditor::insertLine(const QString& line) {
    QTextCursor cursor = textCursor();
    cursor.beginEditBlock();
    cursor.movePosition(QTextCursor::StartOfBlock);
    cursor.insertText(line + u'\n');
    cursor.endEditBlock();
    setTextCursor(cursor);
    ensureCursorVisible();
}

QMimeData* CodeEditor::createMimeDataFromSelection() const {
    QTextCursor cursor = textCursor();
    auto* data = new QMimeData;
    data->setText(conventions_.plain(
        document()->toRawText().mid(cursor.selectionStart(), cursor.selectionEnd() - cursor.selectionStart())));
    return data;
}

bool CodeEditor::canInsertFromMimeData(const QMimeData* source) const {
    return source->hasText() || source->hasUrls();
}

void CodeEditor::insertFromMimeData(const QMimeData* source) {
    if (!source->hasText()) return;
    const QString text = EditorText::foreign(source->text());
    // What could not be opened again is not put in. A letter of UTF-16 is one to three bytes of a file.
    const QTextCursor cursor = textCursor();
    const qsizetype gone = cursor.selectionEnd() - cursor.selectionStart();
    const std::size_t kept = bytes_.bytes().size() - std::min(std::size_t(gone), bytes_.bytes().size());
    const bool hasRoom = std::size_t(text.size()) <= ShaderFile::sizeLimit &&
                         kept + std::size_t(text.toUtf8().size()) <= ShaderFile::sizeLimit &&
                         std::size_t(blockCount()) + std::size_t(text.count(u'\n')) <= ShaderFile::lineLimit;
    if (!hasRoom) {
        const QString sentence = tr("Nothing was pasted: the shader would be larger than 4 MB or 200,000 lines, and "
                                    "could not be opened again.");
        emit pasteRefused(sentence);
        Diagnostic warning;
        warning.severity = Diagnostic::Severity::warning;
        warning.message = sentence.toStdString();
        assistant_->dismiss();
        tip_->showFor({warning}, {}, caretRect());
        return;
    }
    if (!moreCarets_.isEmpty() && text.size() < shortPaste) {
        moreCarets_.insert(text);
        return;
    }
    moreCarets_.clear();
    if (longestLineOf(text) > longestWrapped) followWrapping(true);
    textCursor().insertText(text);
    ensureCursorVisible();
}

void CodeEditor::dropEvent(QDropEvent* event) {
    QStringList paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile()) paths << url.toLocalFile();
    if (paths.isEmpty()) {
        QPlainTextEdit::dropEvent(event);
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    // The base class must still hear of the drop, or it would wait for its end.
    QMimeData nothing;
    QDropEvent ended(event->position(), event->possibleActions(), &nothing, event->buttons(), event->modifiers());
    QPlainTextEdit::dropEvent(&ended);
    emit filesDropped(paths);
}

} // namespace glasshob
