// The window in which the video of the open document's episode is exported: its parts and chapters, with a picture of
// the one that is chosen. Main thread; deletes itself when it is closed.
#pragma once

#include "GlassHob/model/EpisodeStill.h"
#include "GlassHob/ui/export/ExportDialog.h"

#include <QImage>

namespace glasshob {

class EpisodeFinishedPage;
class EpisodeForm;
class EpisodeProgress;
class DialogPicture;

class EpisodeWindow : public ExportDialog {
    Q_OBJECT
  public:
    EpisodeWindow(AppModel& model, QWidget* parent);
    ~EpisodeWindow() override;

    EpisodeForm* form() const { return form_; }
    EpisodeProgress* progress() const { return progress_; }
    EpisodeFinishedPage* finished() const { return finished_; }
    ExportFailedPage* failed() const { return failed_; }
    // The strip over a finished export.
    DialogPicture* strip() const { return strip_; }

  signals:
    void previewAsked();
    void variationsAsked();

  protected:
    using ExportDialog::isMine;
    bool isMine(const ExportOrder& order) const override;
    void prepare() override;
    void fitScreen() override;
    void focusFirst() override;
    void submit() override;

  private:
    void start();
    void showChapter();
    void followStill();

    EpisodeStill still_;
    DialogPicture* strip_;
    EpisodeForm* form_;
    EpisodeProgress* progress_;
    EpisodeFinishedPage* finished_;
    ExportFailedPage* failed_;
    QImage card_; // of the export that runs, or has ended
};

} // namespace glasshob
