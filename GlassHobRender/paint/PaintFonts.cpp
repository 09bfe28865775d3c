#include "GlassHobRender/paint/PaintFonts.h"

#include <QFontDatabase>
#include <QGuiApplication>

#include <clocale>
#include <cstdio>

namespace glasshob {

namespace paintFonts {

namespace {

QFont forPictures(const char* family, int size, QFont::Weight weight) {
    QFont font(QString::fromLatin1(family));
    font.setPixelSize(size);
    font.setWeight(weight);
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

} // namespace

QFont words(int size, QFont::Weight weight) {
    QFont font = forPictures(wordFamily, size, weight);
    font.setStyleHint(QFont::SansSerif);
    return font;
}

QFont code(int size, QFont::Weight weight) {
    QFont font = forPictures(codeFamily, size, weight);
    font.setStyleHint(QFont::Monospace, QFont::PreferNoShaping);
    font.setFixedPitch(true);
    return font;
}

QStringList missing() {
    QStringList names;
    for (const char* family : {wordFamily, codeFamily})
        if (!QFontDatabase::hasFamily(QString::fromLatin1(family))) names += QString::fromLatin1(family);
    return names;
}

} // namespace paintFonts

TextPainting::TextPainting() {
    if (QCoreApplication::instance() != nullptr) return;
    // They must outlive the application. The platform is named here, before any that the environment asks for.
    static int count = 3;
    static char name[] = "glasshob", option[] = "-platform", platform[] = "offscreen";
    static char* words[] = {name, option, platform, nullptr};
    const std::string numbers = std::setlocale(LC_NUMERIC, nullptr);
    // What Qt has to say about a desktop is of no use here.
    const QtMessageHandler handler =
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& message) {
            if (type == QtFatalMsg) std::fprintf(stderr, "%s\n", qPrintable(message));
        });
    application_ = std::make_unique<QGuiApplication>(count, words);
    qInstallMessageHandler(handler);
    // Qt takes over the user's locale; numbers are written with a point all the same.
    std::setlocale(LC_NUMERIC, numbers.c_str());
}

TextPainting::~TextPainting() = default;

} // namespace glasshob
