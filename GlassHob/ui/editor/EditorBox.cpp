#include "GlassHob/ui/editor/EditorBox.h"

#include "GlassHob/ui/controls/Theme.h"

#include <QAbstractScrollArea>
#include <QPainter>

#include <algorithm>

namespace glasshob {

namespace {

constexpr int margin = 4; // to the pane's edges
constexpr int radius = 6;

} // namespace

EditorBox::EditorBox(QAbstractScrollArea* editor)
    : QWidget(editor->parentWidget() ? editor->parentWidget() : editor), editor_(editor) {
    hide();
}

QRect EditorBox::room() const {
    return parentWidget()->rect().adjusted(margin, margin, -margin, -margin);
}

QRect EditorBox::inPane(const QRect& place) const {
    return {editor_->viewport()->mapTo(parentWidget(), place.topLeft()), place.size()};
}

void EditorBox::showAt(int left, int top) {
    const QRect area = room();
    move(std::clamp(left, area.left(), std::max(area.left(), area.right() + 1 - width())), top);
    if (isHidden()) {
        show();
        raise();
    }
    update();
}

void EditorBox::paintGround(QPainter& painter) const {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(themed(Role::tooltip));
    painter.setPen(themed(Role::lineStrong));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}

} // namespace glasshob
