#include "GlassHob/ui/editor/FindBar.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/editor/CodeEditor.h"
#include "GlassHob/ui/editor/EditorText.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLocale>
#include <QTextDocument>
#include <QVBoxLayout>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int refreshDelay = 80;
constexpr int arrowsFrom = 320; // the bar's width; Return and F3 step as well

QHBoxLayout* makeRow(QWidget* parent) {
    auto* row = new QHBoxLayout(parent);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(4);
    return row;
}

} // namespace

FindBar::FindBar(CodeEditor* editor, QWidget* parent)
    : FilledPane(Role::strip, Qt::BottomEdge, parent), editor_(editor) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(12, 6, 12, 7);
    column->setSpacing(6);

    auto* findRow = new QWidget(this);
    find_ = new SearchField(tr("Find"), tr("Find"), findRow);
    case_ = new LetterToggle(QStringLiteral("Aa"), tr("Match case"), QKeySequence(tr("Alt+C")), findRow);
    word_ = new LetterToggle(QStringLiteral("ab"), tr("Whole words"), QKeySequence(tr("Alt+W")), findRow, true);
    expression_ = new LetterToggle(QStringLiteral(".*"), tr("Regular expression"), QKeySequence(tr("Alt+R")), findRow);
    previous_ = new ToolButton(Icon::chev, tr("Previous match"), findRow, 24, 16);
    previous_->setTurned(true);
    previous_->setName(tr("Previous match"), tr("Shift+F3"));
    next_ = new ToolButton(Icon::chev, tr("Next match"), findRow, 24, 16);
    next_->setName(tr("Next match"), tr("F3"));
    auto* shut = new ToolButton(Icon::close, tr("Close"), findRow, 24, 14);
    shut->setName(tr("Close the find bar"), tr("Esc"));
    auto* row = makeRow(findRow);
    row->addWidget(find_, 1);
    for (QWidget* part :
         {static_cast<QWidget*>(case_), static_cast<QWidget*>(word_), static_cast<QWidget*>(expression_),
          static_cast<QWidget*>(previous_), static_cast<QWidget*>(next_), static_cast<QWidget*>(shut)})
        row->addWidget(part);

    replaceRow_ = new QWidget(this);
    replace_ = new SearchField(tr("Replace with"), tr("Replace with"), replaceRow_);
    replaceOne_ = new TextButton(tr("Replace"), TextButton::Look::bordered, replaceRow_);
    replaceAll_ = new TextButton(tr("Replace All"), TextButton::Look::bordered, replaceRow_);
    row = makeRow(replaceRow_);
    row->addWidget(replace_, 1);
    row->addSpacing(4);
    row->addWidget(replaceOne_);
    row->addSpacing(4);
    row->addWidget(replaceAll_);

    trouble_ = new TextLine(fonts::small(), Role::error, this);
    trouble_->setElides(true);
    column->addWidget(findRow);
    column->addWidget(replaceRow_);
    column->addWidget(trouble_);
    trouble_->hide();
    replaceRow_->hide();
    hide();
    setTabOrder(find_, replace_);
    setTabOrder(replace_, case_);

    refresh_.setSingleShot(true);
    refresh_.setInterval(refreshDelay);
    connect(&refresh_, &QTimer::timeout, this, &FindBar::search);
    connect(find_, &QLineEdit::textChanged, this, &FindBar::patternChanged);
    for (LetterToggle* toggle : {case_, word_, expression_})
        connect(toggle, &QAbstractButton::toggled, this, &FindBar::patternChanged);
    connect(previous_, &QAbstractButton::clicked, this, [this] { step(-1); });
    connect(next_, &QAbstractButton::clicked, this, [this] { step(1); });
    connect(shut, &QAbstractButton::clicked, this, &FindBar::close);
    connect(replaceOne_, &QAbstractButton::clicked, this, &FindBar::replaceOne);
    connect(replaceAll_, &QAbstractButton::clicked, this, &FindBar::replaceAll);
    connect(editor_->document(), &QTextDocument::contentsChange, this, [this](int, int removed, int added) {
        // Hidden, it searches when it is asked.
        if ((removed != 0 || added != 0) && isVisible()) refresh_.start();
    });
    connect(editor_, &QPlainTextEdit::selectionChanged, this, &FindBar::showCount);
    for (QWidget* part : findChildren<QWidget*>())
        part->installEventFilter(this);
    editor_->installEventFilter(this);
}

