// The picture alone on the screen, with a transport and the sliders in boxes over it. After two seconds in which
// nothing is touched the boxes and the pointer go; any movement of the pointer, and Tab, brings them back. Space, Home,
// the full stop and M drive the picture; Escape leaves.
//
// It changes the window's state and tells; the window takes its panes away and brings them back. It leaves by itself
// when there is something to read: a shader that waits for Run, a lost device, the editor asked for.
// Owned by the window; main thread.
#pragma once

#include "GlassHob/model/Delay.h"

#include <QObject>
#include <QPointer>

#include <memory>

class QAction;
class QMainWindow;
class QWidget;

namespace glasshob {

class AppModel;
class Canvas;
class PictureActions;
class InspectorHost;
class TransportBox;

class FullScreen : public QObject {
    Q_OBJECT
  public:
    FullScreen(AppModel& model, PictureActions& actions, Canvas* picture, InspectorHost* sliders, QMainWindow* window);
    ~FullScreen() override;

    bool isActive() const { return active_; }
    void enter();
    void leave();

    // For tests: their own two seconds, and what is over the picture.
    void setStillness(std::unique_ptr<Delay> delay) { stillness_ = std::move(delay); }
    bool controlsShown() const { return controlsShown_; }
    TransportBox* transport() const;
    // Brings the boxes forward for the keyboard; null outside of full screen.
    QWidget* showTransport();

  signals:
    // The window arranges its panes, before the state of the window changes.
    void changed(bool active);

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    void touched();
    void showControls();
    void hideControls();
    bool isInUse(const QWidget* box) const;
    bool keyPressed(int key, Qt::KeyboardModifiers modifiers);
    void watchSliders();
    void placeSliders();

    AppModel& model_;
    PictureActions& actions_;
    Canvas* picture_;
    InspectorHost* sliders_;
    QMainWindow* window_;
    std::unique_ptr<Delay> stillness_ = std::make_unique<TimerDelay>();
    QAction* escape_;
    QAction* showSliders_;
    QPointer<TransportBox> transport_;
    QPointer<QWidget> watched_; // the sliders' box
    bool active_ = false;
    bool controlsShown_ = true;
};

} // namespace glasshob
