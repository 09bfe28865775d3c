#include "GlassHob/ui/controls/Fonts.h"

#include "GlassHobRender/paint/PaintFonts.h"

#include <QGuiApplication>
#include <QScreen>

#include <cmath>
#include <map>

namespace glasshob::fonts {

namespace {

void setLogicalPixels(QFont& font, double pixels) {
    // QFont takes whole pixels only; half sizes go in as points at the screen's logical resolution.
    if (pixels == std::floor(pixels)) {
        font.setPixelSize(int(pixels));
        return;
    }
    const QScreen* screen = QGuiApplication::primaryScreen();
    const double dotsPerInch = screen ? screen->logicalDotsPerInchY() : 96.0;
    font.setPointSizeF(pixels * 72.0 / dotsPerInch);
}

} // namespace

QFont ui(double pixels, QFont::Weight weight) {
    QFont font(QString::fromLatin1(paintFonts::wordFamily));
    font.setStyleHint(QFont::SansSerif);
    font.setWeight(weight);
    setLogicalPixels(font, pixels);
    return font;
}

QFont mono(double pixels, QFont::Weight weight) {
    // A copy shares what the first one has looked up.
    static std::map<std::pair<double, int>, QFont> made;
    const auto [at, isNew] = made.try_emplace({pixels, int(weight)});
    if (isNew) {
        QFont& font = at->second;
        font.setFamily(QString::fromLatin1(paintFonts::codeFamily));
        // Without shaping there are no ligatures, and every cell keeps its width.
        font.setStyleHint(QFont::Monospace, QFont::PreferNoShaping);
        font.setFixedPitch(true);
        font.setWeight(weight);
        setLogicalPixels(font, pixels);
    }
    return at->second;
}

QFont dialogHeading() {
    QFont font = ui(17, QFont::Bold);
    font.setLetterSpacing(QFont::PercentageSpacing, 99);
    return font;
}

QFont figure() {
    QFont font = ui(32, QFont::Bold);
    font.setLetterSpacing(QFont::PercentageSpacing, 98);
    return font;
}

} // namespace glasshob::fonts