QString FindBar::documentText() const {
    QString text = editor_->document()->toRawText();
    text.replace(QChar::ParagraphSeparator, u'\n');
    return text;
}

TextSearch::Options FindBar::options() const {
    return {case_->isChecked(), word_->isChecked(), expression_->isChecked()};
}

void FindBar::setOptions(TextSearch::Options options) {
    case_->setChecked(options.isCaseSensitive);
    word_->setChecked(options.isWholeWord);
    expression_->setChecked(options.isExpression);
}

void FindBar::openFind() {
    open(replaceRow_->isVisible());
}

void FindBar::openReplace() {
    open(true);
}

void FindBar::open(bool replaces) {
    const QTextCursor cursor = editor_->textCursor();
    const QString selected = cursor.selectedText();
    origin_ = cursor.selectionStart();
    replaceRow_->setVisible(replaces);
    show();
    const bool fromEditor = editor_->hasFocus() && !selected.isEmpty() && !selected.contains(QChar::ParagraphSeparator);
    if (fromEditor && selected != find_->text())
        find_->setText(expression_->isChecked() ? QRegularExpression::escape(selected) : selected);
    search();
    find_->setFocus(Qt::ShortcutFocusReason);
    find_->selectAll();
}

void FindBar::close() {
    if (!isVisible()) return;
    const bool hadKeyboard =
        isAncestorOf(focusWidget()) || (window()->focusWidget() && isAncestorOf(window()->focusWidget()));
    hide();
    replaceRow_->hide();
    editor_->setSpans(CodeEditor::SpanLayer::match, {});
    if (hadKeyboard) editor_->setFocus(Qt::OtherFocusReason);
}

void FindBar::patternChanged() {
    search();
    if (matches_.empty()) {
        showCount();
        return;
    }
    // The first match from where the search began.
    const auto at = std::ranges::lower_bound(matches_, qsizetype(origin_), {}, &TextRange::location);
    select(at == matches_.end() ? 0 : std::size_t(at - matches_.begin()));
}

void FindBar::search() {
    refresh_.stop();
    auto made = TextSearch::make(find_->text(), options());
    trouble_->setVisible(!made);
    trouble_->setText(made ? QString() : made.error());
    trouble_->setToolTip(made ? QString() : plainToolTip(made.error()));
    search_ = made ? *made : TextSearch();
    matches_ = search_.matches(documentText());
    if (isVisible()) {
        std::vector<CodeEditor::Span> spans;
        spans.reserve(matches_.size());
        for (const TextRange& match : matches_)
            spans.push_back({int(match.location), int(match.end())});
        editor_->setSpans(CodeEditor::SpanLayer::match, std::move(spans));
    }
    showCount();
}

void FindBar::searchIfNeeded() {
    if (refresh_.isActive() || !isVisible()) search();
}

std::size_t FindBar::matchCount() {
    searchIfNeeded();
    return matches_.size();
}

std::size_t FindBar::selectedMatch() const {
    const QTextCursor cursor = editor_->textCursor();
    const auto at = std::ranges::lower_bound(matches_, qsizetype(cursor.selectionStart()), {}, &TextRange::location);
    const bool isMatch =
        at != matches_.end() && at->location == cursor.selectionStart() && at->end() == cursor.selectionEnd();
    return isMatch ? std::size_t(at - matches_.begin()) : matches_.size();
}

void FindBar::showCount() {
    if (!isVisible()) return;
    const bool refused = trouble_->isVisibleTo(this);
    find_->setRefused(refused);
    const bool any = !matches_.empty();
    for (QWidget* part : {static_cast<QWidget*>(previous_), static_cast<QWidget*>(next_),
                          static_cast<QWidget*>(replaceOne_), static_cast<QWidget*>(replaceAll_)})
        part->setEnabled(any);
    if (find_->text().isEmpty() || refused) {
        find_->setCounter({});
        return;
    }
    if (!any) {
        find_->setCounter(tr("no match"), Role::error);
        return;
    }
    const QLocale locale;
    QString count = locale.toString(qulonglong(matches_.size()));
    if (matches_.size() == TextSearch::limit) count += u'+';
    const std::size_t selected = selectedMatch();
    find_->setCounter(
        selected == matches_.size() ? count : tr("%1 of %2").arg(locale.toString(qulonglong(selected + 1)), count));
}

void FindBar::select(std::size_t match) {
    const TextRange range = matches_[match];
    editor_->selectRange(int(range.location), int(range.end()));
    showCount();
}

