#include "GlassHobCore/text/Numbers.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobRender/episode/CardPainter.h"
#include "GlassHobRender/episode/Sheet.h"
#include "GlassHobRender/episode/TextBlock.h"
#include "GlassHobRender/paint/PaintFonts.h"
#include "GlassHobRender/paint/PaintedImage.h"

#include <QFontMetricsF>

#include <algorithm>
#include <cmath>

namespace glasshob {

namespace {

using episodeLook::colour;

constexpr double panelLeft = 60, panelBottom = 1026, panelHeight = 150, padding = 42, mostRight = 1716;
constexpr double ruleGap = 40, blockGap = 48, blockWidth = 330, widestBlock = 480, nameGap = 24;
constexpr double trackHeight = 9, knob = 30;

QFont mono(QFont::Weight weight) {
    QFont font = paintFonts::code(33, weight);
    font.setStyleStrategy(QFont::StyleStrategy(QFont::PreferNoShaping | QFont::NoSubpixelAntialias));
    return font;
}

double wanted(const VariationLabel::Slider& slider) {
    const double words = QFontMetricsF(mono(QFont::Medium)).horizontalAdvance(asQString(slider.name)) + nameGap +
                         QFontMetricsF(mono(QFont::Normal)).horizontalAdvance(asQString(slider.value));
    return std::clamp(words, blockWidth, widestBlock);
}

// Name and value, under them a picture of the slider.
void paintBlock(QPainter& painter, const VariationLabel::Slider& slider, double left, double top, double width) {
    const QFont nameFont = mono(QFont::Medium), valueFont = mono(QFont::Normal);
    const double valueWidth = QFontMetricsF(valueFont).horizontalAdvance(asQString(slider.value));
    const double line = top + baseline(nameFont, 42);
    painter.setPen(colour(Role::text));
    painter.setFont(nameFont);
    painter.drawText(QPointF(left, line), elided(asQString(slider.name), nameFont, width - valueWidth - nameGap));
    painter.setFont(valueFont);
    painter.drawText(QPointF(left + width - valueWidth, line), asQString(slider.value));

    const double middle = top + 67.5;
    const auto at = [&](double part) { return left + knob / 2 + part * (width - knob); };
    const auto bar = [&](double right, const QColor& fill) {
        painter.setBrush(fill);
        painter.drawRoundedRect(QRectF(left, middle - trackHeight / 2, right - left, trackHeight), trackHeight / 2,
                                trackHeight / 2);
    };
    painter.setPen(Qt::NoPen);
    bar(left + width, colour(Role::track));
    bar(at(slider.at), colour(Role::accent));
    painter.setBrush(colour(Role::text3));
    painter.drawRoundedRect(QRectF(at(slider.defaultAt) - 2.5, middle + trackHeight / 2 + 12, 5, 12), 2.25, 2.25);
    painter.setBrush(colour(Role::knob));
    painter.setPen(QPen(colour(Role::knobLine), 2));
    painter.drawEllipse(QPointF(at(slider.at), middle), knob / 2 - 1, knob / 2 - 1);
}

} // namespace

VariationLabel variationLabel(const Variation& variation, const std::vector<ParamDecl>& params, std::int64_t number,
                              std::int64_t count) {
    VariationLabel label{number, count, {}};
    // The highlights are names and values in their order: "speed 1.25, hue 0.4".
    std::string_view rest = variation.highlights;
    while (!rest.empty()) {
        const std::string_view name = rest.substr(0, rest.find(' '));
        const auto param = std::ranges::find(params, name, &ParamDecl::name);
        const auto value = variation.values.find(name);
        if (param != params.end() && value != variation.values.end()) {
            const auto place = [&](float v) {
                const double part = (double(v) - param->min) / (double(param->max) - param->min);
                return std::isfinite(part) ? std::clamp(part, 0.0, 1.0) : 0.0;
            };
            label.sliders.push_back(
                {param->name, twoDecimals(value->second), place(value->second), place(param->defaultValue)});
        }
        const std::size_t comma = rest.find(", ");
        rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 2);
    }
    return label;
}

QImage paintVariationLabel(const EpisodeFrame& frame, const VariationLabel& label, double opacity) {
    const TextStyle small{.size = 27, .line = 33, .weight = QFont::DemiBold, .colour = colour(Role::text2)};
    const TextStyle large{.size = 45, .line = 54, .weight = QFont::ExtraBold, .colour = colour(Role::text)};
    const TextStyle plain{.size = 36, .line = 48, .weight = QFont::DemiBold, .colour = colour(Role::text)};
    const QString heading = QStringLiteral("Variation"), defaults = QStringLiteral("Default settings");
    const QString number = QStringLiteral("%1 of %2").arg(label.number).arg(label.count);
    const double left = panelLeft + padding, top = panelBottom - panelHeight;
    const double rule = left + std::ceil(std::max(widthOf(heading, small), widthOf(number, large))) + ruleGap;
    const double first = rule + 2 + blockGap;

    std::vector<double> widths;
    for (const VariationLabel::Slider& slider : label.sliders)
        widths.push_back(wanted(slider));
    double right = first + std::ceil(widthOf(defaults, plain));
    if (!widths.empty()) {
        // Where all of them have no room, each gives way alike.
        const double gaps = blockGap * double(widths.size() - 1);
        const double room = std::min(mostRight, frame.unitsWide() - 204) - padding - first - gaps;
        double sum = 0;
        for (const double width : widths)
            sum += width;
        for (double& width : widths)
            width *= std::min(1.0, room / sum);
        right = first + std::min(sum, room) + gaps;
    }

    Sheet sheet(frame);
    sheet.layer(opacity, [&](Sheet& above) {
        QPainter& painter = above.painter();
        paintPanel(painter, {panelLeft, top, right + padding - panelLeft, panelHeight},
                   {colour(Role::panel), colour(Role::lineStrong), 2, 15});
        const double words = top + (panelHeight - small.line - large.line) / 2 - 1;
        paintLine(painter, heading, small, left, words);
        paintLine(painter, number, large, left, words + small.line);
        painter.fillRect(QRectF(rule, top + (panelHeight - 96) / 2, 2, 96), colour(Role::line));
        if (label.sliders.empty()) paintLine(painter, defaults, plain, first, top + (panelHeight - plain.line) / 2);
        double x = first;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            paintBlock(painter, label.sliders[i], x, top + 27, widths[i]);
            x += widths[i] + blockGap;
        }
    });
    return sheet.take();
}

} // namespace glasshob
