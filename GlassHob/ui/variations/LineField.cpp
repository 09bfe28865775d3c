#include "GlassHob/ui/variations/LineField.h"

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHob/ui/controls/Fonts.h"
#include "GlassHob/ui/controls/Theme.h"
#include "GlassHobCore/code/MSLSyntax.h"

#include <QPainter>
#include <QTextLayout>

#include <algorithm>
#include <vector>

namespace glasshob {

namespace {

constexpr int padding = 16, rowHeight = 20, mostRows = 2;
constexpr int longest = 400; // letters that are laid out; far more than two rows hold

} // namespace

LineField::LineField(QWidget* parent) : QWidget(parent) {
    setAccessibleName(tr("Line to be written"));
    setFixedHeight(sizeHint().height());
    connect(&Theme::instance(), &Theme::changed, this, qOverload<>(&QWidget::update));
    setLine({});
}

void LineField::setLine(const QString& line) {
    line_ = line;
    setAccessibleDescription(line_.isEmpty() ? tr("No line") : line_);
    setToolTip(plainToolTip(line_.left(2000)));
    update();
}

void LineField::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(themed(Role::editor));
    painter.setPen(QPen(themed(Role::line), 1));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    const QFont font = fonts::mono(12.5);
    const QRect room = rect().adjusted(padding, 0, -padding, 0);
    if (line_.isEmpty()) {
        painter.setFont(fonts::small());
        painter.setPen(themed(Role::text3));
        painter.drawText(room, Qt::AlignLeft | Qt::AlignVCenter, tr("No line: none is chosen"));
        return;
    }
    const auto lay = [&](QTextLayout& layout) {
        QTextOption option;
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        layout.setTextOption(option);
        layout.beginLayout();
        int rows = 0;
        for (QTextLine row = layout.createLine(); row.isValid(); row = layout.createLine(), ++rows) {
            row.setLineWidth(room.width());
            row.setPosition(QPointF(0, rows * rowHeight));
        }
        layout.endLayout();
        return rows;
    };
    QString shown = line_.left(longest);
    QTextLayout measured(shown, font);
    if (lay(measured) > mostRows || shown.size() < line_.size()) {
        const QTextLine last = measured.lineAt(mostRows - 1);
        const int begin = last.textStart();
        shown =
            shown.left(begin) + QFontMetrics(font).elidedText(shown.mid(begin, last.textLength()) + QStringLiteral("…"),
                                                              Qt::ElideRight, room.width());
        if (!shown.endsWith(u'…')) shown = shown.chopped(1) + u'…';
    }
    QTextLayout layout(shown, font);
    std::vector<SyntaxToken> tokens;
    MSLSyntax::tokenizeLine(shown, MSLSyntax::LineState::plain, tokens);
    QList<QTextLayout::FormatRange> formats;
    for (const SyntaxToken& token : tokens) {
        QTextLayout::FormatRange range;
        range.start = int(token.range.location);
        range.length = int(token.range.length);
        range.format.setForeground(themed(codeRole(token.kind)));
        if (token.kind == SyntaxKind::headerKey) range.format.setFontWeight(QFont::DemiBold);
        formats.append(range);
    }
    layout.setFormats(formats);
    const int rows = std::min(lay(layout), mostRows);
    painter.setPen(themed(CodeRole::plain));
    const double ascent = (rowHeight - QFontMetricsF(font).height()) / 2;
    layout.draw(&painter, QPointF(room.left(), (height() - rows * rowHeight) / 2.0 + ascent));
}

} // namespace glasshob
