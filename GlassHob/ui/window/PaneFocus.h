// Carries the keyboard from pane to pane: F6 forwards, Shift+F6 back, past panes that are hidden or have nothing to
// take it. Owned by the window; main thread.
#pragma once

#include <QObject>
#include <QPointer>

#include <functional>
#include <vector>

class QWidget;

namespace glasshob {

class PaneFocus : public QObject {
    Q_OBJECT
  public:
    struct Pane {
        QPointer<QWidget> widget;
        // Gives the keyboard to what the pane wants first; where it is empty, to the first control that takes it.
        std::function<void()> take = {};
        // For a pane that comes and goes: brings it forward, or gives null.
        std::function<QWidget*()> find = {};

        QWidget* shown() const { return find ? find() : widget.data(); }
    };
    // In their order; a pane inside another one comes after it.
    PaneFocus(QWidget* window, std::vector<Pane> panes);
    void step(int direction);

  private:
    std::vector<Pane> panes_;
};

} // namespace glasshob
