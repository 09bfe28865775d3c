#include "GlassHob/ui/DialogParts.h"

#include "GlassHob/ui/Fonts.h"
#include "GlassHob/ui/Theme.h"

#include <QAccessible>
#include <QHBoxLayout>
#include <QPainter>

namespace glasshob {

namespace {

// A path without a blank in it is broken too.
constexpr int wrapping = Qt::AlignLeft | Qt::AlignTop | Qt::TextWrapAnywhere | Qt::TextWordWrap;
constexpr int footerHeight = 65;
constexpr int signSide = 16;
constexpr int signGap = 6;

} // namespace

WrappedText::WrappedText(const QFont& font, Role role, int width, QWidget* parent, const QString& text)
    : TextLine(font, role, parent, text), width_(width) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize WrappedText::sizeHint() const {
    return {width_, fontMetrics().boundingRect(QRect(0, 0, width_, 4000), wrapping, text()).height()};
}

void WrappedText::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(themed(role()));
    painter.drawText(rect(), wrapping, text());
}

Sign::Sign(Icon icon, int side, Role role, QWidget* parent) : QWidget(parent), icon_(icon), role_(role) {
    setFixedSize(side, side);
}

void Sign::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintIcon(painter, icon_, rect(), themed(role_));
}

FieldMessage::FieldMessage(int width, QWidget* parent)
    : QWidget(parent), text_(new WrappedText(fonts::small(), Role::error, width - signSide - signGap, this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(signGap);
    row->addWidget(new Sign(Icon::error, signSide, Role::error, this), 0, Qt::AlignTop);
    row->addWidget(text_);
    hide();
}

void FieldMessage::tell(const QString& sentence) {
    const bool isNew = isHidden() || text_->text() != sentence;
    text_->setText(sentence);
    show();
    if (!isNew) return;
    QAccessibleEvent alert(text_, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

DialogFooter::DialogFooter(QWidget* parent) : Ground(Role::strip, Qt::TopEdge, parent), row_(new QHBoxLayout(this)) {
    setFixedHeight(footerHeight);
    row_->setContentsMargins(dialogMargin, 17, dialogMargin, 16);
    row_->setSpacing(8);
}

} // namespace glasshob
