#include "hob/EpisodeListing.h"

#include "GlassHobCore/text/Numbers.h"
#include "GlassHobCore/text/Text.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <string_view>

namespace hob {

using glasshob::asQString;
using glasshob::clockText;
using glasshob::EpisodePart;
using glasshob::EpisodePlan;
using glasshob::Variation;
using glasshob::WalkthroughLine;
using glasshob::WalkthroughPage;
using glasshob::WalkthroughStage;

namespace {

QLatin1String nameOf(WalkthroughLine::Kind kind) {
    switch (kind) {
    case WalkthroughLine::Kind::added: return QLatin1String("added");
    case WalkthroughLine::Kind::context: return QLatin1String("context");
    case WalkthroughLine::Kind::gap: return QLatin1String("gap");
    case WalkthroughLine::Kind::blank: break;
    }
    return QLatin1String("blank");
}

QJsonArray stagesOf(const EpisodePlan& plan) {
    QJsonArray stages;
    for (const WalkthroughStage& stage : plan.stages()) {
        QJsonArray pages;
        for (const WalkthroughPage& page : stage.pages) {
            QJsonArray lines;
            for (const WalkthroughLine& line : page.lines)
                lines.append(QJsonObject{{"kind", nameOf(line.kind)}, {"text", asQString(line.text)}});
            pages.append(QJsonObject{{"caption", asQString(page.caption)}, {"lines", lines}});
        }
        stages.append(QJsonObject{{"number", qint64(stage.number)},
                                  {"title", asQString(stage.title)},
                                  {"summary", asQString(stage.summary)},
                                  {"pages", pages}});
    }
    return stages;
}

QJsonArray variationsOf(const EpisodePlan& plan) {
    QJsonArray variations;
    for (const Variation& variation : plan.shownVariations()) {
        QJsonObject values;
        for (const auto& [name, value] : variation.values)
            values.insert(asQString(name), glasshob::parseDouble(glasshob::shortestText(value)).value_or(0));
        variations.append(QJsonObject{{"index", qint64(variation.index)},
                                      {"start", variation.start},
                                      {"values", values},
                                      {"highlights", asQString(variation.highlights)}});
    }
    return variations;
}

std::string padded(std::string text, std::size_t width, bool right = false) {
    if (text.size() >= width) return text;
    return right ? std::string(width - text.size(), ' ') + text : text + std::string(width - text.size(), ' ');
}

std::string thousands(std::int64_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3; at -= 3)
        digits.insert(at - 3, ",");
    return digits;
}

} // namespace

std::string episodeText(const EpisodePlan& plan) {
    std::string text = "Episode " + std::to_string(plan.meta().number) + ", " + plan.meta().title + ": " +
                       clockText(plan.seconds()) + ", " + thousands(plan.frameCount()) + " frames of " +
                       std::to_string(plan.frame().width) + "x" + std::to_string(plan.frame().height) + " at " +
                       std::to_string(plan.fps()) + " a second\n";
    for (const EpisodePart& part : plan.parts()) {
        text += "  " + padded(clockText(part.at), 7, true) + "  " + padded(std::string(rawValue(part.kind)), 9) + "  " +
                padded(glasshob::twoDecimals(float(part.seconds)) + " s", 8, true) + "  " + part.title;
        if (part.kind == EpisodePart::Kind::stage) {
            const std::size_t pages = plan.stages()[part.number].pages.size();
            text += pages == 1 ? " (1 page)" : " (" + std::to_string(pages) + " pages)";
        }
        if (part.kind == EpisodePart::Kind::variation)
            text += " (number " + std::to_string(plan.shownVariations()[part.number].index) + ")";
        text += '\n';
    }
    return text;
}

std::string episodeJson(const EpisodePlan& plan) {
    QJsonArray parts;
    for (const EpisodePart& part : plan.parts())
        parts.append(QJsonObject{{"kind", asQString(rawValue(part.kind))},
                                 {"title", asQString(part.title)},
                                 {"at", part.at},
                                 {"seconds", part.seconds}});
    const std::string chapters = plan.chapters().json();
    const QJsonObject object = {
        {"number", qint64(plan.meta().number)},
        {"title", asQString(plan.meta().title)},
        {"frames", qint64(plan.frameCount())},
        {"seconds", plan.seconds()},
        {"maxLines", qint64(plan.choices().pageLines.most)},
        {"pageSeconds", plan.choices().pageSeconds},
        {"parts", parts},
        {"chapters", QJsonDocument::fromJson(QByteArray(chapters.data(), qsizetype(chapters.size()))).object()},
        {"stages", stagesOf(plan)},
        {"variations", variationsOf(plan)},
    };
    return QJsonDocument(object).toJson(QJsonDocument::Indented).toStdString();
}

} // namespace hob
