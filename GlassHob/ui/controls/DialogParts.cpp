#include "GlassHob/ui/controls/DialogParts.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QAccessible>
#include <QEvent>
#include <QFontInfo>
#include <QHBoxLayout>
#include <QPainter>
#include <QScrollArea>
#include <QTextLayout>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr int footerHeight = 65;
constexpr int signSide = 16;
constexpr int signGap = 6;
constexpr int barRoom = 8; // of the margin, for the bar that scrolls

// The lines of a text: broken between words, and within one that is longer than a line, such as a path.
void breakLines(QTextLayout& layout, int width, int lineHeight) {
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    for (int top = 0;; top += lineHeight) {
        QTextLine line = layout.createLine();
        if (!line.isValid()) break;
        line.setLineWidth(width);
        line.setPosition(QPointF(0, top + (lineHeight - line.height()) / 2));
    }
    layout.endLayout();
}

} // namespace

WrappedText::WrappedText(const QFont& font, Role role, int width, QWidget* parent, const QString& text)
    : TextLine(font, role, parent, text), width_(width) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

int WrappedText::lineHeight() const {
    return int(std::lround(fontInfo().pixelSize() * 1.5));
}

QSize WrappedText::sizeHint() const {
    QTextLayout layout(text(), font());
    breakLines(layout, width_, lineHeight());
    return {width_, layout.lineCount() * lineHeight()};
}

void WrappedText::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(themed(role()));
    QTextLayout layout(text(), font());
    breakLines(layout, width_, lineHeight());
    layout.draw(&painter, QPointF(0, 0));
}

Sign::Sign(Icon icon, int side, Role role, QWidget* parent) : QWidget(parent), icon_(icon), role_(role) {
    setFixedSize(side, side);
}

void Sign::setSign(Icon icon, Role role) {
    icon_ = icon;
    role_ = role;
    update();
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

QVBoxLayout* besideSign(FilledPane* ground, Icon icon, Role role) {
    constexpr int side = 20;
    constexpr int lowered = 2; // to the middle of the first line
    auto* row = new QHBoxLayout(ground);
    row->setContentsMargins(dialogMargin, 24, dialogMargin, 24);
    row->setSpacing(dialogTextWidth - besideSignWidth - side);
    auto* sign = new QVBoxLayout;
    sign->addSpacing(lowered);
    sign->addWidget(new Sign(icon, side, role, ground));
    sign->addStretch(1);
    row->addLayout(sign);
    auto* column = new QVBoxLayout;
    column->setSpacing(0);
    row->addLayout(column, 1);
    return column;
}

DialogFooter::DialogFooter(QWidget* parent)
    : FilledPane(Role::strip, Qt::TopEdge, parent), row_(new QHBoxLayout(this)) {
    setFixedHeight(footerHeight);
    row_->setContentsMargins(dialogMargin, 17, dialogMargin, 16);
    row_->setSpacing(8);
}

DialogPage::DialogPage(QWidget* parent)
    : QWidget(parent), ground_(new FilledPane(Role::panel, {}, nullptr)), scroll_(makeScrollArea(ground_, this)),
      footer_(new DialogFooter(this)) {
    setFixedWidth(dialogWidth);
    ground_->installEventFilter(this);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(scroll_);
    column->addWidget(footer_);
}

int DialogPage::leastHeight() const {
    const QLayout* layout = ground_->layout();
    if (!layout) return 0;
    return layout->hasHeightForWidth() ? layout->heightForWidth(dialogWidth) : layout->sizeHint().height();
}

int DialogPage::wantedHeight() const {
    return std::max(leastHeight(), preferred_) + footerHeight;
}

void DialogPage::setPreferredHeight(int height) {
    preferred_ = height;
    fit();
}

void DialogPage::setMostHeight(int height) {
    most_ = height;
    fit();
}

void DialogPage::fit() {
    const int most = most_ > 0 ? most_ : roomFor(window()).height();
    const int room = std::max(most - footerHeight, footerHeight);
    const int least = leastHeight();
    const int height = std::max(least, std::min(preferred_, room));
    ground_->resize(height > room ? dialogWidth - barRoom : dialogWidth, height);
    scroll_->setFixedHeight(std::min(height, room));
}

void DialogPage::reveal(QWidget* part) {
    ground_->layout()->activate();
    fit();
    scrollTo(*scroll_, part);
}

void DialogPage::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    fit();
    // A dialog takes its place by its size as it comes on the screen.
    layout()->activate();
    if (QLayout* whole = window()->layout()) whole->activate();
}

bool DialogPage::eventFilter(QObject* object, QEvent* event) {
    if (object == ground_ && event->type() == QEvent::LayoutRequest) fit();
    return QWidget::eventFilter(object, event);
}

} // namespace glasshob
