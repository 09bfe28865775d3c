#include "GlassHob/ui/CodeTip.h"

#include "GlassHob/ui/Fonts.h"
#include "GlassHob/ui/RoundedPopup.h"
#include "GlassHob/ui/Theme.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr int paddingX = 12, paddingY = 8, entryGap = 8, noteGap = 2, widest = 520;
constexpr double codeRow = 19, noteRow = 17;

} // namespace

CodeTip::CodeTip(QWidget* owner) : QWidget(owner, Qt::ToolTip | Qt::FramelessWindowHint) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    new RoundedPopup(this, 6);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

QSize CodeTip::layOut(QPainter* painter) const {
    double y = paddingY, width = 0;
    auto put = [&](const QString& text, const QFont& font, const QColor& color, double row, int boldFrom, int boldTo) {
        QTextLayout layout(text, font);
        QTextOption option;
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        layout.setTextOption(option);
        if (boldTo > boldFrom) {
            QTextCharFormat bold;
            bold.setFontWeight(QFont::Bold);
            bold.setForeground(themed(Role::accentText));
            layout.setFormats({{boldFrom, boldTo - boldFrom, bold}});
        }
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(widest - 2 * paddingX);
            line.setPosition({double(paddingX), y});
            width = std::max(width, line.naturalTextWidth());
            y += row;
        }
        layout.endLayout();
        if (!painter) return;
        painter->setPen(color);
        layout.draw(painter, {});
    };
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const Entry& entry = entries_[i];
        if (i > 0) y += entryGap;
        put(entry.code, fonts::mono(12.5), themed(Role::text), codeRow, entry.boldFrom, entry.boldTo);
        if (entry.note.isEmpty()) continue;
        y += noteGap;
        put(entry.note, fonts::small(), themed(Role::text2), noteRow, 0, 0);
    }
    return {int(std::ceil(width)) + 2 * paddingX + 1, int(std::ceil(y)) + paddingY};
}

void CodeTip::showFor(std::vector<Entry> entries, const QRect& place) {
    if (entries.empty()) {
        hide();
        return;
    }
    if (isVisible() && entries == entries_ && place == place_) return;
    entries_ = std::move(entries);
    place_ = place;
    QStringList texts;
    for (const Entry& entry : entries_)
        texts << entry.code;
    setAccessibleName(texts.join(u'\n'));
    resize(layOut(nullptr));
    QPoint corner(place.left() - paddingX, place.top() - 4 - height());
    if (const QScreen* screen = QGuiApplication::screenAt(place.center())) {
        const QRect area = screen->availableGeometry();
        if (corner.y() < area.top()) corner.setY(place.bottom() + 4);
        corner.setX(std::clamp(corner.x(), area.left(), std::max(area.left(), area.right() - width())));
    }
    move(corner);
    show();
    raise();
    update();
}

void CodeTip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(themed(Role::tooltip));
    painter.setPen(themed(Role::lineStrong));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    layOut(&painter);
}

} // namespace glasshob
