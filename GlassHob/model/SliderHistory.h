// What can be undone of the sliders, apart from the text: each step holds the values from before it. A drag or a run of
// keys on one slider is one step, until endStep(). Plain value; main thread.
#pragma once

#include "GlassHobCore/shader/Params.h"

#include <optional>
#include <string>
#include <vector>

namespace glasshob {

class SliderHistory {
  public:
    // `name` is about to change, or several sliders when it is empty.
    void note(const SliderValues& before, const std::string& name);
    void endStep() { openStep_.clear(); }
    void clear();

    bool canUndo() const { return !undo_.empty(); }
    bool canRedo() const { return !redo_.empty(); }
    // The values to go back to, or forward; nothing when there is no step. `now` is what the other direction gives.
    std::optional<SliderValues> undo(const SliderValues& now) { return step(undo_, redo_, now); }
    std::optional<SliderValues> redo(const SliderValues& now) { return step(redo_, undo_, now); }

  private:
    using Steps = std::vector<SliderValues>;
    std::optional<SliderValues> step(Steps& from, Steps& to, const SliderValues& now);

    Steps undo_, redo_;
    std::string openStep_; // the slider whose changes still belong to the last step
};

} // namespace glasshob