void FindBar::step(int direction) {
    if (find_->text().isEmpty()) {
        openFind();
        return;
    }
    searchIfNeeded();
    if (matches_.empty()) {
        if (!isVisible()) openFind();
        return;
    }
    const QTextCursor cursor = editor_->textCursor();
    if (direction > 0) {
        const auto at = std::ranges::lower_bound(matches_, qsizetype(cursor.selectionEnd()), {}, &TextRange::location);
        select(at == matches_.end() ? 0 : std::size_t(at - matches_.begin()));
    } else {
        const auto at =
            std::ranges::lower_bound(matches_, qsizetype(cursor.selectionStart()), {}, &TextRange::location);
        select(at == matches_.begin() ? matches_.size() - 1 : std::size_t(at - matches_.begin()) - 1);
    }
    origin_ = editor_->textCursor().selectionStart();
}

void FindBar::selectAll() {
    searchIfNeeded();
    std::vector<QTextCursor> found;
    for (const TextRange& match : matches_) {
        if (found.size() > MoreCarets::most) break;
        QTextCursor cursor(editor_->document());
        cursor.setPosition(int(match.location));
        cursor.setPosition(int(match.end()), QTextCursor::KeepAnchor);
        found.push_back(cursor);
    }
    if (found.empty()) return;
    editor_->moreCarets().setAll(found);
    editor_->setFocus();
}

void FindBar::replaceOne() {
    searchIfNeeded();
    const std::size_t selected = selectedMatch();
    if (selected == matches_.size()) {
        step(1);
        return;
    }
    const TextRange range = matches_[selected];
    const QString by = EditorText::foreign(search_.replacement(documentText(), range, replace_->text()));
    QTextCursor cursor = editor_->textCursor();
    cursor.insertText(by);
    editor_->setTextCursor(cursor);
    search();
    step(1);
}

void FindBar::replaceAll() {
    searchIfNeeded();
    if (matches_.empty()) return;
    const QString text = documentText();
    QTextCursor cursor(editor_->document());
    cursor.beginEditBlock();
    // From the end, so that the places before keep their numbers.
    for (auto match = matches_.rbegin(); match != matches_.rend(); ++match) {
        const QString by = EditorText::foreign(search_.replacement(text, *match, replace_->text()));
        cursor.setPosition(int(match->location));
        cursor.setPosition(int(match->end()), QTextCursor::KeepAnchor);
        cursor.insertText(by);
    }
    cursor.endEditBlock();
    const std::size_t replaced = matches_.size();
    search();
    // Until the next search the counter tells what was done.
    find_->setCounter(tr("%n replaced", nullptr, int(replaced)));
}

void FindBar::resizeEvent(QResizeEvent* event) {
    FilledPane::resizeEvent(event);
    for (QWidget* arrow : {previous_, next_})
        arrow->setVisible(width() >= arrowsFrom);
}

bool FindBar::eventFilter(QObject* object, QEvent* event) {
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::ShortcutOverride)
        return FilledPane::eventFilter(object, event);
    auto* key = static_cast<QKeyEvent*>(event);
    const bool isPress = event->type() == QEvent::KeyPress;
    if (key->key() == Qt::Key_Escape && isVisible()) {
        // The code's own Escape comes first: it closes what is open over the code.
        if (object == editor_ && (!isPress || !editor_->moreCarets().isEmpty()))
            return FilledPane::eventFilter(object, event);
        if (isPress)
            close();
        else
            event->accept();
        return true;
    }
    if (object == editor_) return FilledPane::eventFilter(object, event);
    if (key->modifiers() == Qt::AltModifier) {
        const std::pair<int, LetterToggle*> toggles[] = {
            {Qt::Key_C, case_}, {Qt::Key_W, word_}, {Qt::Key_R, expression_}};
        for (const auto& [letter, toggle] : toggles) {
            if (key->key() != letter) continue;
            if (isPress)
                toggle->toggle();
            else
                event->accept();
            return true;
        }
    }
    const bool isField = object == find_ || object == replace_;
    if (!isPress || !isField) return FilledPane::eventFilter(object, event);
    switch (key->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (object == replace_)
            key->modifiers() & Qt::ControlModifier ? replaceAll() : replaceOne();
        else if (key->modifiers() & Qt::AltModifier)
            selectAll();
        else
            step(key->modifiers() & Qt::ShiftModifier ? -1 : 1);
        return true;
    case Qt::Key_Down: step(1); return true;
    case Qt::Key_Up: step(-1); return true;
    default: return FilledPane::eventFilter(object, event);
    }
}

} // namespace glasshob
