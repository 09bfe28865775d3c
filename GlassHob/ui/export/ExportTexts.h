// What the export window says in numbers, and how it reads the seconds that are typed. Without a widget; main thread,
// since texts are translated.
#pragma once

#include "GlassHobCore/shader/ExportFormats.h"
#include "GlassHobCore/shader/ExportPreset.h"

#include <QString>

#include <cstdint>
#include <expected>

namespace glasshob {
struct ExportOrder;
}

namespace glasshob::exportTexts {

// "H.264 · 5 Mbit/s", or what the format makes of the preset.
QString encoding(const ExportPreset& preset, ExportFormat format = ExportFormat::mp4);
// "600 frames with sound, about 7 MB"; a size only where the format lets it be foreseen.
QString foreseen(const ExportPlan& plan, bool hasSound, ExportFormat format = ExportFormat::mp4);
// The file's name, or the folder's.
QString nameOfResult(const QString& path);
// "The video is ready" and "The video was not made", whatever it is.
QString ready(const ExportOrder& order);
QString notMade(const ExportOrder& order);
// "14,880"
QString count(std::int64_t number);
// "4:08", "1:02:05": where in a video, or how long it is.
QString place(double seconds);
// "About 14 seconds left"
QString timeLeft(double seconds);
// "00:22", "1:02:03"
QString clock(double seconds);
// "4.5 s", "1 min 30 s"
QString length(double seconds);
// "20 seconds", "1 second", "2.5 seconds"
QString spokenLength(double seconds);
// "6.6 MB"
QString size(double bytes);
// What a finished export is: "10 s · 6.6 MB · took 4.2 s", after its length and with the seconds that it took.
QString result(const QString& length, double bytes, double taken);

// As a field shows them: "10.0".
QString seconds(double value);
// Seconds a page of a walkthrough.
std::expected<double, QString> readPageSeconds(const QString& text);
// A decimal point or comma. The error is a sentence to stand under the field.
std::expected<double, QString> readStart(const QString& text);
std::expected<double, QString> readDuration(const QString& text);
// Pixels, and frames a second that the sound's rate is a multiple of.
std::expected<std::int64_t, QString> readSide(const QString& text);
std::expected<std::int64_t, QString> readRate(const QString& text, ExportFormat format);

} // namespace glasshob::exportTexts
