#include "GlassHob/ui/editor/CodeAssistant.h"

#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/CodeTip.h"
#include "GlassHob/ui/editor/CompletionPopup.h"
#include "GlassHobCore/code/Words.h"

#include <QKeyEvent>
#include <QTextBlock>
#include <QTextLayout>
#include <QTimerEvent>

#include <algorithm>
#include <utility>

namespace glasshob {

namespace {

constexpr int hoverDelay = 300;
constexpr int pageRows = 7;
constexpr std::size_t mostDescribed = 3;

// Where the n-th argument stands in "float3 mix(float3 x, float3 y)".
std::pair<int, int> argumentRange(const QString& declaration, const QString& name, int argument) {
    qsizetype at = declaration.indexOf(name + u'(');
    if (at < 0) return {0, 0};
    at += name.size() + 1;
    int depth = 0;
    for (qsizetype i = at; i < declaration.size(); ++i) {
        const QChar c = declaration[i];
        if (c == u'(' || c == u'<' || c == u'[') ++depth;
        const bool ends = depth == 0 && (c == u',' || c == u')');
        if (c == u')' || c == u'>' || c == u']') --depth;
        if (!ends) continue;
        if (argument == 0) return {int(at), int(i)};
        --argument;
        at = i + 2;
        if (c == u')') break;
    }
    return {0, 0};
}

} // namespace

CodeAssistant::CodeAssistant(CodeEditor* editor)
    : QObject(editor), editor_(editor), popup_(new CompletionPopup(editor)), callTip_(new CodeTip(editor)),
      hoverTip_(new CodeTip(editor)) {
    editor_->installEventFilter(this);
    editor_->viewport()->installEventFilter(this);
    connect(editor_, &CodeEditor::linesChanged, this,
            [this](int first, int removed, const std::vector<QString>& lines) {
                index_.replaceLines(first, removed, lines);
            });
    connect(editor_, &QPlainTextEdit::cursorPositionChanged, this, &CodeAssistant::followCaret);
    connect(editor_, &CodeEditor::keyHandled, this, &CodeAssistant::keyHandled);
    // The message list that a mistake brings up scrolls the code: what lies over it goes with its place.
    connect(editor_, &QPlainTextEdit::updateRequest, this, [this](const QRect&, int scrolled) {
        if (scrolled) follow();
    });
    connect(popup_, &CompletionPopup::picked, this, &CodeAssistant::accept);
}

int CodeAssistant::positionOf(SymbolIndex::Place place) const {
    return editor_->document()->findBlockByNumber(place.line).position() + place.column;
}

void CodeAssistant::markBrackets() {
    std::vector<CodeEditor::Span> spans;
    const QTextCursor cursor = editor_->textCursor();
    if (!cursor.hasSelection()) {
        // The one before the caret counts first, as it is the one just typed.
        for (const int column : {cursor.positionInBlock() - 1, cursor.positionInBlock()}) {
            const SymbolIndex::Place here{cursor.blockNumber(), column};
            const auto partner = column < 0 ? std::nullopt : index_.partner(here);
            if (!partner) continue;
            const int a = positionOf(here), b = positionOf(*partner);
            spans = {{std::min(a, b), std::min(a, b) + 1}, {std::max(a, b), std::max(a, b) + 1}};
            break;
        }
    }
    editor_->setSpans(CodeEditor::SpanLayer::bracket, std::move(spans));
}

void CodeAssistant::followCaret() {
    markBrackets();
    hoverTip_->hide();
    if (popup_->isVisible() && editor_->textCursor().blockNumber() != listLine_) closeList();
    if (callTip_->isVisible()) showCall();
    giveWay();
}

QRect CodeAssistant::rectOf(int from, int to) const {
    QTextCursor cursor(editor_->document());
    cursor.setPosition(from);
    const QRect left = editor_->cursorRect(cursor);
    cursor.setPosition(to);
    const QRect right = editor_->cursorRect(cursor);
    const int width = right.top() == left.top() ? right.left() - left.left() : left.width();
    return {left.topLeft(), QSize(std::max(1, width), left.height())};
}

// ---- Completion
// ------------------------------------------------------------------------------------------------------

void CodeAssistant::complete() {
    offer(true);
}

void CodeAssistant::offer(bool isAsked) {
    const QTextCursor cursor = editor_->textCursor();
    if (cursor.hasSelection()) {
        closeList();
        return;
    }
    list_ = CodeCompletion::complete(index_, cursor.blockNumber(), cursor.positionInBlock(), isAsked);
    if (list_.items.empty() || (!isAsked && !list_.comesByItself)) {
        closeList();
        return;
    }
    isAsked_ = isAsked;
    isChosen_ = false;
    listLine_ = cursor.blockNumber();
    hoverTip_->hide();
    popup_->showFor(list_.items, listPlace());
    giveWay();
}

void CodeAssistant::giveWay() {
    // Both lie above the line: the list is what one looks at. The signature comes back when the list goes.
    if (!popup_->isVisible() || !popup_->isAbove() || !callTip_->isVisible()) return;
    callTip_->hide();
    callWaits_ = true;
}

void CodeAssistant::follow() {
    hoverTip_->hide();
    if (!popup_->isVisible() && !callTip_->isVisible()) return;
    const QRect caret = editor_->cursorRect();
    if (caret.bottom() < 0 || caret.top() > editor_->viewport()->height()) {
        dismiss();
        return;
    }
    if (popup_->isVisible()) popup_->moveTo(listPlace());
    if (callTip_->isVisible()) showCall();
    giveWay();
}

QRect CodeAssistant::listPlace() const {
    const int start = editor_->document()->findBlockByNumber(listLine_).position() + list_.from;
    return rectOf(start, start + std::max(0, list_.to - list_.from));
}

void CodeAssistant::closeList() {
    popup_->hide();
    isAsked_ = isChosen_ = false;
    if (std::exchange(callWaits_, false)) showCall();
}

void CodeAssistant::dismiss() {
    callWaits_ = false;
    closeList();
    callTip_->hide();
    hoverTip_->hide();
    hoverTimer_.stop();
}

void CodeAssistant::accept(int item) {
    if (item < 0 || item >= int(list_.items.size())) return;
    const Symbol symbol = list_.items[std::size_t(item)].symbol;
    QTextCursor cursor = editor_->textCursor();
    const QTextBlock block = cursor.block();
    // What stands behind the caret in the same word goes as well only where it is the rest of the name.
    const QString text = block.text();
    int to = cursor.positionInBlock();
    const QStringView rest = QStringView(text).mid(to);
    if (const QString behind = symbol.name.mid(to - list_.from);
        !behind.isEmpty() && rest.startsWith(behind) &&
        (rest.size() == behind.size() || !isWordPart(rest[behind.size()])))
        to += int(behind.size());
    const Insertion made = CodeCompletion::insertion(symbol, list_.context, QStringView(text).mid(to));
    const int start = block.position() + list_.from;
    closeList();
    cursor.beginEditBlock();
    cursor.setPosition(start);
    cursor.setPosition(block.position() + to, QTextCursor::KeepAnchor);
    cursor.insertText(made.text);
    cursor.endEditBlock();
    cursor.setPosition(start + made.caret);
    editor_->setTextCursor(cursor);
    editor_->ensureCursorVisible();
    closing_ = made.closes ? cursor : QTextCursor();
    justOpened_ = made.closes;
    if (made.closes) showCall();
    if (made.text.endsWith(u':')) offer(false);
}

void CodeAssistant::showCall() {
    const QTextCursor cursor = editor_->textCursor();
    const auto call = CodeCompletion::callAround(index_, cursor.blockNumber(), cursor.positionInBlock());
    if (!call) {
        callTip_->hide();
        return;
    }
    std::vector<CodeTip::Entry> entries;
    for (const Symbol& function : call->functions) {
        if (entries.size() == mostDescribed) break;
        const auto [from, to] = argumentRange(function.declaration, function.name, call->argument);
        entries.push_back({function.declaration, from, to, entries.empty() ? function.note : QString()});
    }
    const int start = positionOf(call->opening);
    // It lies over the caret's own line, so that the list has its place below.
    QRect place = rectOf(start, start + 1);
    const QRect caret = rectOf(cursor.position(), cursor.position());
    place.moveTop(std::min(place.top(), caret.top()));
    callTip_->showFor(std::move(entries), place);
}

void CodeAssistant::keyHandled(const QString& text) {
    const bool wasOpen = popup_->isVisible();
    if (text.isEmpty()) return;
    const QChar c = text.back();
    if (c == u'(' || c == u',') showCall();
    const QTextCursor cursor = editor_->textCursor();
    const QChar before = cursor.positionInBlock() > 1 ? cursor.block().text()[cursor.positionInBlock() - 2] : QChar();
    const bool isErased = c == u'\b' || c == u'\x7f';
    const bool begins = isWordPart(c) || c == u'.' || c == u'@' || (c == u':' && before == u':') ||
                        (c == u'>' && before == u'-') || (c == u'[' && before == u'[') || c == u'#';
    if (wasOpen && (begins || isErased || c == u'-'))
        offer(isAsked_);
    else if (begins)
        offer(false);
    else
        closeList();
}

// ---- Keys and the pointer
// --------------------------------------------------------------------------------------------

bool CodeAssistant::steersList(int key, Qt::KeyboardModifiers modifiers) {
    const bool plain = modifiers == Qt::NoModifier || modifiers == Qt::KeypadModifier;
    if (!popup_->isVisible() || !plain) return false;
    switch (key) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown: {
        const bool isUp = key == Qt::Key_Up || key == Qt::Key_PageUp;
        const bool isPage = key == Qt::Key_PageUp || key == Qt::Key_PageDown;
        popup_->step((isUp ? -1 : 1) * (isPage ? pageRows : 1));
        isChosen_ = true;
        return true;
    }
    case Qt::Key_Tab: accept(popup_->current()); return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (!isChosen_ && !isAsked_ && list_.typed.isEmpty()) return false;
        accept(popup_->current());
        return true;
    default: return false;
    }
}

