// Whether the main window may close: an export that runs and edits that are not saved are asked about, one after the
// other, and an export that is given up has a moment to end. Main thread; owned by the window.
#pragma once

#include "GlassHob/model/Delay.h"

#include <QObject>

class QWidget;

namespace glasshob {

class AppModel;

class CloseGuard : public QObject {
    Q_OBJECT
  public:
    CloseGuard(AppModel& model, QWidget* window, std::unique_ptr<Delay> patience = std::make_unique<TimerDelay>());

    // False while there is something to ask or to wait for; closes the window itself when that is done.
    bool mayClose();

  private:
    void askAboutExport();
    void askAboutEdits();
    void goOn();

    AppModel& model_;
    QWidget* window_;
    std::unique_ptr<Delay> patience_;
    bool isAsking_ = false;
    bool exportMayStop_ = false;
    bool editsMayGo_ = false;
    bool hasWaited_ = false;
};

} // namespace glasshob
