#include "GlassHob/ui/window/HelpMenu.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/handbook/HandbookWindow.h"
#include "GlassHob/ui/window/AboutBox.h"
#include "GlassHob/ui/window/ShortcutList.h"

#include <QAction>
#include <QMenuBar>
#include <QPointer>

namespace glasshob {

HelpMenu::HelpMenu(AppModel& model, QMenuBar* menus, QWidget* window, std::function<QString()> wordAtCaret)
    : QMenu(tr("&Help"), menus) {
    QAction* handbook = addAction(
        tr("&Handbook"), this,
        [&model, window, word = std::move(wordAtCaret), shown = QPointer<HandbookWindow>()]() mutable {
            if (!shown) {
                shown = new HandbookWindow(window);
                connect(shown, &HandbookWindow::examplePicked, &model, [&model](const handbook::Example& example) {
                    model.newFromText(example.title.toStdString(), example.text.toStdString());
                });
            }
            shown->open(word());
        });
    handbook->setShortcut(QKeySequence(tr("F1")));
    window->addAction(handbook); // also while the menu bar is hidden
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
    shortcuts->setShortcut(QKeySequence(tr("Ctrl+F1")));
    window->addAction(shortcuts);
    addSeparator();
    QAction* about =
        addAction(tr("&About Glass Hob"), this, [&model, window, show, shown = QPointer<QDialog>()]() mutable {
            show(shown, [&] { return new AboutBox(model, window); });
        });
    about->setMenuRole(QAction::AboutRole);
    menus->addMenu(this);
}

} // namespace glasshob
