// The Help menu: the keyboard shortcuts and the about box. Main thread; owned by the menu bar.
#pragma once

#include <QMenu>

class QMenuBar;

namespace glasshob {

class AppModel;

class HelpMenu : public QMenu {
    Q_OBJECT
  public:
    HelpMenu(AppModel& model, QMenuBar* menus, QWidget* window);
};

} // namespace glasshob
