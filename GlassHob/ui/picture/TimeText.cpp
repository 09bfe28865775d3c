#include "GlassHob/ui/picture/TimeText.h"

#include <QCoreApplication>
#include <QLocale>
#include <QStringList>

#include <cmath>

namespace glasshob {

namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("TimeText", text);
}

} // namespace

QString timeText(double seconds) {
    return translated("%1 s").arg(QString::number(seconds, 'f', 1));
}

QString lengthText(double seconds) {
    if (seconds >= 3600) return translated("%1 h").arg(std::lround(seconds / 3600));
    if (seconds >= 120) return translated("%1 min").arg(std::lround(seconds / 60));
    return translated("%1 s").arg(std::lround(seconds));
}

QString speedText(double speed) {
    return speed == 0.5 ? QStringLiteral("½×") : QStringLiteral("%1×").arg(speed);
}

std::optional<double> typedTime(const QString& text) {
    QString plain = text.trimmed().replace(u',', u'.');
    if (plain.endsWith(u's')) plain = plain.chopped(1).trimmed();
    const QStringList parts = plain.split(u':');
    if (parts.size() > 3) return std::nullopt;
    double seconds = 0;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        bool isNumber = false;
        const bool isLast = i + 1 == parts.size();
        const double part = isLast ? QLocale::c().toDouble(parts[i], &isNumber) : parts[i].toUInt(&isNumber);
        // Minutes and seconds behind a colon end at 59.
        if (!isNumber || !std::isfinite(part) || part < 0 || (i > 0 && part >= 60)) return std::nullopt;
        seconds = seconds * 60 + part;
    }
    return seconds;
}

} // namespace glasshob
