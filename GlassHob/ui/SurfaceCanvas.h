// The canvas over a Vulkan surface: a native child window whose frames the GPU layer presents from a thread of its own.
// Main thread.
#pragma once

#include "GlassHob/ui/Canvas.h"

#include <QWindow>

class QVulkanInstance;

namespace gpu {
class Presenter;
}

namespace glasshob {

// The native window with the surface. It never takes the keyboard: a click in the picture leaves the focus in the editor.
class PictureWindow : public QWindow {
    Q_OBJECT
  public:
    explicit PictureWindow(QVulkanInstance& instance);

  signals:
    void exposedChanged();
    void surfaceGoing();
    void pointerMoved(const QPointF& place);

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

  protected:
    void drawFrame() override;
    bool canDraw() const override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    SurfaceCanvas(AppModel& model, QVulkanInstance& instance, QWidget* parent);
    bool ensurePresenter();
    void closePresenter();
    void showPictureOrPlaceholder();

    PictureWindow* window_;
    QWidget* container_;
    std::shared_ptr<gpu::Presenter> presenter_;
};

} // namespace glasshob
