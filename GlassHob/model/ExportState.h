// How far the running video export is, what the person has chosen for it, and the flag that stops it. Values; main
// thread, except for the flag.
#pragma once

#include "GlassHobCore/shader/ExportPreset.h"

#include <QString>

#include <cstdint>
#include <mutex>
#include <string>
#include <variant>

namespace glasshob {

struct ExportIdle {
    bool operator==(const ExportIdle&) const = default;
};
// Frames written, and frames in all.
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
    std::string presetId = ExportPreset::web().id;
    // Seconds.
    double start = 0;
    double duration = 10;
    bool watermark = true;
    bool operator==(const ExportChoices&) const = default;

    // An id that is none of the table's counts as the first choice.
    const ExportPreset& preset() const {
        const ExportPreset* found = ExportPreset::find(presetId);
        return found ? *found : ExportPreset::web();
    }
    ExportPlan plan() const { return ExportPlan(preset(), start, duration); }
};

// Set on the main thread, read by the export's.
class CancelFlag {
  public:
    bool value() const {
        const std::lock_guard lock(mutex_);
        return value_;
    }
    void set(bool value) {
        const std::lock_guard lock(mutex_);
        value_ = value;
    }

  private:
    mutable std::mutex mutex_;
    bool value_ = false;
};

} // namespace glasshob
