#include "GlassHob/ui/controls/Controls.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QAction>
#include <QApplication>
#include <QFocusEvent>
#include <QFocusFrame>
#include <QHelpEvent>
#include <QKeySequence>
#include <QPainter>
#include <QScreen>
#include <QScrollArea>
#include <QStyle>
#include <QToolTip>
#include <QWheelEvent>

namespace glasshob {

namespace {

constexpr int scrollMargin = 24; // round what has the keyboard

QColor mixed(const QColor& from, const QColor& to, double amount) {
    if (amount <= 0) return from;
    if (amount >= 1) return to;
    auto part = [amount](double a, double b) { return a + (b - a) * amount; };
    return QColor::fromRgbF(float(part(from.redF(), to.redF())), float(part(from.greenF(), to.greenF())),
                            float(part(from.blueF(), to.blueF())), float(part(from.alphaF(), to.alphaF())));
}

QColor clear(QColor color) {
    color.setAlphaF(0);
    return color;
}

void roundedBox(QPainter& painter, const QRectF& rect, double radius, const QColor& fill, const QColor& border) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(fill);
    painter.setPen(border.isValid() ? QPen(border, 1) : Qt::NoPen);
    painter.drawRoundedRect(border.isValid() ? rect.adjusted(0.5, 0.5, -0.5, -0.5) : rect, radius, radius);
}

} // namespace

int motionDuration(const QWidget* widget, int milliseconds) {
    return widget->style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, widget) == 0 ? 0 : milliseconds;
}

QString plainToolTip(const QString& text) {
    return text.isEmpty()
               ? QString()
               : QStringLiteral("<qt>%1</qt>").arg(text.toHtmlEscaped().replace(u'\n', QStringLiteral("<br/>")));
}

int WheelNotches::take(const QWheelEvent& event) {
    constexpr int notch = QWheelEvent::DefaultDeltasPerStep;
    rest_ += event.angleDelta().y() != 0 ? event.angleDelta().y() : event.angleDelta().x();
    const int notches = rest_ / notch;
    rest_ -= notches * notch;
    return notches;
}

void setTabBefore(QWidget* widget, QWidget* next) {
    // Only widgets that take the keyboard can be told of.
    QWidget* before = next->previousInFocusChain();
    while (before != next && (before == widget || before->focusPolicy() == Qt::NoFocus))
        before = before->previousInFocusChain();
    if (before != next) QWidget::setTabOrder(before, widget);
}

QSize roomFor(const QWidget* window) {
    constexpr QSize frame{8, 40};
    const QScreen* screen = window->screen();
    return (screen ? screen->availableSize() : QSize(1440, 900)) - frame;
}

QScrollArea* makeScrollArea(QWidget* contents, QWidget* parent) {
    auto* area = new QScrollArea(parent);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFocusPolicy(Qt::NoFocus);
    area->setWidget(contents);
    area->setWidgetResizable(false);
    auto follow = [area] {
        QPalette palette = area->palette();
        palette.setColor(QPalette::Window, themed(Role::panel));
        palette.setColor(QPalette::Base, themed(Role::panel));
        area->setPalette(palette);
    };
    follow();
    QObject::connect(&Theme::instance(), &Theme::changed, area, follow);
    QObject::connect(qApp, &QApplication::focusChanged, area, [area](QWidget*, QWidget* now) {
        // What is pressed stays under the pointer.
        if (now && area->widget() && area->widget()->isAncestorOf(now) && QGuiApplication::mouseButtons() == 0)
            scrollTo(*area, now);
    });
    return area;
}

void scrollTo(QScrollArea& area, const QWidget* part) {
    // The area's own way brings only the caret of a field into view.
    const QPoint place = part->mapTo(area.widget(), QPoint(0, 0));
    const int left = -area.widget()->x();
    area.ensureVisible(left, place.y() + part->height(), 0, scrollMargin);
    area.ensureVisible(left, place.y(), 0, scrollMargin);
}

HoverButton::HoverButton(QWidget* parent) : QAbstractButton(parent) {
    setFocusPolicy(Qt::TabFocus);
    connect(&fade_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        hover_ = value.toDouble();
        update();
    });
}

void HoverButton::enterEvent(QEnterEvent* event) {
    fade_.stop();
    hover_ = 1;
    update();
    QAbstractButton::enterEvent(event);
}

void HoverButton::leaveEvent(QEvent* event) {
    fade_.setDuration(motionDuration(this, 80));
    fade_.setStartValue(hover_);
    fade_.setEndValue(0.0);
    fade_.start();
    QAbstractButton::leaveEvent(event);
}

