// The bar under the picture: whether a stretch is repeated, the line of time, how long that is, and how fast the clock
// runs. It shows the model's clock and sets it. Main thread; owned by the pane.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

namespace glasshob {

class AppModel;
class MenuButton;
class PictureActions;
class TimeTrack;

class TimeBar : public FilledPane {
    Q_OBJECT
  public:
    TimeBar(AppModel& model, const PictureActions& actions, QWidget* parent);
    TimeTrack* track() const { return track_; }

  private:
    void follow();

    AppModel& model_;
    TimeTrack* track_;
    TextLine* length_;
    MenuButton* speed_;
    bool wasRunning_ = false; // before the knob was held
};

} // namespace glasshob
