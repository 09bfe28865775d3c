// The window in which a video is exported: the form, the running export, and how it has ended. It follows the model's
// export state. Not modal: editing continues during an export. Closed while an export runs it asks once, and cancels
// it. Main thread; deletes itself when it is closed.
#pragma once

#include <QDialog>

namespace glasshob {

class AppModel;
class DialogPage;
class ExportFailedPage;
class ExportFinishedPage;
class ExportForm;
class ExportPicture;
class ExportProgress;
class StartStill;

class ExportWindow : public QDialog {
    Q_OBJECT
  public:
    // `still` outlives the window.
    ExportWindow(AppModel& model, StartStill& still, QWidget* parent);
    ~ExportWindow() override;

    // Before the other windows, with the keyboard.
    void comeForward();
    void reject() override;

    ExportForm* form() const { return form_; }
    ExportProgress* progress() const { return progress_; }
    ExportFinishedPage* finished() const { return finished_; }
    ExportFailedPage* failed() const { return failed_; }
    ExportPicture* picture() const { return picture_; }

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    // The export: not an episode's.
    bool isMine() const;
    void follow();
    void followPicture();
    void showPage(DialogPage* page);
    // The picture gives way first, then the page scrolls.
    void fitScreen();

    AppModel& model_;
    StartStill& still_;
    ExportPicture* picture_;
    ExportForm* form_;
    ExportProgress* progress_;
    ExportFinishedPage* finished_;
    ExportFailedPage* failed_;
    DialogPage* page_ = nullptr;
    bool asksAboutClosing_ = false;
};

} // namespace glasshob
