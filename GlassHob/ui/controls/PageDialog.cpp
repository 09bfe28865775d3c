#include "GlassHob/ui/controls/PageDialog.h"

#include "GlassHob/ui/controls/Controls.h"

#include <QKeyEvent>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>

namespace glasshob {

PageDialog::PageDialog(QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                          Qt::WindowCloseButtonHint),
      column_(new QVBoxLayout(this)) {
    setAttribute(Qt::WA_DeleteOnClose);
    column_->setContentsMargins(0, 0, 0, 0);
    column_->setSpacing(0);
    column_->setSizeConstraint(QLayout::SetFixedSize);
    new FocusRing(this);
}

void PageDialog::comeForward() {
    show();
    raise();
    activateWindow();
}

void PageDialog::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    // A page that grows does so downwards, and may come to the screen's edge.
    const QRect screen = this->screen()->availableGeometry();
    const int below = frameGeometry().bottom() - screen.bottom();
    if (isVisible() && below > 0) move(x(), std::max(screen.top(), y() - below));
}

void PageDialog::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter) {
        QDialog::keyPressEvent(event);
        return;
    }
    if (!takesReturn()) return;
    const bool isForced = event->modifiers().testFlag(Qt::ControlModifier);
    auto* focused = qobject_cast<TextButton*>(focusWidget());
    if (!isForced && focused != nullptr && focused->isVisible())
        focused->click();
    else
        press(isForced);
}

} // namespace glasshob
