#include "GlassHob/ui/controls/Banner.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QAccessible>
#include <QApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QToolTip>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int edge = 3;
constexpr int gap = 8;
constexpr int milliseconds = 160;

} // namespace

Banner::Banner(Look look, QWidget* parent) : FilledPane(Role::strip, Qt::BottomEdge, parent), look_(look) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    close_ = new ToolButton(Icon::close, tr("Close this message"), this, 24, 14);
    connect(close_, &QAbstractButton::clicked, this, [this] {
        const auto close = contents_.close;
        retract();
        if (close) close();
    });
    connect(&height_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        setFixedHeight(value.toInt());
        if (value.toInt() == 0 && !isTelling_) hide();
    });
    setFixedHeight(0);
    hide();
}

void Banner::tell(Contents contents) {
    const bool isNews = !isTelling_ || contents.title != contents_.title;
    // The button that was pressed may be what tells something else: it goes when its own work is done.
    for (TextButton* button : buttons_) {
        button->hide();
        button->deleteLater();
    }
    buttons_.clear();
    contents_ = std::move(contents);
    const bool isTrouble = contents_.tone == Tone::trouble;
    setRole(isTrouble ? Role::errorTint : look_ == Look::tall ? Role::accentTint : Role::strip);
    for (const Choice& choice : contents_.choices) {
        auto* button = new TextButton(
            choice.text, choice.isPrimary ? TextButton::Look::primary : TextButton::Look::bordered, this, choice.icon);
        button->setAccessibleDescription(contents_.title);
        connect(button, &QAbstractButton::clicked, this, [run = choice.run] { run(); });
        button->show();
        buttons_.push_back(button);
    }
    close_->setVisible(bool(contents_.close));
    // In the order of the keyboard they come where the cross is, and before it.
    for (TextButton* button : buttons_)
        setTabBefore(button, close_);
    setAccessibleName(contents_.title);
    setAccessibleDescription(contents_.detail);
    isTelling_ = true;
    show();
    layOut();
    update();
    moveTo(fullHeight());
    if (isNews) {
        QAccessibleEvent alert(this, QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
}

void Banner::reword(const QString& title) {
    contents_.title = title;
    setAccessibleName(title);
    update();
}

void Banner::retract() {
    if (!isTelling_) return;
    isTelling_ = false;
    const QWidget* focused = QApplication::focusWidget();
    if (focused && isAncestorOf(focused)) emit keyboardFreed();
    moveTo(0);
}

void Banner::moveTo(int height) {
    height_.stop();
    const int duration = window()->isVisible() ? motionDuration(this, milliseconds) : 0;
    if (duration == 0 || this->height() == height) {
        setFixedHeight(height);
        if (height == 0) hide();
        return;
    }
    height_.setDuration(duration);
    height_.setEasingCurve(QEasingCurve::OutCubic);
    height_.setStartValue(this->height());
    height_.setEndValue(height);
    height_.start();
}

void Banner::focusFirst() {
    if (!buttons_.empty())
        buttons_.front()->setFocus(Qt::TabFocusReason);
    else if (close_->isVisibleTo(this))
        close_->setFocus(Qt::TabFocusReason);
}

void Banner::resizeEvent(QResizeEvent*) {
    layOut();
}

void Banner::layOut() {
    // Everything keeps its place while the strip grows from above.
    const int middle = height() - fullHeight() + (fullHeight() - 1) / 2;
    int right = width() - (look_ == Look::tall ? 16 : 10);
    auto put = [&](QWidget* widget, int least) {
        const QSize size = widget->sizeHint().expandedTo(QSize(least, 0));
        right -= size.width();
        widget->setGeometry(right, middle - size.height() / 2, size.width(), size.height());
        right -= gap;
    };
    if (close_->isVisibleTo(this)) put(close_, 0);
    for (std::size_t i = buttons_.size(); i-- > 0;)
        put(buttons_[i], contents_.choices[i].isPrimary ? 112 : 0);
}

QRect Banner::textBox() const {
    int right = width() - 12;
    if (close_->isVisibleTo(this)) right = std::min(right, close_->x());
    for (const TextButton* button : buttons_)
        right = std::min(right, button->x());
    const int left = look_ == Look::tall ? 56 : 36;
    return QRect(left, height() - fullHeight(), std::max(0, right - 12 - left), fullHeight() - 1);
}

void Banner::paintEvent(QPaintEvent* event) {
    FilledPane::paintEvent(event);
    QPainter painter(this);
    const bool isTrouble = contents_.tone == Tone::trouble;
    const Role ink = isTrouble ? Role::error : Role::accentText;
    const QRect box = textBox();
    auto line = [&](const QRect& where, const QFont& font, Role role, const QString& text) {
        painter.setFont(font);
        painter.setPen(themed(role));
        painter.drawText(where, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                         painter.fontMetrics().elidedText(text, Qt::ElideRight, where.width()));
    };
    if (look_ == Look::line) {
        paintIcon(painter, contents_.icon, QRectF(12, box.center().y() - 7.5, 16, 16),
                  themed(isTrouble ? Role::error : Role::text2));
        line(box, fonts::small(), Role::text, contents_.title);
        const int after = painter.fontMetrics().horizontalAdvance(contents_.title) + gap;
        if (!contents_.detail.isEmpty() && after < box.width() - 40)
            line(box.adjusted(after, 0, 0, 0), fonts::small(), Role::text2, contents_.detail);
        return;
    }
    painter.fillRect(QRect(0, 0, edge, height()), themed(isTrouble ? Role::error : Role::accent));
    paintIcon(painter, contents_.icon, QRectF(16, box.center().y() - 11.5, 24, 24), themed(ink));
    line(QRect(box.left(), box.top() + 11, box.width(), 20), fonts::bannerTitle(), Role::text, contents_.title);
    line(QRect(box.left(), box.top() + 33, box.width(), 17), fonts::small(), Role::text2, contents_.detail);
}

void Banner::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && close_->isVisibleTo(this))
        close_->click();
    else
        FilledPane::keyPressEvent(event);
}

bool Banner::event(QEvent* event) {
    // The whole text, where there is no room for it.
    if (event->type() == QEvent::ToolTip) {
        const int room = textBox().width();
        const int title = QFontMetrics(look_ == Look::tall ? fonts::bannerTitle() : fonts::small())
                              .horizontalAdvance(contents_.title);
        const int detail = QFontMetrics(fonts::small()).horizontalAdvance(contents_.detail);
        const bool isCut = look_ == Look::tall ? std::max(title, detail) > room : title + gap + detail > room;
        if (isCut) {
            const QString text =
                contents_.detail.isEmpty() ? contents_.title : contents_.title + u'\n' + contents_.detail;
            QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), plainToolTip(text), this);
        }
        return true;
    }
    return FilledPane::event(event);
}

} // namespace glasshob
