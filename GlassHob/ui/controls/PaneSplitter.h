// A splitter whose line is 1 px wide and whose grab area is 7 px, as far as the panes beside it are ordinary widgets: a
// picture's surface takes the pointer on its own side. Main thread.
#pragma once

#include <QSplitter>

namespace glasshob {

class PaneSplitter : public QSplitter {
  public:
    PaneSplitter(Qt::Orientation orientation, QWidget* parent) : QSplitter(orientation, parent) {
        setChildrenCollapsible(false);
        setHandleWidth(1);
    }

  protected:
    QSplitterHandle* createHandle() override { return new Handle(orientation(), this); }

  private:
    class Handle : public QSplitterHandle {
      public:
        using QSplitterHandle::QSplitterHandle;

      protected:
        void resizeEvent(QResizeEvent* event) override {
            // As the base class does for its five pixels: the margins take the pointer, the mask shows only the line.
            setAttribute(Qt::WA_MouseNoMask);
            if (orientation() == Qt::Horizontal)
                setContentsMargins(3, 0, 3, 0);
            else
                setContentsMargins(0, 3, 0, 3);
            setMask(contentsRect());
            QWidget::resizeEvent(event);
        }
    };
};

} // namespace glasshob
