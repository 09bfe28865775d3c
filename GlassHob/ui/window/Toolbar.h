// The bar under the menu: panes, files, the transport over the picture, and what can be made of it. Its buttons only
// trigger the window's actions. The transport follows the splitter line between editor and picture. Main thread.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

#include <QAction>

namespace glasshob {

class AppModel;
class TimeField;

class Toolbar : public FilledPane {
    Q_OBJECT
  public:
    struct Actions {
        QAction* showEditor;
        QAction* showInspector;
        QAction* newShader;
        QAction* open;
        QAction* save;
        QAction* backToStart;
        QAction* pauseOrPlay;
        QAction* stepFrame;
        QAction* hearSound;
        QAction* saveStill;
        QAction* exportVideo;
        QAction* share;
        QAction* account;
    };
    Toolbar(AppModel& model, const Actions& actions, QWidget* parent);

    // Where the picture begins; nothing while the editor is hidden: the transport then follows the file buttons.
    void setPictureLeft(std::optional<int> x);

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void followClock();
    void followDocument();
    void layOut();

    AppModel& model_;
    QAction* save_;
    ToolButton *editorToggle_, *inspectorToggle_, *new_, *open_, *saveButton_;
    ToolButton *start_, *play_, *step_, *sound_;
    TimeField* time_;
    TextLine* frame_;
    ToolButton *still_, *export_, *share_, *account_;
    BarSeparator *afterToggles_, *beforeTransport_, *beforeAccount_;
    std::optional<int> pictureLeft_;
};

} // namespace glasshob
