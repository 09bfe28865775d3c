// How an export has ended: the video with what one does with it, or why there is none. Main thread; owned by the export
// window.
#pragma once

#include "GlassHob/ui/controls/DialogParts.h"

class QVBoxLayout;

namespace glasshob {

class AppModel;
class Questions;

// What has been made, where it is, and the buttons that lead there.
class ResultPage : public DialogPage {
    Q_OBJECT
  public:
    // `questions` outlives the page.
    ResultPage(Questions& questions, QWidget* parent);
    // `companion` is the name of what was written beside it; empty when nothing was.
    void tell(const QString& heading, const QString& path, const QString& figures, const QString& companion = {});

    TextLine* heading() const { return heading_; }
    TextLine* file() const { return file_; }
    TextLine* companion() const { return companion_; }
    TextLine* figures() const { return figures_; }
    ToolButton* copyPath() const { return copyPath_; }
    TextButton* play() const { return play_; }
    TextButton* showInFolder() const { return show_; }
    TextButton* done() const { return done_; }

  signals:
    void closed();

  protected:
    void addUnderFigures(QWidget* part);

  private:
    QString path_;
    QVBoxLayout* text_;
    TextLine *heading_, *file_, *companion_, *figures_;
    ToolButton* copyPath_;
    TextButton *play_, *show_, *done_;
};

class ExportFinishedPage : public ResultPage {
    Q_OBJECT
  public:
    ExportFinishedPage(AppModel& model, QWidget* parent);

  private:
    void follow();

    AppModel& model_;
};

class ExportFailedPage : public DialogPage {
    Q_OBJECT
  public:
    ExportFailedPage(AppModel& model, QWidget* parent);
    WrappedText* message() const { return message_; }
    TextButton* tryAgain() const { return tryAgain_; }

  signals:
    void closed();

  private:
    void follow();

    AppModel& model_;
    TextLine* heading_;
    WrappedText* message_;
    TextButton *close_, *tryAgain_;
};

} // namespace glasshob
