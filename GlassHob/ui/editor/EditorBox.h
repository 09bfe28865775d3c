// A small box over the editor's pane: the completion list, a signature, the messages of a line. It is a child widget of
// the pane and not a window of its own, so it appears with the window's next paint instead of by way of the window
// manager, and has smooth corners on every desktop. It keeps within the pane: the picture beside it is a window of its
// own and would cover it. It never takes the keyboard. Main thread; owned by the pane.
#pragma once

#include <QRect>
#include <QWidget>

class QAbstractScrollArea;

namespace glasshob {

class EditorBox : public QWidget {
  public:
    explicit EditorBox(QAbstractScrollArea* editor);

  protected:
    // Where it may lie. This and the next are in the pane's coordinates.
    QRect room() const;
    // A place of the editor's viewport.
    QRect inPane(const QRect& place) const;
    // Shows it with its left edge at `left`, as far as there is room to the right.
    void showAt(int left, int top);
    void paintGround(QPainter& painter) const;

  private:
    QAbstractScrollArea* editor_;
};

} // namespace glasshob
