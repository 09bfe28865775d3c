// A quiet line of text with an arrow behind it that opens a menu. Main thread; owned by its parent, the menu by
// another.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

class QMenu;

namespace glasshob {

class MenuButton : public HoverButton {
    Q_OBJECT
  public:
    MenuButton(QMenu* menu, QWidget* parent);
    // `name` is what a screen reader says before the text.
    void show(const QString& text, const QString& name);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void open();

    QMenu* menu_;
};

} // namespace glasshob
