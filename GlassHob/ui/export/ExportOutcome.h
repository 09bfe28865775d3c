// How an export has ended: the video with what one does with it, or why there is none. Main thread; owned by the export
// window.
#pragma once

#include <QWidget>

namespace glasshob {

class AppModel;
class TextButton;
class TextLine;
class ToolButton;
class WrappedText;

class ExportFinishedPage : public QWidget {
    Q_OBJECT
  public:
    ExportFinishedPage(AppModel& model, QWidget* parent);
    TextLine* file() const { return file_; }
    TextLine* figures() const { return figures_; }
    ToolButton* copyPath() const { return copyPath_; }
    TextButton* play() const { return play_; }
    TextButton* done() const { return done_; }

  signals:
    void closed();

  private:
    void follow();

    AppModel& model_;
    QString path_;
    TextLine *file_, *figures_;
    ToolButton* copyPath_;
    TextButton *play_, *show_, *done_;
};

class ExportFailedPage : public QWidget {
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
    WrappedText* message_;
    TextButton *close_, *tryAgain_;
};

} // namespace glasshob
