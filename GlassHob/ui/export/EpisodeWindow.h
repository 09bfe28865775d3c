// The window in which an episode's video is exported: what it holds, how far it is, how it has ended. It follows the
// open document's episode and the model's export state. Not modal: editing continues during an export. Closed while its
// export runs it asks once, and cancels it. Main thread; deletes itself when it is closed.
#pragma once

#include "GlassHob/model/EpisodeStill.h"

#include <QDialog>
#include <QImage>

namespace glasshob {

class AppModel;
class EpisodeFinishedPage;
class EpisodeForm;
class EpisodeProgress;
class ExportFailedPage;
class ExportPicture;

class EpisodeWindow : public QDialog {
    Q_OBJECT
  public:
    EpisodeWindow(AppModel& model, QWidget* parent);
    ~EpisodeWindow() override;

    // Before the other windows, with the keyboard.
    void comeForward();
    void reject() override;

    EpisodeForm* form() const { return form_; }
    EpisodeProgress* progress() const { return progress_; }
    EpisodeFinishedPage* finished() const { return finished_; }
    ExportFailedPage* failed() const { return failed_; }
    // The strip over a finished export.
    ExportPicture* strip() const { return strip_; }

  signals:
    void previewAsked();
    void variationsAsked();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    bool isMine() const; // the export
    void follow();
    void showPage(QWidget* page);
    void fitScreen();
    void start();
    void showChapter();
    void followStill();

    AppModel& model_;
    EpisodeStill still_;
    ExportPicture* strip_;
    EpisodeForm* form_;
    EpisodeProgress* progress_;
    EpisodeFinishedPage* finished_;
    ExportFailedPage* failed_;
    QWidget* page_ = nullptr;
    QImage card_; // of the export that runs, or has ended
    bool asksAboutClosing_ = false;
};

} // namespace glasshob
