#include "GlassHob/model/ExportPace.h"

#include <algorithm>

namespace glasshob {

namespace {

constexpr double window = 3;    // seconds
constexpr double shownFrom = 2; // of the export
constexpr double apart = 0.05;  // reports that come closer take each other's place

} // namespace

void ExportPace::report(double now, std::int64_t done) {
    // What comes before the first frame, such as a simulation's run up to it, says nothing about frames.
    if (!reports_.empty() && reports_.back().done == 0) reports_.clear();
    if (!reports_.empty() && done <= reports_.back().done) return;
    if (reports_.size() >= 2 && now - reports_[reports_.size() - 2].time < apart) reports_.pop_back();
    reports_.push_back({now, done});
    while (reports_.size() > 2 && reports_[1].time <= now - window)
        reports_.pop_front();
}

std::optional<double> ExportPace::secondsLeft(double now, std::int64_t total) const {
    if (now - start_ < shownFrom || reports_.size() < 2) return std::nullopt;
    const Report& first = reports_.front();
    const Report& last = reports_.back();
    const double waiting = now - last.time;
    const std::int64_t frames = last.done - first.done;
    double perFrame = (last.time - first.time) / double(frames);
    // A frame that takes longer than the others counts with the time it has taken so far.
    if (waiting > perFrame) perFrame = (now - first.time) / double(frames + 1);
    return std::max(0.0, perFrame * double(total - last.done) - std::min(waiting, perFrame));
}

} // namespace glasshob
