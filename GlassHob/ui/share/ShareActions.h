// The command that shares the shader: opens the one sheet for it, and the sheet again when the person has gone to sign
// in first. Main thread; owned by the main window.
#pragma once

#include "GlassHobOnline/ShareModel.h"

#include <QObject>
#include <QPointer>

class QAction;
class QWidget;

namespace glasshob {

class AppModel;
class ShareSheet;

class ShareActions : public QObject {
    Q_OBJECT
  public:
    ShareActions(AppModel& model, QWidget* mainWindow);
    ~ShareActions() override;

    QAction* share;
    // What renders in place of the real one; set before the first sheet.
    ShareModel::Surroundings::Renderer renderer;
    // Nothing for a shader that waits for Run.
    void open();
    // Null while it is closed.
    ShareSheet* sheet() const;

  private:
    void follow();
    void followSheet();

    AppModel& model_;
    QWidget* mainWindow_;
    QPointer<ShareSheet> sheet_;
    bool waitsForSignIn_ = false;
};

} // namespace glasshob
