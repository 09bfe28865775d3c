// What the export window says in numbers, and how it reads the seconds that are typed. Without a widget; main thread,
// since texts are translated.
#pragma once

#include "GlassHobCore/shader/ExportPreset.h"

#include <QString>

#include <expected>

namespace glasshob::exportTexts {

// "H.264 · 5 Mbit/s"
QString encoding(const ExportPreset& preset);
// "600 frames with sound, about 7 MB"
QString foreseen(const ExportPlan& plan, bool hasSound);
// "About 14 seconds left"
QString timeLeft(double seconds);
// "00:22", "1:02:03"
QString clock(double seconds);
// "4.5 s", "1 min 30 s"
QString length(double seconds);
// "6.6 MB"
QString size(double bytes);

// As a field shows them: "10.0".
QString seconds(double value);
// A decimal point or comma. The error is a sentence to stand under the field.
std::expected<double, QString> readStart(const QString& text);
std::expected<double, QString> readDuration(const QString& text);

} // namespace glasshob::exportTexts
