#include "GlassHob/ui/picture/PreviewResolution.h"

#include <QCoreApplication>

namespace glasshob {

namespace {

constexpr double longestFrame = 1.0 / 30; // seconds
// Twice the side is four times the work at most, and some room so that it does not go back and forth.
constexpr double growth = 4 * 1.25;
// What a choice is made from.
constexpr int leastFrames = 3;
constexpr double leastSeconds = 0.25;
// A driver may compile at the first frame of a program.
constexpr int framesToSkip = 2;
constexpr int largestDivisor = 4;

} // namespace

QString titleOf(PreviewResolution resolution) {
    switch (resolution) {
    case PreviewResolution::full: return QCoreApplication::translate("PreviewResolution", "Full");
    case PreviewResolution::half: return QCoreApplication::translate("PreviewResolution", "Half");
    case PreviewResolution::quarter: return QCoreApplication::translate("PreviewResolution", "Quarter");
    case PreviewResolution::automatic: break;
    }
    return QCoreApplication::translate("PreviewResolution", "Automatic");
}

QString rawValue(PreviewResolution resolution) {
    switch (resolution) {
    case PreviewResolution::full: return QStringLiteral("full");
    case PreviewResolution::half: return QStringLiteral("half");
    case PreviewResolution::quarter: return QStringLiteral("quarter");
    case PreviewResolution::automatic: break;
    }
    return QStringLiteral("automatic");
}

PreviewResolution previewResolution(const QString& wanted) {
    for (const PreviewResolution resolution : previewResolutions)
        if (rawValue(resolution) == wanted) return resolution;
    return PreviewResolution::full;
}

void AutomaticResolution::add(double seconds) {
    if (skipped_ < framesToSkip) {
        ++skipped_;
        return;
    }
    ++frames_;
    seconds_ += seconds;
    if (frames_ < leastFrames || seconds_ < leastSeconds) return;
    const double mean = seconds_ / frames_;
    if (mean > longestFrame && divisor_ < largestDivisor)
        setDivisor(divisor_ * 2);
    else if (divisor_ > 1 && mean * growth < longestFrame)
        setDivisor(divisor_ / 2);
    frames_ = 0;
    seconds_ = 0;
}

void AutomaticResolution::setDivisor(int divisor) {
    divisor_ = divisor;
    forget();
}

void AutomaticResolution::forget() {
    skipped_ = 0;
    frames_ = 0;
    seconds_ = 0;
}

} // namespace glasshob