bool CodeAssistant::takesKey(int key, Qt::KeyboardModifiers modifiers) {
    if (key == Qt::Key_Escape) {
        const bool any = popup_->isVisible() || callTip_->isVisible() || hoverTip_->isVisible();
        if (popup_->isVisible())
            closeList();
        else
            dismiss();
        return any;
    }
    if (steersList(key, modifiers)) return true;
    switch (key) {
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Home:
    case Qt::Key_End:
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Up:
    case Qt::Key_Down: closeList(); return false;
    default: break;
    }
    return false;
}

bool CodeAssistant::eventFilter(QObject* object, QEvent* event) {
    switch (event->type()) {
    case QEvent::ShortcutOverride:
        // Escape is the list's before it is anybody else's.
        if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape && (popup_->isVisible() || callTip_->isVisible())) {
            event->accept();
            return true;
        }
        break;
    case QEvent::KeyPress: {
        if (object != editor_) break;
        auto* key = static_cast<QKeyEvent*>(event);
        hoverTip_->hide();
        if (takesKey(key->key(), key->modifiers())) return true;
        // The brackets that a completion has put in are passed over, not doubled.
        const bool justOpened = !key->text().isEmpty() && std::exchange(justOpened_, false);
        if (justOpened && key->text() == u"(" && editor_->textCursor() == closing_) return true;
        if (key->text() == u")" && !closing_.isNull()) {
            QTextCursor cursor = editor_->textCursor();
            const bool isThere = !cursor.hasSelection() && cursor.position() == closing_.position() &&
                                 editor_->document()->characterAt(cursor.position()) == u')';
            closing_ = QTextCursor();
            if (isThere) {
                cursor.movePosition(QTextCursor::NextCharacter);
                editor_->setTextCursor(cursor);
                callTip_->hide();
                return true;
            }
        }
        break;
    }
    case QEvent::FocusOut:
        if (object == editor_) dismiss();
        break;
    case QEvent::MouseButtonPress:
    case QEvent::Wheel:
        if (object != editor_) dismiss();
        break;
    case QEvent::Resize:
    case QEvent::Move:
        // The editor may first have to scroll the caret back into view.
        QMetaObject::invokeMethod(this, &CodeAssistant::follow, Qt::QueuedConnection);
        break;
    case QEvent::Leave:
        hoverTimer_.stop();
        hoverTip_->hide();
        break;
    case QEvent::MouseMove:
        if (object == editor_) break;
        hoverPlace_ = static_cast<QMouseEvent*>(event)->pos();
        if (!hoverWord_.contains(hoverPlace_)) hoverTip_->hide();
        if (!hoverTip_->isVisible() && static_cast<QMouseEvent*>(event)->buttons() == Qt::NoButton)
            hoverTimer_.start(hoverDelay, this);
        break;
    default: break;
    }
    return QObject::eventFilter(object, event);
}

