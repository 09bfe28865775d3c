#include "GlassHob/ui/editor/CodePointer.h"

#include "GlassHob/ui/editor/CodeAssistant.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/ColourPicker.h"
#include "GlassHob/ui/editor/ColourSwatches.h"
#include "GlassHobCore/code/Words.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QTextBlock>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int pixelsPerStep = 3;
constexpr int coarseSteps = 10;
// Nobody drags a number or picks a colour in a line that is no line of code.
constexpr int longestLine = 1000;

} // namespace

CodePointer::CodePointer(CodeEditor* editor) : QObject(editor), editor_(editor), picker_(new ColourPicker(editor)) {
    editor_->viewport()->installEventFilter(this);
    editor_->installEventFilter(this);
    connect(picker_, &ColourPicker::picked, this, &CodePointer::takeColour);
    connect(picker_, &ColourPicker::closed, editor_, [this] { editor_->setFocus(); });
}

// ---- Numbers --------------------------------------------------------------------------------------------------------

std::optional<CodeNumber> CodePointer::draggableAt(const QPoint& place) const {
    const QTextCursor cursor = editor_->cursorForPosition(place);
    const QTextBlock block = cursor.block();
    if (block.length() > longestLine) return std::nullopt;
    const auto number = numberAt(block.text(), cursor.positionInBlock());
    if (!number || !number->isPlain) return std::nullopt;
    // The nearest gap between letters is far from what lies behind the line's end.
    QTextCursor ends(block);
    ends.setPosition(block.position() + number->start);
    const QRect left = editor_->cursorRect(ends);
    ends.setPosition(block.position() + number->end());
    return left.united(editor_->cursorRect(ends)).contains(place) ? number : std::nullopt;
}

void CodePointer::dragTo(const QPoint& place, bool isCoarse) {
    const int steps = (place.x() - drag_->from.x()) / pixelsPerStep * (isCoarse ? coarseSteps : 1);
    if (steps == drag_->steps) return;
    drag_->steps = steps;
    double value = stepped(drag_->number, steps);
    QTextCursor& text = drag_->text;
    // Behind a minus that subtracts, a second one would be another operator.
    const QChar before =
        text.selectionStart() > 0 ? editor_->document()->characterAt(text.selectionStart() - 1) : QChar();
    if (before == u'-') value = std::max(value, 0.0);
    const QString written = writtenAs(drag_->number, value);
    if (written == text.selectedText()) return;
    const int start = text.selectionStart();
    if (drag_->hasChanged)
        text.joinPreviousEditBlock();
    else
        text.beginEditBlock();
    text.insertText(written);
    text.endEditBlock();
    drag_->hasChanged = true;
    text.setPosition(start);
    text.setPosition(start + int(written.size()), QTextCursor::KeepAnchor);
    emit valueDragged();
}

bool CodePointer::selectNumber(const QPoint& place) {
    QTextCursor cursor = editor_->cursorForPosition(place);
    const QTextBlock block = cursor.block();
    if (block.length() > longestLine) return false;
    const auto number = numberAt(block.text(), cursor.positionInBlock());
    if (!number) return false;
    cursor.setPosition(block.position() + number->start);
    cursor.setPosition(block.position() + number->end(), QTextCursor::KeepAnchor);
    editor_->setTextCursor(cursor);
    return true;
}

// ---- Names ----------------------------------------------------------------------------------------------------------

bool CodePointer::goToDefinition() {
    return goToDefinition(editor_->textCursor());
}

bool CodePointer::goToDefinition(const QTextCursor& place) {
    const QTextBlock block = place.block();
    const QString text = block.text();
    const int from = int(wordAt(text, place.positionInBlock()).location);
    const std::vector<Symbol> known =
        CodeCompletion::describe(editor_->assistant()->index(), block.blockNumber(), from);
    const auto declared = std::ranges::find_if(known, [](const Symbol& symbol) { return symbol.line >= 0; });
    if (declared == known.end()) return false;
    const QTextBlock target = editor_->document()->findBlockByNumber(declared->line);
    if (!target.isValid()) return false;
    // A declaration begins with its type.
    const qsizetype name = target.text().indexOf(declared->name, std::max(0, declared->column));
    const int column = int(std::clamp<qsizetype>(name, 0, target.length() - 1));
    const int at = target.position() + column;
    editor_->selectRange(at, std::min(at + int(declared->name.size()), target.position() + target.length() - 1));
    editor_->setFocus(Qt::OtherFocusReason);
    return true;
}

// ---- Colours --------------------------------------------------------------------------------------------------------

