// The canvas over a Vulkan surface: a native child window whose frames the GPU layer presents from a thread of its own.
// Main thread.
//
// Each frame shown calls for the next one, so that drawing falls between two presents: a CPU driver's present waits for
// whatever is being drawn. While frames are done early, one is kept in reserve, and a pause of the main thread of up to
// a frame is not seen. A shader that needs longer than a frame is drawn one at a time.
#pragma once

#include "GlassHob/ui/picture/Canvas.h"

#include <QElapsedTimer>
#include <QWindow>

#include <map>
#include <thread>
#include <vector>

class QVulkanInstance;

namespace gpu {
class Presenter;
}

namespace glasshob {

// The native window with the surface. It never takes the keyboard: a click in the picture leaves the focus in the
// editor.
class PictureWindow : public QWindow {
    Q_OBJECT
  public:
    // Null: no surface can be made, and nothing is ever shown.
    explicit PictureWindow(QVulkanInstance* instance);

  signals:
    void exposedChanged();
    void surfaceGoing();
    void pointerMoved(const QPointF& place);
    void pressed();

  protected:
    bool event(QEvent* event) override;
    void exposeEvent(QExposeEvent* event) override;
};

class SurfaceCanvas : public Canvas {
    Q_OBJECT
  public:
    // Null where the display has no Vulkan surface.
    static SurfaceCanvas* make(AppModel& model, QWidget* parent);
    ~SurfaceCanvas() override;

    Kind kind() const override { return Kind::surface; }
    void setPointerHidden(bool hidden) override;
    void setOverlay(const QObject* of, const Overlay& overlay) override;
    void removeOverlay(const QObject* of) override;

  protected:
    void drawFrame() override; // from the timer: begins the chain, and mends it where a frame was never shown
    bool canDraw() const override;
    bool hasShownAll() const override { return inFlight_ == 0; }
    void moveToScreen() override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    SurfaceCanvas(AppModel& model, QWidget* parent);
    void makeWindow();
    void moveToNewWindow();
    bool ensurePresenter();
    void closePresenter();
    void showPictureOrPlaceholder();
    void framePresented(bool wasEarly);
    bool drawOneFrame();
    // Leaves the places of the boxes out of the window.
    void cutOut();

    struct Hole {
        QRect place; // empty while its box is not opaque
        double radius = 0;
        bool operator==(const Hole&) const = default;
    };
    std::map<const QObject*, Hole> holes_;
    PictureWindow* window_ = nullptr;
    QWidget* container_ = nullptr;
    std::shared_ptr<gpu::Presenter> presenter_;
    // Counts windows, so that an old one's frames are not taken for the new one's.
    int generation_ = 0;
    int inFlight_ = 0;
    QElapsedTimer sinceFrame_;
    // Each closes the presenter of a lost or busy device and lets go of its window afterwards.
    std::vector<std::shared_ptr<std::jthread>> closing_;
};

} // namespace glasshob
