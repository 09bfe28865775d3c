// The window in which a still is saved: its size, which is its own and is kept; then what was saved, and where. The
// still is of the moment at which the window opened. Not modal. Main thread; deletes itself when it is closed.
#pragma once

#include "GlassHob/model/StillSaver.h"

#include "GlassHob/ui/controls/PageDialog.h"

namespace glasshob {

class DialogPage;
class FieldMessage;
class OwnPicture;
class ResultPage;
class TextButton;
class TextLine;

class StillWindow : public PageDialog {
    Q_OBJECT
  public:
    StillWindow(AppModel& model, StillRequest moment, QWidget* parent);

    // The fields are taken as they are, unless one is refused; then where to put the still is asked.
    void submit();

    OwnPicture* picture() const { return picture_; }
    FieldMessage* message() const { return message_; }
    ResultPage* result() const { return result_; }

  protected:
    void press(bool isForced) override;

  private:
    bool check(bool all);
    void tellSaved(const SavedStill& still);

    AppModel& model_;
    StillRequest moment_;
    DialogPage* form_;
    OwnPicture* picture_;
    FieldMessage* message_;
    TextButton *cancel_, *save_;
    ResultPage* result_;
};

} // namespace glasshob
