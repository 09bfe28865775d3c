// The size that the picture is drawn at, in its strip: "728 × 400", with ", half" where it is shown larger. Pressed, it
// offers the others. Main thread; owned by its parent.
#pragma once

#include "GlassHob/ui/picture/MenuButton.h"

namespace glasshob {

class Canvas;

class ResolutionButton : public MenuButton {
    Q_OBJECT
  public:
    ResolutionButton(const Canvas& canvas, QMenu* menu, QWidget* parent);

  private:
    void follow();

    const Canvas& canvas_;
};

} // namespace glasshob
