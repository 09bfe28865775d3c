#include "GlassHob/ui/window/HelpMenu.h"

#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/handbook/HandbookWindow.h"
#include "GlassHob/ui/window/AboutBox.h"
#include "GlassHob/ui/window/ShortcutList.h"
#include "GlassHobCore/Identity.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobOnline/UpdateChecker.h"

#include <QAction>
#include <QMenuBar>
#include <QPointer>

namespace glasshob {

QCoro::Task<> HelpMenu::checkForUpdates(AppModel& model, std::function<void()> tellUpdate) {
    if (!model.updates()) co_return;
    const QPointer<AppModel> alive(&model);
    const bool isRead = co_await model.updates()->check();
    if (!alive) co_return;
    if (!isRead)
        model.questions().warn(tr("Couldn't check for updates."),
                               tr("The update feed could not be read. Try again later."));
    else if (!model.updates()->available())
        model.questions().warn(tr("Glass Hob %1 is the newest version.").arg(asQString(Identity::version)), {});
    else
        tellUpdate();
}

HelpMenu::HelpMenu(AppModel& model, QMenuBar* menus, QWidget* window, std::function<QString()> wordAtCaret,
                   std::function<void()> tellUpdate)
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
    auto* updates = new QAction(tr("Check for &Updates…"), this);
    updates->setEnabled(model.updates() != nullptr);
    connect(updates, &QAction::triggered, this, [&model, updates, tell = std::move(tellUpdate)] {
        // One question at a time.
        updates->setEnabled(false);
        checkForUpdates(model, tell).then([updates = QPointer(updates)] {
            if (updates) updates->setEnabled(true);
        });
    });
    addAction(updates);
    QAction* about =
        addAction(tr("&About Glass Hob"), this, [&model, window, show, shown = QPointer<QDialog>()]() mutable {
            show(shown, [&] { return new AboutBox(model, window); });
        });
    about->setMenuRole(QAction::AboutRole);
    menus->addMenu(this);
}

} // namespace glasshob
