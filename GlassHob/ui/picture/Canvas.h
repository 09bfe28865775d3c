// The live picture in the window. One widget for the window to place, two ways inside: a Vulkan surface with a
// presenter of its own thread where the display has one, and read-back frames painted as an image where it has not
// (Qt's offscreen platform, some remote displays). Neither waits for the GPU on the main thread; at most two frames are
// in flight, and a frame that would be a third is left out. Nothing is drawn while the window is hidden,
// minimised or covered. A picture that would be the same again is drawn once, and the next time when something has
// changed; while the clock stands as well, nothing wakes up for it.
// Main thread.
#pragma once

#include "GlassHob/ui/picture/FramePace.h"
#include "GlassHob/ui/picture/PreviewResolution.h"

#include <QBasicTimer>
#include <QImage>
#include <QWidget>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace glasshob {

class AppModel;
class LivePicture;
class WindowWatch;

class Canvas : public QWidget {
    Q_OBJECT
  public:
    enum class Kind { automatic, surface, readBack };

    // Takes a surface where one can be made, unless read-back is asked for.
    static Canvas* make(AppModel& model, QWidget* parent, Kind kind = Kind::automatic);

    virtual Kind kind() const = 0;
    // The size of the frames shown, in pixels.
    QSize pixelSize() const;
    // At how much of that they are drawn: the size that the shader knows, for frames of pixelSize().
    void setResolution(PreviewResolution resolution);
    PreviewResolution resolution() const;
    QSize drawnSize() const;
    // Of the last frame that was drawn; follows pixelSize() a moment later.
    QSize frameSize() const;
    // Frames that have reached the screen since the start.
    std::uint64_t shownFrames() const { return frames_->shown; }
    // When the last of them has.
    std::chrono::steady_clock::time_point lastShown() const { return frames_->lastShown; }
    // Whether frames are drawn as they are needed; not while the window is hidden, minimised or covered.
    bool isDrawing() const { return draws_; }
    // The picture on the screen is the one that there will be until something changes.
    bool isAtRest() const { return atRest_; }
    // Called for every frame shown, with its time, on any thread. For measuring; set before the window is shown.
    using FrameHandler = std::function<void(std::chrono::steady_clock::time_point)>;
    void setFrameHandler(FrameHandler handler) { frames_->handler = std::move(handler); }
    // Stops and starts the drawing; the window says when it is minimised.
    void setActive(bool active);
    // Waits a moment for the frames that are being drawn; false when one goes on.
    bool finishes() const;
    // The pointer is not to be seen over the picture.
    virtual void setPointerHidden(bool hidden);
    // Whether the frames are on a surface that hides widgets over it. Then a box over the picture is given as an image,
    // which is drawn with the frames. Where that is opaque the surface leaves the pointer, and on some displays the
    // pixels, to the widget itself.
    bool hidesWidgets() const { return kind() == Kind::surface; }
    struct Overlay {
        QImage image;
        QRect place; // in this widget
        double opacity = 1;
        double radius = 0; // of the corners
    };
    virtual void setOverlay(const QObject*, const Overlay&) {}
    virtual void removeOverlay(const QObject*) {}
    // Draws this moment once more, as it is on the screen, and hands it over on the main thread: nothing when there is
    // no picture or it could not be drawn.
    void capture(std::function<void(std::optional<QImage>)> done);

    QSize sizeHint() const override { return QSize(640, 360); }

  signals:
    void pixelSizeChanged();
    // Also when frames are drawn at another part of it.
    void drawnSizeChanged();
    // Frames are drawn from now on, or the picture rests.
    void drawingChanged(bool draws);
    // From the next frame on another program is drawn.
    void programSwitched();
    // The pointer has been moved or pressed over the picture.
    void pointerActivity();
    void pressed();
    void filesDropped(const QStringList& paths);

  protected:
    Canvas(AppModel& model, QWidget* parent);
    ~Canvas() override;

    // Draws one frame if one fits.
    virtual void drawFrame() = 0;
    virtual bool canDraw() const = 0;
    // Whether all that was drawn is on the screen.
    virtual bool hasShownAll() const = 0;
    // Something may have changed: draws again where it has.
    void wake();
    // What was drawn has gone from the screen.
    void redraw();
    // The window is on another display.
    virtual void moveToScreen();
    // Between two frames, on the display that the window is on.
    std::chrono::nanoseconds frameInterval() const;
    LivePicture& picture() { return *picture_; }
    // Shared with the presenter's thread, which may outlast this widget by a moment.
    struct FrameCount {
        std::atomic<std::uint64_t> shown = 0;
        std::atomic<std::chrono::steady_clock::time_point> lastShown{};
        FrameHandler handler;
        void add(std::chrono::steady_clock::time_point when) {
            lastShown = when;
            ++shown;
            if (handler) handler(when);
        }
    };
    const std::shared_ptr<FrameCount>& frames() const { return frames_; }
    // A pointer at this place of the widget.
    void pointerAt(const QPointF& place);
    void updatePacing();
    void announceSize();
    void paintPlaceholder(QPainter& painter) const;

    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void takeTurn();

    LivePicture* picture_;
    std::shared_ptr<FrameCount> frames_ = std::make_shared<FrameCount>();
    WindowWatch* watch_;
    QSize announcedSize_;
    QMetaObject::Connection screenChange_;
    FramePace pace_;
    QBasicTimer turn_;
    bool active_ = true;
    bool draws_ = false;
    bool atRest_ = false;
};

} // namespace glasshob
