// The window in which a video is exported, under the picture of its first, or newest, frame. Main thread; deletes
// itself when it is closed.
#pragma once

#include "GlassHob/ui/export/ExportDialog.h"

namespace glasshob {

class ExportFinishedPage;
class ExportForm;
class DialogPicture;
class ExportProgress;
class StartStill;

class ExportWindow : public ExportDialog {
    Q_OBJECT
  public:
    // `still` outlives the window.
    ExportWindow(AppModel& model, StartStill& still, QWidget* parent);
    ~ExportWindow() override;

    ExportForm* form() const { return form_; }
    ExportProgress* progress() const { return progress_; }
    ExportFinishedPage* finished() const { return finished_; }
    ExportFailedPage* failed() const { return failed_; }
    DialogPicture* picture() const { return picture_; }

  protected:
    using ExportDialog::isMine;
    bool isMine(const ExportOrder& order) const override;
    void prepare() override;
    // The picture gives way first, then the page scrolls.
    void fitScreen() override;
    void focusFirst() override;
    void submit() override;

  private:
    void followPicture();

    StartStill& still_;
    DialogPicture* picture_;
    ExportForm* form_;
    ExportProgress* progress_;
    ExportFinishedPage* finished_;
    ExportFailedPage* failed_;
};

} // namespace glasshob
