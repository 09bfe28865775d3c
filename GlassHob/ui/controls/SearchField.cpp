#include "GlassHob/ui/controls/SearchField.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QPainter>

namespace glasshob {

namespace {

constexpr int fieldHeight = 28;
constexpr int padding = 8;
constexpr int counterGap = 8;

} // namespace

void paintFieldBox(QPainter& painter, const QRect& box, bool hasFocus, bool isRefused) {
    painter.setRenderHint(QPainter::Antialiasing);
    const bool strong = hasFocus || isRefused;
    painter.setBrush(themed(Role::field));
    painter.setPen(QPen(themed(isRefused  ? Role::error
                               : hasFocus ? Role::accentText
                                          : Role::lineStrong),
                        strong ? 2 : 1));
    const double inset = strong ? 1 : 0.5;
    painter.drawRoundedRect(QRectF(box).adjusted(inset, inset, -inset, -inset), 6, 6);
}

SearchField::SearchField(const QString& name, const QString& placeholder, QWidget* parent) : QLineEdit(parent) {
    setAccessibleName(name);
    setPlaceholderText(placeholder);
    setFont(fonts::mono(12.5));
    setFrame(false);
    setFixedHeight(fieldHeight);
    setMinimumWidth(110);
    setTextMargins(padding - 2, 0, padding, 0);
    setContextMenuPolicy(Qt::NoContextMenu);
    followTheme();
    connect(&Theme::instance(), &Theme::changed, this, &SearchField::followTheme);
}

void SearchField::followTheme() {
    QPalette palette = this->palette();
    palette.setColor(QPalette::Base, Qt::transparent); // the box is painted here
    palette.setColor(QPalette::Text, themed(Role::text));
    palette.setColor(QPalette::Disabled, QPalette::Text, themed(Role::disabled));
    palette.setColor(QPalette::PlaceholderText, themed(Role::text3));
    setPalette(palette);
}

void SearchField::setCounter(const QString& text, Role role) {
    if (text == counter_ && role == counterRole_) return;
    counter_ = text;
    counterRole_ = role;
    setAccessibleDescription(text);
    followMargins();
}

void SearchField::setPrefix(const QString& prefix) {
    prefix_ = prefix;
    followMargins();
}

void SearchField::followMargins() {
    const int before = prefix_.isEmpty() ? 0 : fontMetrics().horizontalAdvance(prefix_);
    const int after = counter_.isEmpty() ? 0 : QFontMetrics(fonts::small()).horizontalAdvance(counter_) + counterGap;
    setTextMargins(padding - 2 + before, 0, padding + after, 0);
    update();
}

void SearchField::setRefused(bool refused) {
    if (refused == refused_) return;
    refused_ = refused;
    update();
}

void SearchField::paintEvent(QPaintEvent* event) {
    {
        QPainter painter(this);
        paintFieldBox(painter, rect(), hasFocus(), refused_);
        painter.setFont(font());
        painter.setPen(themed(Role::text3));
        painter.drawText(rect().adjusted(padding, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, prefix_);
        painter.setFont(fonts::small());
        painter.setPen(themed(counterRole_));
        painter.drawText(rect().adjusted(0, 0, -padding - 2, 0), Qt::AlignRight | Qt::AlignVCenter, counter_);
    }
    QLineEdit::paintEvent(event);
}

LetterToggle::LetterToggle(const QString& letters, const QString& name, const QKeySequence& key, QWidget* parent,
                           bool underlined)
    : HoverButton(parent), underlined_(underlined) {
    setText(letters);
    setCheckable(true);
    setAccessibleName(name);
    setToolTip(plainToolTip(QStringLiteral("%1 (%2)").arg(name, key.toString(QKeySequence::NativeText))));
    setFont(fonts::mono(12, QFont::DemiBold));
    setFixedSize(sizeHint());
}

void LetterToggle::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    if (isChecked()) {
        painter.setBrush(themed(Role::accentTint));
        painter.setPen(themed(Role::accentText));
        painter.drawRoundedRect(box, 4, 4);
    } else if (hover() > 0) {
        QColor fill = themed(Role::controlHover);
        fill.setAlphaF(float(hover()));
        painter.setBrush(fill);
        painter.setPen(Qt::NoPen);
        painter.drawRoundedRect(box, 4, 4);
    }
    painter.setFont(font());
    painter.setPen(themed(isChecked() ? Role::accentText : Role::text2));
    painter.drawText(rect().adjusted(0, underlined_ ? -1 : 0, 0, 0), Qt::AlignCenter, text());
    if (underlined_) {
        const double width = fontMetrics().horizontalAdvance(text()) / 2.0 + 1;
        const double middle = rect().width() / 2.0, y = rect().height() / 2.0 + 6.5;
        painter.setBrush(Qt::NoBrush);
        painter.drawPolyline(QPolygonF(
            {{middle - width, y - 2.5}, {middle - width, y}, {middle + width, y}, {middle + width, y - 2.5}}));
    }
}

} // namespace glasshob
