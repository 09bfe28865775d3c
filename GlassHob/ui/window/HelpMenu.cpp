#include "GlassHob/ui/window/HelpMenu.h"

#include "GlassHob/ui/window/AboutBox.h"
#include "GlassHob/ui/window/ShortcutList.h"

#include <QAction>
#include <QMenuBar>
#include <QPointer>

namespace glasshob {

HelpMenu::HelpMenu(AppModel& model, QMenuBar* menus, QWidget* window) : QMenu(tr("&Help"), menus) {
    // One of each: asked for again it comes forward.
    auto show = [](QPointer<QDialog>& shown, auto make) {
        if (!shown) shown = make();
        shown->show();
        shown->raise();
        shown->activateWindow();
    };
    QAction* shortcuts =
        addAction(tr("&Keyboard Shortcuts"), this, [menus, window, show, shown = QPointer<QDialog>()]() mutable {
            show(shown, [&] { return new ShortcutList(*menus, window); });
        });
    shortcuts->setShortcut(QKeySequence(tr("F1")));
    window->addAction(shortcuts); // also while the menu bar is hidden
    addSeparator();
    QAction* about =
        addAction(tr("&About Glass Hob"), this, [&model, window, show, shown = QPointer<QDialog>()]() mutable {
            show(shown, [&] { return new AboutBox(model, window); });
        });
    about->setMenuRole(QAction::AboutRole);
    menus->addMenu(this);
}

} // namespace glasshob
