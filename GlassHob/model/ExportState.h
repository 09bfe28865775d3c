// How far the running export is, what the person has chosen for it, and the flag that stops it. Values; main thread,
// except for the flag.
#pragma once

#include "GlassHobCore/shader/ExportFormats.h"
#include "GlassHobCore/shader/ExportPreset.h"

#include <QString>

#include <cstdint>
#include <mutex>
#include <stop_token>
#include <string>
#include <variant>

namespace glasshob {

struct ExportIdle {
    bool operator==(const ExportIdle&) const = default;
};
// Frames written, and frames in all; of sound alone, seconds.
struct ExportRunning {
    std::int64_t done = 0;
    std::int64_t total = 0;
    bool operator==(const ExportRunning&) const = default;
};
struct ExportFinished {
    QString path;
    bool operator==(const ExportFinished&) const = default;
};
struct ExportFailed {
    QString message;
    bool operator==(const ExportFailed&) const = default;
};
using ExportState = std::variant<ExportIdle, ExportRunning, ExportFinished, ExportFailed>;

struct ExportChoices {
    // The id of a size and rate of the person's own instead of a preset's.
    static constexpr const char* ownId = "own";

    std::string presetId = ExportPreset::web().id;
    // Seconds.
    double start = 0;
    double duration = 10;
    bool watermark = true;
    ExportFormat format = ExportFormat::mp4;
    // What counts under ownId.
    std::int64_t ownWidth = 1080;
    std::int64_t ownHeight = 1080;
    std::int64_t ownFps = 30;
    bool operator==(const ExportChoices&) const = default;

    // An id that the table lacks counts as the first choice.
    ExportPreset preset() const {
        if (presetId == ownId) return ownPreset();
        const ExportPreset* found = ExportPreset::find(presetId);
        return found ? *found : ExportPreset::web();
    }
    ExportPreset ownPreset() const;
    // What the format makes of them.
    ExportPlan plan() const { return ExportPlan(ExportFormats::fitted(preset(), format), start, duration); }
};

// Set on the main thread, read by the export's.
class CancelFlag {
  public:
    bool value() const {
        const std::lock_guard lock(mutex_);
        return stop_.stop_requested();
    }
    void set(bool value) {
        const std::lock_guard lock(mutex_);
        if (value)
            stop_.request_stop();
        else if (stop_.stop_requested())
            stop_ = std::stop_source();
    }
    // Requested when the flag is set, for work between frames.
    std::stop_token token() const {
        const std::lock_guard lock(mutex_);
        return stop_.get_token();
    }

  private:
    mutable std::mutex mutex_;
    std::stop_source stop_;
};

} // namespace glasshob
