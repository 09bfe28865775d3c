#include "GlassHob/ui/export/ExportTexts.h"

#include "GlassHob/model/ExportJob.h"
#include "GlassHobCore/shader/ExportLimits.h"
#include "GlassHobCore/text/Numbers.h"
#include "GlassHobRender/episode/EpisodeLook.h"
#include "GlassHobRender/formats/MovieWriter.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>

#include <cmath>

namespace glasshob::exportTexts {

namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("glasshob::Export", text);
}

// Without an exponent and without zeros that say nothing.
QString decimal(double value, int places) {
    QString text = QString::number(value, 'f', places);
    while (text.contains(u'.') && (text.endsWith(u'0') || text.endsWith(u'.')))
        text.chop(1);
    return text;
}

std::expected<double, QString> readSeconds(const QString& text) {
    QString number = text.trimmed();
    number.replace(u',', u'.');
    if (number.isEmpty()) return std::unexpected(translated("Type a number of seconds, such as 4.5."));
    static const QRegularExpression plain(QStringLiteral("^[+-]?(\\d+\\.?\\d*|\\.\\d+)$"));
    const auto value = plain.match(number).hasMatch() ? parseDouble(number.toStdString()) : std::nullopt;
    if (!value || !std::isfinite(*value))
        return std::unexpected(translated("This is not a number of seconds: type one such as 4.5."));
    return *value;
}

} // namespace

QString encoding(const ExportPreset& preset, ExportFormat format) {
    const ExportFormatEntry& entry = ExportFormats::entry(format);
    if (format == ExportFormat::gif && preset.fps > entry.mostFps)
        return translated("256 colors · %1 frames a second").arg(entry.mostFps);
    if (format == ExportFormat::gif) return translated("256 colors");
    if (!entry.isMovie) return translated("One file a frame");
    const QString codec = format == ExportFormat::webm       ? QStringLiteral("VP9")
                          : preset.codec == VideoCodec::hevc ? QStringLiteral("HEVC")
                                                             : QStringLiteral("H.264");
    return translated("%1 · %2 Mbit/s").arg(codec, decimal(double(preset.bitrate) / 1e6, 1));
}

QString foreseen(const ExportPlan& plan, bool hasSound, ExportFormat format) {
    const ExportFormatEntry& entry = ExportFormats::entry(format);
    const std::int64_t frames = plan.frameCount();
    const double seconds = entry.hasPictures ? double(frames) / double(plan.preset.fps) : plan.duration;
    const double bits = (entry.isMovie ? double(plan.preset.bitrate) : 0) +
                        (hasSound && entry.hasSound ? double(entry.soundBitrate) : 0);
    const double bytes = seconds * bits / 8;
    const QString about = bytes < 0.95e6    ? translated("%1 kB").arg(std::ceil(bytes / 1e5) * 100)
                          : bytes < 999.5e6 ? translated("%1 MB").arg(std::round(bytes / 1e6))
                                            : translated("%1 GB").arg(decimal(bytes / 1e9, 1));
    if (!entry.hasPictures)
        return hasSound ? translated("%1 of sound, about %2").arg(length(seconds), about)
                        : translated("The shader has no sound");
    if (!entry.isMovie) return frames == 1 ? translated("1 frame") : translated("%1 frames").arg(count(frames));
    if (frames == 1)
        return (hasSound ? translated("1 frame with sound, about %1") : translated("1 frame, about %1")).arg(about);
    return (hasSound ? translated("%1 frames with sound, about %2") : translated("%1 frames, about %2"))
        .arg(count(frames), about);
}

QString nameOfResult(const QString& path) {
    return QFileInfo(path.endsWith(u'/') ? path.chopped(1) : path).fileName();
}

QString ready(const ExportOrder& order) {
    if (order.episode) return translated("The episode is ready");
    if (order.format == ExportFormat::wav) return translated("The sound is ready");
    if (order.format == ExportFormat::pngs) return translated("The pictures are ready");
    return translated("The video is ready");
}

QString notMade(const ExportOrder& order) {
    if (order.episode) return translated("The episode was not made");
    if (order.format == ExportFormat::wav) return translated("The sound was not made");
    if (order.format == ExportFormat::pngs) return translated("The pictures were not made");
    return translated("The video was not made");
}

QString count(std::int64_t number) {
    return QLocale(QLocale::English).toString(qlonglong(number));
}

QString place(double seconds) {
    return QString::fromStdString(clockText(seconds));
}

