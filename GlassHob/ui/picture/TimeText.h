// Shader time as people read and type it. Any thread.
#pragma once

#include <QString>

#include <optional>

namespace glasshob {

// "11.7 s"
QString timeText(double seconds);
// "10 s", "5 min", "1 h"; of a round figure
QString lengthText(double seconds);
// "½×", "1×", "2×"
QString speedText(double speed);
// Seconds from "12.5", "12,5 s", "1:05" or "1:02:03.5"; nothing when it is none of these or not from 0 on.
std::optional<double> typedTime(const QString& text);

} // namespace glasshob
