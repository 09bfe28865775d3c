// The positions of a document's sliders, kept on disk and brought back when it is opened again. They lie in a file of
// the same form as the presets, beside it; a slider whose default has changed since takes the new one.
//
// Main thread; a write blocks for as long as the disk takes. Nothing is ever reported, as with presets.
#pragma once

#include "GlassHob/model/Delay.h"
#include "GlassHob/model/PresetStore.h"

#include <functional>
#include <memory>

namespace glasshob {

class SliderMemory {
  public:
    struct Positions {
        SliderValues values, defaults;
    };

    // In the folder of `presets`. A change is written when `delay` elapses after the last one.
    SliderMemory(const PresetStore& presets, std::unique_ptr<Delay> delay);

    // Empty where nothing is kept under this key.
    Positions of(const QString& key) const;
    // The sliders of `key` have been moved: `positions` is asked when they are written.
    void moved(const QString& key, std::function<Positions()> positions);
    // Writes what still waits.
    void flush();

  private:
    PresetStore store_;
    std::unique_ptr<Delay> delay_;
    QString key_;
    std::function<Positions()> waiting_;
};

} // namespace glasshob