QString timeLeft(double seconds) {
    if (seconds < 5) return translated("Less than 5 seconds left");
    if (seconds < 59.5) return translated("About %1 seconds left").arg(std::round(seconds));
    if (seconds < 90) return translated("About 1 minute left");
    if (seconds < 59.5 * 60) return translated("About %1 minutes left").arg(std::round(seconds / 60));
    if (seconds < 90 * 60) return translated("About 1 hour left");
    return translated("About %1 hours left").arg(std::round(seconds / 3600));
}

QString clock(double seconds) {
    const auto whole = std::int64_t(seconds);
    const QString rest =
        QStringLiteral("%1:%2").arg(whole / 60 % 60, 2, 10, QLatin1Char('0')).arg(whole % 60, 2, 10, QLatin1Char('0'));
    return whole < 3600 ? rest : QStringLiteral("%1:%2").arg(whole / 3600).arg(rest);
}

QString length(double seconds) {
    if (seconds < 60) return translated("%1 s").arg(decimal(seconds, seconds < 10 ? 2 : 1));
    const auto whole = std::int64_t(std::llround(seconds));
    const std::int64_t hours = whole / 3600, minutes = whole / 60 % 60, rest = whole % 60;
    if (hours > 0)
        return minutes > 0 ? translated("%1 h %2 min").arg(hours).arg(minutes) : translated("%1 h").arg(hours);
    return rest > 0 ? translated("%1 min %2 s").arg(minutes).arg(rest) : translated("%1 min").arg(minutes);
}

QString spokenLength(double seconds) {
    return seconds == 1 ? translated("1 second") : translated("%1 seconds").arg(decimal(seconds, 2));
}

QString size(double bytes) {
    if (bytes < 999.5e3) return translated("%1 kB").arg(std::max(1.0, std::round(bytes / 1e3)));
    if (bytes < 999.95e6) return translated("%1 MB").arg(decimal(bytes / 1e6, 1));
    return translated("%1 GB").arg(decimal(bytes / 1e9, 2));
}

QString result(const QString& length, double bytes, double taken) {
    const double rounded = taken < 10 ? std::round(taken * 10) / 10 : std::round(taken);
    return translated("%1 · %2 · took %3").arg(length, size(bytes), exportTexts::length(rounded));
}

QString seconds(double value) {
    const QString text = decimal(value, 6);
    return text.contains(u'.') ? text : text + QStringLiteral(".0");
}

std::expected<double, QString> readStart(const QString& text) {
    const auto value = readSeconds(text);
    if (!value) return value;
    if (*value < 0) return std::unexpected(translated("A shader's time begins at 0: type a start of 0 or more."));
    if (*value > ExportLimits::latestStart)
        return std::unexpected(
            translated("The start can lie at most %1 seconds in.").arg(ExportLimits::latestStart, 0, 'f', 0));
    return *value + 0.0; // no negative zero
}

std::expected<double, QString> readDuration(const QString& text) {
    const auto value = readSeconds(text);
    if (!value) return value;
    if (*value <= 0) return std::unexpected(translated("There would be nothing to see: type a duration above 0."));
    if (*value > ExportLimits::longestDuration)
        return std::unexpected(translated("A video can be at most %1 long, which is %2 seconds.")
                                   .arg(length(ExportLimits::longestDuration))
                                   .arg(ExportLimits::longestDuration, 0, 'f', 0));
    return value;
}

std::expected<double, QString> readPageSeconds(const QString& text) {
    const auto value = readSeconds(text);
    if (!value || *value < episodeLook::leastPageSeconds || *value > episodeLook::mostPageSeconds)
        return std::unexpected(translated("A page is seen for %1 to %2 seconds.")
                                   .arg(episodeLook::leastPageSeconds)
                                   .arg(episodeLook::mostPageSeconds));
    return *value;
}

std::expected<std::int64_t, QString> readSide(const QString& text) {
    constexpr std::int64_t least = 16;
    const std::int64_t most = ExportFormats::entry(ExportFormat::mp4).longestSide;
    const auto value = parseInteger(text.trimmed().toStdString());
    if (!value || *value < least || *value > most)
        return std::unexpected(translated("Each side has %1 to %2 pixels.").arg(least).arg(most));
    return *value;
}

std::expected<std::int64_t, QString> readRate(const QString& text, ExportFormat format) {
    const std::int64_t most = ExportFormats::entry(format).mostFps;
    const auto value = parseInteger(text.trimmed().toStdString());
    if (!value || *value < 1 || *value > most || AudioSettings::sampleRate % *value != 0)
        return std::unexpected(
            translated("Type a number of frames a second that 48000 can be divided by, up to %1: 24, 25, 30 or 50.")
                .arg(most));
    return *value;
}

} // namespace glasshob::exportTexts