void CodeAssistant::timerEvent(QTimerEvent* event) {
    if (event->timerId() != hoverTimer_.timerId()) return;
    hoverTimer_.stop();
    if (editor_->viewport()->underMouse() && !popup_->isVisible()) describeAt(hoverPlace_);
}

void CodeAssistant::describeAt(const QPoint& place) {
    hoverTip_->hide();
    const QTextCursor cursor = editor_->cursorForPosition(place);
    const QTextBlock block = cursor.block();
    const QString text = block.text();
    // The nearest gap between letters is one of the word's when the pointer is on it.
    const TextRange word = wordAt(text, cursor.positionInBlock());
    if (word.length == 0) return;
    const int from = int(word.location), to = int(word.end());
    QTextCursor ends(block);
    ends.setPosition(block.position() + from);
    const QRect left = editor_->cursorRect(ends);
    ends.setPosition(block.position() + to);
    hoverWord_ = left.united(editor_->cursorRect(ends));
    if (!hoverWord_.contains(place)) return;
    std::vector<CodeTip::Entry> entries;
    for (const Symbol& symbol : CodeCompletion::describe(index_, block.blockNumber(), from)) {
        if (entries.size() == mostDescribed) break;
        entries.push_back({symbol.declaration, 0, 0, symbol.note});
    }
    if (!entries.empty())
        hoverTip_->showFor(std::move(entries), rectOf(block.position() + from, block.position() + to));
}

} // namespace glasshob
