// The line at the bottom of the window: how the shader fares at the left; a download that is under way, sliders or
// errors and the caret's place at the right. The sign and its text change at once. Main thread.
#pragma once

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/controls/Controls.h"

#include <QTimer>

namespace glasshob {

class StatusLine : public FilledPane {
    Q_OBJECT
  public:
    StatusLine(AppModel& model, QWidget* parent);
    // Says something done for a few seconds, or until the state changes.
    void tell(const QString& sentence);
    void setCaret(int line, int column);
    // Shown in place of the caret while there is no editor.
    void setDrawnSize(const QSize& size);
    void setShowsEditor(bool shows);

  private:
    void follow();
    void followDownload();

    class Sign;
    AppModel& model_;
    Sign* sign_;
    TextLine* text_;
    TextLine* download_;
    ToolButton* cancelDownload_;
    TextLine* count_;
    TextLine* place_;
    QString caret_, drawnSize_;
    QTimer told_;
    bool showsEditor_ = true;
    AppModel::State announced_ = AppModel::State::empty;
};

} // namespace glasshob
