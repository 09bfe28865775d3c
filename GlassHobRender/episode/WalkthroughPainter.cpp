#include "GlassHobRender/episode/WalkthroughPainter.h"

#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/episode/CodeColumn.h"
#include "GlassHobRender/episode/ProgressCells.h"
#include "GlassHobRender/episode/Sheet.h"
#include "GlassHobRender/episode/TextBlock.h"
#include "GlassHobRender/paint/PaintFonts.h"

#include <QPainterPath>

namespace glasshob {

namespace {

using episodeLook::colour;

constexpr double proseWidth = 648, proseEnd = 924;

QString label(const WalkthroughStage& stage, std::size_t count) {
    return QStringLiteral("Stage %1 of %2").arg(stage.number).arg(count);
}

TextBlock prose(const QString& words, double top) {
    const QColor shade = colour(Role::text2);
    return fittedProse(words,
                       {{.size = 33, .line = 48, .colour = shade},
                        {.size = 30, .line = 44, .colour = shade},
                        {.size = 27, .line = 39, .colour = shade}},
                       proseWidth, proseEnd - top);
}

TextBlock pageTitle(const WalkthroughStage& stage) {
    const QColor shade = colour(Role::text);
    return fittedTitle(asQString(stage.title),
                       {{.size = 57, .line = 63, .weight = QFont::ExtraBold, .colour = shade, .letterSpacing = -0.02},
                        {.size = 48, .line = 54, .weight = QFont::ExtraBold, .colour = shade, .letterSpacing = -0.02}},
                       proseWidth, 3);
}

constexpr double titleTop = 528, captionBelow = 21;

TextBlock caption(const WalkthroughStage& stage, std::size_t page, double titleHeight) {
    const std::string& own = stage.pages[page].caption;
    return prose(asQString(own.empty() ? stage.summary : own), titleTop + titleHeight + captionBelow);
}

// The stage's number, as large as the column, behind everything else.
void paintNumber(Sheet& sheet, std::int64_t number, double right) {
    constexpr double middle = 571, largest = 1290, largestBaseline = 1036;
    const double size = number < 10 ? largest : number < 100 ? 860 : 600;
    QFont font = paintFonts::words(int(size), QFont::ExtraBold);
    font.setLetterSpacing(QFont::AbsoluteSpacing, -0.05 * size);
    QPainterPath path;
    path.addText(0, middle + (largestBaseline - middle) * size / largest, font, QString::number(number));
    path.translate(right - path.boundingRect().right(), 0);
    sheet.painter().fillPath(path, colour(Role::panel));
}

} // namespace

WalkthroughPainter::WalkthroughPainter(EpisodeFrame frame, std::vector<WalkthroughStage> stages)
    : frame_(frame), stages_(std::move(stages)) {}

QImage WalkthroughPainter::page(std::size_t stageIndex, std::size_t pageIndex, double opacity) const {
    const WalkthroughStage& stage = stages_.at(stageIndex);
    const double column = episodeLook::codeColumnWidth(frame_);
    Sheet sheet(frame_);
    sheet.fill({0, 0, column, 1080}, colour(Role::editor));
    sheet.fill({column, 432, 768, 648}, colour(Role::panel));
    const TextBlock title = pageTitle(stage);
    paintLine(sheet.painter(), label(stage, stages_.size()),
              {.size = 30, .line = 39, .weight = QFont::DemiBold, .colour = colour(Role::text3)}, column + 60, 486);
    title.paint(sheet.painter(), {column + 58, titleTop});
    paintProgress(sheet.painter(), {column + 60, 996, 528, 6}, stages_, stageIndex, pageIndex);
    sheet.layer(opacity, [&](Sheet& above) {
        codeColumn::paint(above, codeRows(stage.pages.at(pageIndex).lines, codeColumn::textWidth(frame_)), column);
        caption(stage, pageIndex, title.height())
            .paint(above.painter(), {column + 60, titleTop + title.height() + captionBelow});
    });
    return sheet.take();
}

QImage WalkthroughPainter::titleMoment(std::size_t stageIndex, double opacity) const {
    const WalkthroughStage& stage = stages_.at(stageIndex);
    const double column = episodeLook::codeColumnWidth(frame_);
    Sheet sheet(frame_);
    sheet.fill({0, 0, column, 1080}, colour(Role::editor));
    sheet.fill({column, 432, 768, 648}, colour(Role::panel));
    paintProgress(sheet.painter(), {column + 60, 996, 528, 6}, stages_, stageIndex, 0);
    sheet.layer(opacity, [&](Sheet& above) {
        paintNumber(above, stage.number, column - 24);
        const TextStyle style{.weight = QFont::ExtraBold, .colour = colour(Role::text), .letterSpacing = -0.03};
        TextStyle large = style, medium = style, small = style;
        large.size = 120, large.line = 126;
        medium.size = 96, medium.line = 102;
        small.size = 78, small.line = 84;
        const TextBlock title = fittedTitle(asQString(stage.title), {large, medium, small}, column - 144, 3);
        const double top = 987 - title.height();
        title.paint(above.painter(), {66, top});
        const TextStyle small36{.size = 36, .line = 48, .weight = QFont::DemiBold, .colour = colour(Role::text2)};
        paintLine(above.painter(), label(stage, stages_.size()), small36, 72, top - 9 - small36.line);
        prose(asQString(stage.summary), 486).paint(above.painter(), {column + 60, 486});
    });
    return sheet.take();
}

PageFit WalkthroughPainter::fit(std::size_t stageIndex, std::size_t pageIndex) const {
    const WalkthroughStage& stage = stages_.at(stageIndex);
    const auto& lines = stage.pages.at(pageIndex).lines;
    const CodeRows rows = codeRows(lines, codeColumn::textWidth(frame_));
    const TextBlock block = caption(stage, pageIndex, pageTitle(stage).height());
    return {int(lines.size()),
            rows.size,
            rows.columns,
            rows.wrappedLines,
            rows.cutLines,
            block.isCut(),
            int((proseEnd - titleTop - pageTitle(stage).height() - captionBelow) / block.style().line)};
}

} // namespace glasshob
