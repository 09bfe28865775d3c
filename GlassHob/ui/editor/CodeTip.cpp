#include "GlassHob/ui/editor/CodeTip.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QPainter>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

constexpr int paddingX = 12, paddingY = 8, entryGap = 8, noteGap = 2, mostWidth = 520;
constexpr double codeRow = 19, noteRow = 17;

} // namespace

CodeTip::CodeTip(QAbstractScrollArea* editor) : EditorBox(editor) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

QSize CodeTip::layOut(QPainter* painter, int widest) const {
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
    const QRect at = inPane(place);
    if (isVisible() && entries == entries_ && at == place_) return;
    entries_ = std::move(entries);
    place_ = at;
    QStringList texts;
    for (const Entry& entry : entries_)
        texts << entry.code;
    setAccessibleName(texts.join(u'\n'));
    resize(layOut(nullptr, std::min(mostWidth, room().width())));
    const int above = at.top() - 4 - height();
    showAt(at.left() - paddingX, above >= room().top() ? above : at.bottom() + 4);
}

void CodeTip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintGround(painter);
    layOut(&painter, width());
}

} // namespace glasshob
