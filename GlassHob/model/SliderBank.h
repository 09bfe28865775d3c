// The slider values of the shader that runs, and the defaults that it declares. Exactly the declared names have values,
// each inside its range. A plain value; main thread.
#pragma once

#include "GlassHobCore/shader/Params.h"

#include <string>
#include <vector>

namespace glasshob {

class SliderBank {
  public:
    const SliderValues& values() const { return values_; }
    const SliderValues& declaredDefaults() const { return defaults_; }

    // Positions of an earlier session, for sliders that the next program declares with the same default.
    void restore(SliderValues values, SliderValues defaults);

    // Takes the declarations of a new program: a value stays, clamped into the new range, while its default is the one
    // that it was; otherwise it is the new default.
    void carryOver(const std::vector<ParamDecl>& params);

    // Clamps. False when nothing changes: the name is not declared, the value is not finite or the same.
    bool set(const std::string& name, float value);
    bool resetAll();
    int changedCount() const;

  private:
    std::vector<ParamDecl> params_;
    SliderValues values_;
    SliderValues defaults_;
    SliderValues restoredValues_, restoredDefaults_;
};

} // namespace glasshob