ToolButton::ToolButton(Icon icon, const QString& name, QWidget* parent, int side, int iconSize)
    : HoverButton(parent), icon_(icon), side_(side), iconSize_(iconSize) {
    setFont(fonts::label());
    setName(name);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

ToolButton::ToolButton(Icon icon, const QString& name, QAction* action, QWidget* parent)
    : ToolButton(icon, name, parent) {
    setName(name, action->shortcut().toString(QKeySequence::NativeText));
    setCheckable(action->isCheckable());
    auto follow = [this, action] {
        setEnabled(action->isEnabled());
        setChecked(action->isChecked());
    };
    follow();
    connect(action, &QAction::changed, this, follow);
    connect(this, &QAbstractButton::clicked, this, [this, action] {
        setChecked(action->isChecked()); // the action decides
        action->trigger();
    });
}

void ToolButton::setIcon(Icon icon) {
    if (icon == icon_) return;
    icon_ = icon;
    update();
}

void ToolButton::setTurned(bool turned) {
    turned_ = turned;
    update();
}

void ToolButton::setLabel(const QString& label) {
    label_ = label;
    updateGeometry();
    update();
}

void ToolButton::setShowsLabel(bool shows) {
    if (shows == showsLabel_) return;
    showsLabel_ = shows;
    updateGeometry();
    update();
}

void ToolButton::setInk(std::optional<Role> ink) {
    ink_ = ink;
    update();
}

void ToolButton::setName(const QString& name, const QString& shortcut) {
    setAccessibleName(name);
    setToolTip(shortcut.isEmpty() ? name : QStringLiteral("%1 (%2)").arg(name, shortcut));
}

QSize ToolButton::sizeHint() const {
    if (!labelled()) return QSize(side_, side_);
    return QSize(8 + iconSize_ + 7 + fontMetrics().horizontalAdvance(label_) + 10, side_);
}

void ToolButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const bool on = isCheckable() && isChecked();
    const QColor under = themed(Role::control);
    QColor fill = mixed(on ? under : clear(under), on ? themed(Role::controlHover) : under, isEnabled() ? hover() : 0);
    if (isDown()) fill = themed(Role::controlPressed);
    const double radius = side_ >= 28 ? 6 : 4;
    roundedBox(painter, rect(), radius, fill, on ? themed(Role::line) : QColor());
    const QColor ink = themed(!isEnabled()       ? Role::disabled
                              : ink_             ? *ink_
                              : on || labelled() ? Role::text
                                                 : Role::text2);
    const double top = (height() - iconSize_) / 2.0;
    const double left = labelled() ? 8 : (width() - iconSize_) / 2.0;
    painter.save();
    if (turned_) {
        painter.translate(width(), height());
        painter.rotate(180);
    }
    // Icons beside a label keep the icons' quieter colour, as the label carries the weight.
    paintIcon(painter, icon_, QRectF(left, top, iconSize_, iconSize_),
              labelled() && isEnabled() ? themed(Role::text2) : ink);
    painter.restore();
    if (labelled()) {
        painter.setPen(ink);
        painter.drawText(QRectF(left + iconSize_ + 7, 0, width(), height()), Qt::AlignLeft | Qt::AlignVCenter, label_);
    }
}

TextButton::TextButton(const QString& text, Look look, QWidget* parent, std::optional<Icon> icon)
    : HoverButton(parent), look_(look), icon_(icon) {
    setText(text);
    setFont(look == Look::quiet                            ? fonts::menu()
            : look == Look::primary                        ? fonts::ui(13, QFont::Bold)
            : look == Look::dialog || look == Look::action ? fonts::button()
                                                           : fonts::ui(12.5, QFont::DemiBold));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    if (look == Look::link || look == Look::action) setCursor(Qt::PointingHandCursor);
}

int TextButton::padding() const {
    return look_ == Look::link || look_ == Look::action ? 0 : look_ == Look::primary || look_ == Look::dialog ? 16 : 10;
}

QSize TextButton::sizeHint() const {
    const int label = fontMetrics().horizontalAdvance(text());
    const int height = look_ == Look::link || look_ == Look::action      ? 24
                       : look_ == Look::primary || look_ == Look::dialog ? 32
                                                                         : 26;
    return QSize(padding() + (icon_ ? 16 + 7 : 0) + label + padding(), height);
}

void TextButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const bool primary = look_ == Look::primary && isEnabled();
    QColor ink = themed(!isEnabled()            ? Role::disabled
                        : primary               ? Role::onAccent
                        : look_ == Look::quiet  ? Role::text2
                        : look_ == Look::action ? (hover() > 0 ? Role::text : Role::accentText)
                                                : Role::text);
    if (primary)
        roundedBox(painter, rect(), 6, mixed(themed(Role::accentFill), themed(Role::accentFillHover), hover()), {});
    else if (look_ == Look::bordered || look_ == Look::dialog || look_ == Look::primary)
        roundedBox(painter, rect(), 6,
                   isDown()      ? themed(Role::controlPressed)
                   : isEnabled() ? mixed(themed(Role::control), themed(Role::controlHover), hover())
                                 : QColor(Qt::transparent),
                   themed(isEnabled() ? Role::lineStrong : Role::line));
    else if (look_ == Look::quiet)
        roundedBox(painter, rect(), 6, mixed(clear(themed(Role::control)), themed(Role::control), hover()), {});
    // In the middle of a button that is wider than it needs to be.
    double left = padding() + (width() - sizeHint().width()) / 2;
    if (icon_) {
        paintIcon(painter, *icon_, QRectF(left, (height() - 16) / 2.0, 16, 16), ink);
        left += 16 + 7;
    }
    painter.setPen(ink);
    const QRectF box(left, 0, width() - left, height());
    painter.drawText(box, Qt::AlignLeft | Qt::AlignVCenter, text());
    if (look_ == Look::link) {
        const int baseline = (height() + fontMetrics().ascent() - fontMetrics().descent()) / 2 + 2;
        painter.fillRect(QRect(0, baseline, width(), 1), themed(hover() > 0 ? Role::text : Role::text2));
    }
}

TextLine::TextLine(const QFont& font, Role role, QWidget* parent, const QString& text)
    : QWidget(parent), role_(role), text_(text) {
    setFont(font);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void TextLine::setText(const QString& text) {
    if (text == text_) return;
    const bool sameWidth = fontMetrics().horizontalAdvance(text) == fontMetrics().horizontalAdvance(text_);
    text_ = text;
    if (!sameWidth) updateGeometry();
    update();
}

void TextLine::setRole(Role role) {
    role_ = role;
    update();
}

void TextLine::setElides(bool elides) {
    elides_ = elides;
    setSizePolicy(elides ? QSizePolicy::Maximum : QSizePolicy::Preferred, QSizePolicy::Fixed);
    updateGeometry();
}

QSize TextLine::sizeHint() const {
    return QSize(fontMetrics().horizontalAdvance(text_) + 1, fontMetrics().height());
}

QSize TextLine::minimumSizeHint() const {
    QSize size = sizeHint();
    if (elides_) size.setWidth(0);
    return size;
}

void TextLine::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(themed(isEnabled() ? role_ : Role::disabled));
    const QString shown = elides_ ? fontMetrics().elidedText(text_, Qt::ElideRight, width()) : text_;
    painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, shown);
}

bool TextLine::event(QEvent* event) {
    // The whole text, where it is cut and nothing else is said of it.
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty() && elides_ && width() < sizeHint().width()) {
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), plainToolTip(text_), this);
        return true;
    }
    return QWidget::event(event);
}

Chip::Chip(const QString& text, QWidget* parent) : TextLine(fonts::chip(), Role::text2, parent, text) {}

QSize Chip::sizeHint() const {
    return QSize(fontMetrics().horizontalAdvance(text()) + 16, 20);
}

void Chip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    roundedBox(painter, rect(), 4, themed(Role::control), themed(Role::line));
    painter.setPen(themed(Role::text2));
    painter.drawText(rect(), Qt::AlignCenter, text());
}

BarSeparator::BarSeparator(QWidget* parent) : QWidget(parent) {
    setFixedSize(17, 20);
}

void BarSeparator::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(8, 0, 1, height(), themed(Role::line));
}

FilledPane::FilledPane(Role role, Qt::Edges lines, QWidget* parent) : QWidget(parent), role_(role), lines_(lines) {
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void FilledPane::setRole(Role role) {
    role_ = role;
    update();
}

void FilledPane::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), themed(role_));
    const QColor line = themed(Role::line);
    if (lines_ & Qt::TopEdge) painter.fillRect(0, 0, width(), 1, line);
    if (lines_ & Qt::BottomEdge) painter.fillRect(0, height() - 1, width(), 1, line);
    if (lines_ & Qt::LeftEdge) painter.fillRect(0, 0, 1, height(), line);
    if (lines_ & Qt::RightEdge) painter.fillRect(width() - 1, 0, 1, height(), line);
}

FocusRing::FocusRing(QWidget* window) : QObject(window), window_(window) {
    qApp->installEventFilter(this);
}

bool FocusRing::eventFilter(QObject* object, QEvent* event) {
    if (event->type() != QEvent::FocusIn && event->type() != QEvent::FocusOut) return false;
    auto* button = qobject_cast<QAbstractButton*>(object);
    // A dialog that opens tells its first control of a Tab that nobody has pressed.
    const bool isPretended = event->type() == QEvent::FocusIn && button && QApplication::focusWidget() != button;
    if (event->type() == QEvent::FocusOut || !button || button->window() != window_ || isPretended) {
        if (frame_ && frame_->widget() == object) frame_->setWidget(nullptr);
        return false;
    }
    const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
    if (reason != Qt::TabFocusReason && reason != Qt::BacktabFocusReason && reason != Qt::ShortcutFocusReason)
        return false;
    if (!frame_) frame_ = new QFocusFrame(window_);
    frame_->setWidget(button);
    return false;
}

} // namespace glasshob
