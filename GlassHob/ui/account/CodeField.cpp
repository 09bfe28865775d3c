#include "GlassHob/ui/account/CodeField.h"

#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"

#include <QPainter>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int boxWidth = 36;
constexpr int boxHeight = 52;
constexpr int boxGap = 10;
constexpr int dashWidth = 16;
constexpr int mostBoxes = 10;
constexpr int longest = 200;

} // namespace

CodeField::CodeField(const QString& code, int width, QWidget* parent) : QLineEdit(code.left(longest), parent) {
    setReadOnly(true);
    setFrame(false);
    setFixedSize(width, boxHeight);
    setFont(code.size() > mostBoxes ? fonts::mono(20, QFont::Medium) : fonts::mono(24, QFont::Medium));
    setAccessibleName(tr("Sign-in code"));
    QStringList letters;
    for (const QChar letter : text())
        letters.append(letter);
    setAccessibleDescription(letters.join(u' '));
    setContextMenuPolicy(Qt::NoContextMenu);
    connect(&Theme::instance(), &Theme::changed, this, qOverload<>(&QWidget::update));
}

void CodeField::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(font());
    const QString code = text();
    const bool isMarked = hasSelectedText();
    if (code.size() > mostBoxes) {
        if (isMarked) painter.fillRect(rect(), themed(Role::selection));
        painter.setPen(themed(Role::text));
        painter.drawText(rect(), Qt::AlignCenter, fontMetrics().elidedText(code, Qt::ElideMiddle, width()));
        return;
    }
    const auto isDash = [](QChar c) { return c == u'-' || c == u' '; };
    const int dashes = int(std::ranges::count_if(code, isDash)), boxes = std::max(int(code.size()) - dashes, 1);
    const int room = width() - dashes * dashWidth - boxGap * int(code.size() - 1);
    const double wide = std::min(double(boxWidth), double(room) / boxes);
    double x = 0;
    for (const QChar letter : code) {
        const double place = isDash(letter) ? dashWidth : wide;
        const QRectF box(x, 0, place, height());
        x += place + boxGap;
        if (!isDash(letter)) {
            painter.setBrush(themed(isMarked ? Role::selection : Role::field));
            painter.setPen(QPen(themed(Role::lineStrong), 1));
            painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
        }
        painter.setPen(themed(isDash(letter) ? Role::text3 : Role::text));
        painter.drawText(box, Qt::AlignCenter, QString(letter));
    }
}

} // namespace glasshob
