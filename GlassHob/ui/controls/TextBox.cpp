#include "GlassHob/ui/controls/TextBox.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SearchField.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QEvent>
#include <QPainter>
#include <QVBoxLayout>

namespace glasshob {

namespace {

constexpr int padding = 10, inset = 2; // from the edge to the text; from the edge to what scrolls

} // namespace

TextBox::TextBox(const QString& name, int lines, QWidget* parent) : QWidget(parent), edit_(new QPlainTextEdit(this)) {
    edit_->setAccessibleName(name);
    edit_->setFont(fonts::body());
    edit_->setFrameShape(QFrame::NoFrame);
    edit_->setTabChangesFocus(true);
    edit_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    edit_->document()->setDocumentMargin(padding - inset);
    edit_->viewport()->setAutoFillBackground(false);
    edit_->installEventFilter(this);
    setFocusProxy(edit_);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFixedHeight(lines * edit_->fontMetrics().lineSpacing() + 2 * padding);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(inset, inset, inset, inset);
    column->addWidget(edit_);
    followTheme();
    connect(edit_, &QPlainTextEdit::textChanged, this, &TextBox::edited);
    connect(&Theme::instance(), &Theme::changed, this, &TextBox::followTheme);
}

void TextBox::followTheme() {
    QPalette palette = edit_->palette();
    palette.setColor(QPalette::Base, Qt::transparent); // the box is painted here
    palette.setColor(QPalette::Text, themed(Role::text));
    palette.setColor(QPalette::Disabled, QPalette::Text, themed(Role::disabled));
    palette.setColor(QPalette::PlaceholderText, themed(Role::text3));
    edit_->setPalette(palette);
    update();
}

void TextBox::setRefused(bool refused) {
    if (refused == refused_) return;
    refused_ = refused;
    update();
}

bool TextBox::eventFilter(QObject* object, QEvent* event) {
    if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut) update();
    return QWidget::eventFilter(object, event);
}

void TextBox::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintFieldBox(painter, rect(), edit_->hasFocus(), refused_);
}

} // namespace glasshob
