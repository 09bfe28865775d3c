#include "GlassHob/ui/editor/GoToLineBar.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/editor/CodeEditor.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QRegularExpression>
#include <QTextBlock>

#include <algorithm>

namespace glasshob {

GoToLineBar::GoToLineBar(CodeEditor* editor, QWidget* parent)
    : FilledPane(Role::strip, Qt::BottomEdge, parent), editor_(editor) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(12, 6, 12, 7);
    row->setSpacing(8);
    auto* title = new TextLine(fonts::label(), Role::text2, this, tr("Go to Line"));
    field_ = new SearchField(tr("Go to line"), tr("Line, or line:column"), this);
    auto* shut = new ToolButton(Icon::close, tr("Close"), this, 24, 14);
    shut->setName(tr("Close"), tr("Esc"));
    row->addWidget(title);
    row->addWidget(field_, 1);
    row->addWidget(shut);
    hide();
    connect(field_, &QLineEdit::textEdited, this, &GoToLineBar::follow);
    connect(shut, &QAbstractButton::clicked, this, [this] { leave(true); });
    field_->installEventFilter(this);
    shut->installEventFilter(this);
}

void GoToLineBar::open() {
    if (!isVisible()) origin_ = editor_->textCursor().position();
    show();
    field_->setText(QString::number(editor_->caretLine()));
    field_->setCounter(tr("of %1").arg(editor_->blockCount()));
    field_->setRefused(false);
    field_->selectAll();
    field_->setFocus(Qt::ShortcutFocusReason);
}

void GoToLineBar::follow() {
    static const QRegularExpression form(QStringLiteral(R"(^\s*(\d{1,9})(?:\s*[:,]\s*(\d{0,9}))?\s*$)"));
    const QRegularExpressionMatch match = form.match(field_->text());
    field_->setRefused(!match.hasMatch() && !field_->text().trimmed().isEmpty());
    if (!match.hasMatch()) return;
    const int line = std::clamp(match.captured(1).toInt(), 1, editor_->blockCount());
    const QTextBlock block = editor_->document()->findBlockByNumber(line - 1);
    const int column = std::clamp(match.captured(2).toInt(), 1, block.length());
    editor_->selectRange(block.position() + column - 1, block.position() + column - 1);
}

void GoToLineBar::leave(bool goesBack) {
    if (!isVisible()) return;
    hide();
    if (goesBack) editor_->selectRange(origin_, origin_);
    editor_->setFocus(Qt::OtherFocusReason);
}

bool GoToLineBar::eventFilter(QObject* object, QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride || event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        const bool isReturn = object == field_ && (key == Qt::Key_Return || key == Qt::Key_Enter);
        if (key == Qt::Key_Escape || isReturn) {
            if (event->type() == QEvent::KeyPress)
                leave(key == Qt::Key_Escape || field_->isRefused());
            else
                event->accept();
            return true;
        }
    }
    // Leaving the field keeps the code where it now is.
    if (object == field_ && event->type() == QEvent::FocusOut &&
        static_cast<QFocusEvent*>(event)->reason() == Qt::MouseFocusReason)
        hide();
    return FilledPane::eventFilter(object, event);
}

} // namespace glasshob
