// The Help menu: the handbook, the keyboard shortcuts, the check for updates and the about box. Main thread; owned by
// the menu bar.
#pragma once

#include <QMenu>

#include <qcoro/qcorotask.h>

#include <functional>

class QMenuBar;

namespace glasshob {

class AppModel;

class HelpMenu : public QMenu {
    Q_OBJECT
  public:
    // Asks whether there is a newer release and tells the answer: in a question's place, or by `tellUpdate` where there
    // is one. For the menu.
    static QCoro::Task<> checkForUpdates(AppModel& model, std::function<void()> tellUpdate);

    // `wordAtCaret` is what the handbook is asked for with F1; empty where nobody edits.
    // `tellUpdate` shows a newer release once more.
    HelpMenu(AppModel& model, QMenuBar* menus, QWidget* window, std::function<QString()> wordAtCaret,
             std::function<void()> tellUpdate);
};

} // namespace glasshob