bool CodePointer::pickColour() {
    const QTextCursor caret = editor_->textCursor();
    const std::vector<CodeColour> colours = colourSwatches::coloursOf(caret.block());
    for (std::size_t i = 0; i < colours.size(); ++i)
        if (colours[i].start <= caret.positionInBlock() && caret.positionInBlock() <= colours[i].end()) {
            openPicker(caret.blockNumber(), i);
            return true;
        }
    return false;
}

void CodePointer::openPicker(int blockNumber, std::size_t colour) {
    const QTextBlock block = editor_->document()->findBlockByNumber(blockNumber);
    const std::vector<CodeColour> colours = colourSwatches::coloursOf(block);
    if (colour >= colours.size()) return;
    const CodeColour& chosen = colours[colour];
    colour_ = QTextCursor(block);
    colour_.setPosition(block.position() + chosen.start);
    colour_.setPosition(block.position() + chosen.end(), QTextCursor::KeepAnchor);
    colourHasChanged_ = false;
    std::vector<double> values;
    for (const CodeNumber& part : chosen.parts)
        values.push_back(part.value);
    QTextCursor at(block);
    at.setPosition(block.position() + chosen.start);
    editor_->assistant()->dismiss();
    picker_->open(values, editor_->cursorRect(at));
}

void CodePointer::takeColour(const std::vector<double>& values) {
    const QString text = colour_.selectedText();
    const std::vector<CodeColour> colours = coloursIn(text);
    if (colours.size() != 1 || colours[0].start != 0) {
        picker_->hide(); // the code was edited in between
        return;
    }
    const QString written = writtenAs(text, colours[0], values);
    if (written == text) return;
    const int start = colour_.selectionStart();
    if (colourHasChanged_)
        colour_.joinPreviousEditBlock();
    else
        colour_.beginEditBlock();
    colour_.insertText(written);
    colour_.endEditBlock();
    colourHasChanged_ = true;
    colour_.setPosition(start);
    colour_.setPosition(start + int(written.size()), QTextCursor::KeepAnchor);
    emit valueDragged();
}

// ---- Events ---------------------------------------------------------------------------------------------------------

void CodePointer::showWhatControlDoes(const QPoint& place, bool isControl) {
    if (!editor_->viewport()->rect().contains(place)) return;
    Qt::CursorShape shape = Qt::IBeamCursor;
    if (colourSwatches::swatchAt(*editor_, place))
        shape = Qt::PointingHandCursor;
    else if (isControl && draggableAt(place))
        shape = Qt::SizeHorCursor;
    if (editor_->viewport()->cursor().shape() != shape) editor_->viewport()->setCursor(shape);
}

bool CodePointer::press(const QPoint& place, bool isControl) {
    if (const auto swatch = colourSwatches::swatchAt(*editor_, place)) {
        openPicker(swatch->blockNumber, swatch->colour);
        return true;
    }
    if (!isControl) return false;
    const QTextCursor cursor = editor_->cursorForPosition(place);
    if (const auto number = draggableAt(place)) {
        const QTextBlock block = cursor.block();
        Drag drag{QTextCursor(block), *number, place};
        drag.text.setPosition(block.position() + number->start - (number->isNegated ? 1 : 0));
        drag.text.setPosition(block.position() + number->end(), QTextCursor::KeepAnchor);
        drag_ = std::move(drag);
        editor_->assistant()->dismiss();
        return true;
    }
    return goToDefinition(cursor);
}

bool CodePointer::eventFilter(QObject* object, QEvent* event) {
    if (object == editor_) {
        if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease) return false;
        if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_Control)
            showWhatControlDoes(place_, event->type() == QEvent::KeyPress);
        return false;
    }
    switch (event->type()) {
    case QEvent::MouseButtonPress: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        const bool isControl = mouse->modifiers() & Qt::ControlModifier;
        return mouse->button() == Qt::LeftButton && press(mouse->position().toPoint(), isControl);
    }
    case QEvent::MouseMove: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        place_ = mouse->position().toPoint();
        if (drag_) {
            dragTo(place_, mouse->modifiers() & Qt::ShiftModifier);
            return true;
        }
        if (mouse->buttons() == Qt::NoButton) showWhatControlDoes(place_, mouse->modifiers() & Qt::ControlModifier);
        return false;
    }
    case QEvent::MouseButtonRelease:
        if (!drag_) return false;
        drag_.reset();
        return true;
    case QEvent::MouseButtonDblClick: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        return mouse->button() == Qt::LeftButton && selectNumber(mouse->position().toPoint());
    }
    default: return false;
    }
}

} // namespace glasshob
