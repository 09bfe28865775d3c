// The Help menu: the handbook, the keyboard shortcuts and the about box. Main thread; owned by the menu bar.
#pragma once

#include <QMenu>

#include <functional>

class QMenuBar;

namespace glasshob {

class AppModel;

class HelpMenu : public QMenu {
    Q_OBJECT
  public:
    // `wordAtCaret` is what the handbook is asked for with F1; empty where nobody edits.
    HelpMenu(AppModel& model, QMenuBar* menus, QWidget* window, std::function<QString()> wordAtCaret);
};

} // namespace glasshob
