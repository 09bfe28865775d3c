// How far the running export is: the share that is done, a bar, frames, the time taken and the time left. Main thread;
// owned by the export window.
#pragma once

#include "GlassHob/ui/controls/DialogParts.h"

#include <QTimer>

#include <functional>

namespace glasshob {

class AppModel;
class ProgressBar;

// Before a running export is cancelled by closing its window: `answer` hears whether it is to stop.
void askToStopExport(AppModel& model, std::function<void(bool)> answer);

// The name, the share and the times of the running export, over a hint of what may be done meanwhile.
class ExportFigures : public QWidget {
    Q_OBJECT
  public:
    ExportFigures(AppModel& model, const QString& hint, QWidget* parent);
    TextLine* percent() const { return percent_; }
    TextLine* frames() const { return frames_; }

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void follow();

    AppModel& model_;
    TextLine *heading_, *preset_, *percent_, *left_, *frames_, *taken_;
    ProgressBar* bar_;
    QTimer second_; // updates the times between reports
};

class ExportProgress : public DialogPage {
    Q_OBJECT
  public:
    ExportProgress(AppModel& model, QWidget* parent);
    void focusFirst();
    TextButton* cancelButton() const { return cancel_; }
    TextLine* percent() const { return figures_->percent(); }
    TextLine* frames() const { return figures_->frames(); }

  signals:
    void cancelled();

  private:
    ExportFigures* figures_;
    TextButton* cancel_;
};

} // namespace glasshob
