#include "GlassHob/ui/walkthrough/WalkthroughTexts.h"

#include "GlassHobCore/text/Numbers.h"
#include "GlassHobCore/text/Text.h"

#include <QCoreApplication>

#include <cmath>

namespace glasshob::walkthroughTexts {

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("walkthroughTexts", text);
}

// "1 page", "6 pages"
QString counted(std::size_t count, const char* one, const char* several) {
    return count == 1 ? tr(one) : tr(several).arg(count);
}

// Seconds without zeros at the end: "10", "7.5".
QString seconds(double value) {
    return QString::number(std::round(value * 100) / 100);
}

} // namespace

QStringList warnings(const PageFit& fit) {
    QStringList all;
    if (fit.cutLines == 1) all << tr("1 line is cut at the end");
    if (fit.cutLines > 1) all << tr("%1 lines are cut at the end").arg(fit.cutLines);
    if (fit.isCaptionCut && fit.captionLines == 1) all << tr("The caption is cut: it fits 1 line here");
    if (fit.isCaptionCut && fit.captionLines != 1)
        all << tr("The caption is cut: it fits %1 lines here").arg(fit.captionLines);
    if (fit.wrappedLines == 1) all << tr("1 line is wrapped: more than %1 columns at this size").arg(fit.columns);
    if (fit.wrappedLines > 1)
        all << tr("%1 lines are wrapped: more than %2 columns at this size").arg(fit.wrappedLines).arg(fit.columns);
    return all;
}

QString facts(const PageFit& fit, bool hasCaption) {
    const QString caption = !hasCaption ? tr("no caption") : fit.isCaptionCut ? tr("caption cut") : tr("caption fits");
    return tr("%1 · code size %2 · %3")
        .arg(counted(std::size_t(fit.lines), "1 line", "%1 lines"))
        .arg(fit.codeSize)
        .arg(caption);
}

QString lineCount(const WalkthroughPage& page) {
    return counted(page.lines.size(), "1 line", "%1 lines");
}

QString place(const std::vector<WalkthroughStage>& stages, std::size_t stage, std::size_t page) {
    return tr("Stage %1 of %2, page %3 of %4")
        .arg(stage + 1)
        .arg(stages.size())
        .arg(page + 1)
        .arg(stages.at(stage).pages.size());
}

QString summary(const std::vector<WalkthroughStage>& stages, double pageSeconds) {
    std::size_t pages = 0;
    for (const WalkthroughStage& stage : stages)
        pages += stage.pages.size();
    const QString pace = pageSeconds == 1 ? tr("1 second a page") : tr("%1 seconds a page").arg(seconds(pageSeconds));
    return tr("%1, %2, %3 at %4")
        .arg(counted(stages.size(), "1 stage", "%1 stages"), counted(pages, "1 page", "%1 pages"),
             QString::fromStdString(clockText(double(pages) * pageSeconds)), pace);
}

QString spoken(const WalkthroughStage& stage, const WalkthroughPage& page) {
    QStringList parts;
    const QString caption = asQString(page.caption.empty() ? stage.summary : page.caption);
    if (!caption.isEmpty()) parts << caption;
    for (const WalkthroughLine& line : page.lines) {
        const QString text = asQString(line.text).trimmed();
        if (line.kind == WalkthroughLine::Kind::added) parts << tr("added %1").arg(text);
        if (line.kind == WalkthroughLine::Kind::context) parts << text;
        if (line.kind == WalkthroughLine::Kind::gap) parts << tr("lines left out");
    }
    return parts.join(u'\n');
}

} // namespace glasshob::walkthroughTexts
