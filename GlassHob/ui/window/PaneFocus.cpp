#include "GlassHob/ui/window/PaneFocus.h"

#include <QAction>
#include <QApplication>
#include <QWidget>

namespace glasshob {

namespace {

bool contains(const QWidget* pane, const QWidget* widget) {
    return widget && (pane == widget || pane->isAncestorOf(widget));
}

void focusFirstOf(QWidget* pane) {
    QWidget* widget = pane;
    do {
        if ((widget->focusPolicy() & Qt::TabFocus) && widget->isVisible() && widget->isEnabled() &&
            contains(pane, widget)) {
            widget->setFocus(Qt::TabFocusReason);
            return;
        }
        widget = widget->nextInFocusChain();
    } while (widget != pane);
}

} // namespace

PaneFocus::PaneFocus(QWidget* window, std::vector<Pane> panes) : QObject(window), panes_(std::move(panes)) {
    for (const auto& [keys, direction] :
         {std::pair(QKeySequence(Qt::Key_F6), 1), std::pair(QKeySequence(Qt::SHIFT | Qt::Key_F6), -1)}) {
        auto* action = new QAction(direction > 0 ? tr("Next Pane") : tr("Previous Pane"), window);
        action->setShortcut(keys);
        connect(action, &QAction::triggered, this, [this, way = direction] { step(way); });
        window->addAction(action);
    }
}

void PaneFocus::step(int direction) {
    const int count = int(panes_.size());
    int from = direction > 0 ? -1 : count;
    for (int i = 0; i < count; ++i)
        if (QWidget* shown = panes_[std::size_t(i)].shown(); shown && contains(shown, QApplication::focusWidget()))
            from = i; // the innermost comes last
    for (int tried = 1; tried <= count; ++tried) {
        const int at = ((from + direction * tried) % count + count) % count;
        const Pane& pane = panes_[std::size_t(at)];
        QWidget* shown = pane.shown();
        if (!shown || !shown->isVisible()) continue;
        if (pane.take)
            pane.take();
        else
            focusFirstOf(shown);
        if (contains(shown, QApplication::focusWidget())) return;
    }
}

} // namespace glasshob
