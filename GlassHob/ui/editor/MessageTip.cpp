#include "GlassHob/ui/editor/MessageTip.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/SeverityLook.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QPainter>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int paddingX = 12, paddingY = 8, iconSize = 16, iconGap = 8, entryGap = 8, mostWidth = 420;

} // namespace

MessageTip::MessageTip(QAbstractScrollArea* editor) : EditorBox(editor) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFont(fonts::tooltip());
}

void MessageTip::showFor(const std::vector<Diagnostic>& messages, const QString& hint, const QRect& line) {
    entries_.clear();
    if (messages.empty()) {
        hide();
        return;
    }
    const int textLeft = paddingX + iconSize + iconGap;
    const int textWidth = std::min(mostWidth, room().width()) - textLeft - paddingX;
    int y = paddingY, width = 0;
    auto add = [&](std::optional<Diagnostic::Severity> severity, const QString& text) {
        QRect place = fontMetrics().boundingRect(QRect(0, 0, textWidth, 4000), Qt::AlignLeft | Qt::TextWordWrap, text);
        place.moveTopLeft(QPoint(textLeft, y));
        place.setHeight(std::max(place.height(), 18));
        width = std::max(width, place.width());
        y += place.height() + entryGap;
        entries_.push_back({severity, text, place});
    };
    for (const Diagnostic& message : messages)
        add(message.severity, QString::fromStdString(message.message));
    if (!hint.isEmpty()) add(std::nullopt, hint);
    resize(textLeft + width + paddingX + 1, y - entryGap + paddingY);
    for (Entry& entry : entries_)
        entry.place.setWidth(width + 1);

    const QRect at = inPane(line);
    const int below = at.bottom() + 4, above = at.top() - 4 - height();
    showAt(at.left(), below + height() > room().bottom() && above >= room().top() ? above : below);
}

void MessageTip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintGround(painter);
    for (const Entry& entry : entries_) {
        if (entry.severity)
            paintIcon(painter, severityIcon(*entry.severity),
                      QRectF(paddingX, entry.place.top() + 1, iconSize, iconSize),
                      themed(severityRole(*entry.severity)));
        painter.setPen(themed(entry.severity ? Role::text : Role::text2));
        painter.drawText(entry.place, Qt::AlignLeft | Qt::TextWordWrap, entry.text);
    }
}

} // namespace glasshob
