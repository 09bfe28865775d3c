#pragma once

// The longest and the latest stretch of shader time that is taken for a video, in seconds. A shader's time is a float:
// a day from its start, neighbouring moments are 8 milliseconds apart, half a frame. Constants; any thread.

namespace glasshob::ExportLimits {

inline constexpr double latestStart = 24.0 * 3600;
inline constexpr double longestDuration = 3.0 * 3600;

} // namespace glasshob::ExportLimits
