#include "GlassHobRender/episode/CardPainter.h"

#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/episode/Sheet.h"
#include "GlassHobRender/episode/TextBlock.h"

#include <QPainterPath>

namespace glasshob {

namespace {

using episodeLook::colour;

constexpr double archTop = 180, archWidth = 720, wallWidth = 36;

// A half disc on straight walls that stand on the lower edge of the frame.
QPainterPath arch(double left, double widerBy) {
    const double radius = archWidth / 2 + widerBy, middle = left + archWidth / 2, springs = archTop + archWidth / 2;
    QPainterPath path;
    // Below the frame, so that no smooth edge shows there.
    path.moveTo(middle - radius, 1100);
    path.lineTo(middle - radius, springs);
    path.arcTo(QRectF(middle - radius, springs - radius, 2 * radius, 2 * radius), 180, -180);
    path.lineTo(middle + radius, 1100);
    path.closeSubpath();
    return path;
}

struct CardText {
    QString label, title, text;
};

CardText textOf(const EpisodeMeta& meta, Card card) {
    const bool isEnd = card == Card::end;
    const std::string& title = isEnd && !meta.finalTitle.empty() ? meta.finalTitle : meta.title;
    return {QStringLiteral("Episode %1").arg(meta.number), asQString(title),
            asQString(isEnd ? meta.finalSummary : meta.teaches)};
}

TextBlock titleOf(const QString& words, Card card, double width) {
    const auto style = [](int size, int line) {
        return TextStyle{.size = size,
                         .line = line,
                         .weight = QFont::ExtraBold,
                         .colour = colour(Role::text),
                         .letterSpacing = -0.035};
    };
    const TextStyle second = style(120, 123), third = style(96, 102), fourth = style(78, 84);
    if (card == Card::end) return fittedTitle(words, {second, third, fourth}, width, 3);
    return fittedTitle(words, {style(144, 147), second, third, fourth}, width, 3);
}

} // namespace

QImage paintCard(const EpisodeFrame& frame, const EpisodeMeta& meta, Card card, double opacity) {
    Sheet sheet(frame);
    const bool isOpening = card == Card::opening;
    const double archLeft = isOpening ? sheet.wide() - 930 : 174;
    const double left = isOpening ? 108 : 1044;
    // 804 in a frame of 16:9: up to a margin before the arch, or before the edge of the frame.
    const double width = isOpening ? archLeft - wallWidth - 42 - left : sheet.wide() - 72 - left;
    sheet.fill({0, 0, sheet.wide(), 1080}, colour(Role::canvas));
    QPainter& painter = sheet.painter();
    painter.fillPath(arch(archLeft, wallWidth), colour(episodeLook::VideoRole::archWall));
    painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
    painter.fillPath(arch(archLeft, 0), Qt::black);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    sheet.layer(opacity, [&](Sheet& above) {
        constexpr double titleBelow = 12, textBelow = 39;
        const CardText words = textOf(meta, card);
        const TextStyle labelStyle{.size = 36, .line = 48, .weight = QFont::DemiBold, .colour = colour(Role::text2)};
        const TextBlock title = titleOf(words.title, card, width);
        const TextStyle prose{.size = 39, .line = 57, .colour = colour(Role::text2)};
        const TextStyle smallProse{.size = 33, .line = 48, .colour = colour(Role::text2)};
        const TextBlock text = fittedTitle(words.text, {prose, smallProse}, std::min(744.0, width), 4);
        const double height =
            labelStyle.line + titleBelow + title.height() + (text.isEmpty() ? 0 : textBelow + text.height());
        double y = 540 - height / 2;
        paintLine(above.painter(), words.label, labelStyle, left, y);
        y += labelStyle.line + titleBelow;
        title.paint(above.painter(), {left - 0.05 * title.style().size, y});
        text.paint(above.painter(), {left, y + title.height() + textBelow});
    });
    return sheet.take();
}

} // namespace glasshob
