// What the canvas draws, without where: the model's clock and program, the run that fits them, and the encoding of one
// frame into a texture. The two canvases differ only in where the texture comes from and goes to.
//
// A program that has just been compiled is warmed up beside the live one on devices that compile at the first draw, and
// the last picture stays until that is done; the switch happens between two frames.
//
// It tells the model of a lost device and of frames that do not end, and moves to the device that the model then takes.
// Main thread; never waits for the GPU.
#pragma once

#include "GPU/CommandBuffer.h"
#include "GlassHob/model/PreviewClock.h"
#include "GlassHob/ui/picture/PictureOverlays.h"
#include "GlassHob/ui/picture/PreviewResolution.h"
#include "GlassHob/ui/picture/ScaledPicture.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobCore/shader/Uniforms.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QObject>
#include <QSize>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

class QImage;

namespace gpu {
class CommandQueue;
class Device;
class PipelineWarmer;
class Texture;
} // namespace gpu

namespace glasshob {

class AppModel;
class ShaderProgram;
class ShaderRun;

class LivePicture : public QObject {
    Q_OBJECT
  public:
    LivePicture(AppModel& model, QObject* parent);
    ~LivePicture() override;

    // Whether there is anything to show but the empty canvas.
    bool hasProgram() const { return shown_ != nullptr; }

    // The pointer in pixels from the bottom-left corner; kept until the next call.
    void setMouse(float x, float y);

    // Whether a frame of this size would be the last one over again: the clock stands or is not looked at, and neither
    // the size nor a value, the program, a box over it or, where that is looked at, the pointer has changed since.
    bool isSettled(const QSize& size) const;
    // What was drawn is not on the screen any more: the next frame is drawn, settled or not.
    void redraw() { drawn_.reset(); }
    // Advances the clock without a frame.
    void passTime();
    // A frame is being drawn.
    bool isAtWork() const;
    // Waits a moment for the frames that are being drawn; false when one goes on.
    bool finishes() const;

    // At how much of their size frames are drawn from the next one on. Particles start again in a picture of another
    // size: by itself theirs stays whole.
    void setResolution(PreviewResolution resolution);
    PreviewResolution resolution() const { return resolution_; }
    // What a frame of this size is drawn at.
    QSize drawnSize(const QSize& size) const;

    // Asked before each frame: tells the model when the device has been lost.
    bool hasDevice();
    // A command buffer for the next frame; null when the device cannot give one.
    std::shared_ptr<gpu::CommandBuffer> beginFrame();
    // Advances the clock and draws one frame over the whole texture. Does not commit. False when nothing was recorded.
    bool encode(gpu::CommandBuffer& commandBuffer, const std::shared_ptr<gpu::Texture>& target);
    // Hands the frame to the device.
    void commit(std::shared_ptr<gpu::CommandBuffer> commandBuffer);

    // The picture of the last tick once more, read back; the clock and the simulation stay where they are.
    void capture(const QSize& size, std::function<void(std::optional<QImage>)> done);

    // The picture stands still for a while (hidden, minimised): the clock does not leap when it continues.
    void rest();

    AppModel& model() { return model_; }
    // Of the last frame of encode().
    const QSize& frameSize() const { return frameSize_; }
    // Drawn over the frames of encode().
    PictureOverlays& overlays() { return overlays_; }

  signals:
    // There is a picture for the first time, or none any more.
    void hasProgramChanged();
    // From the next frame on another program is drawn.
    void programSwitched();
    // Frames are drawn at another part of their size.
    void drawnSizeChanged();
    // What was made with the model's device is to be made anew. What belongs to the old one may be at work for long: no
    // end of it may be waited for.
    void deviceReplaced();

  protected:
    void timerEvent(QTimerEvent* event) override;

  private:
    void followModel();
    void followDevice();
    void followFrames();
    bool encodePicture(gpu::CommandBuffer& commandBuffer, const std::shared_ptr<gpu::Texture>& target, int divisor,
                       const PreviewClock::Tick& tick, const SliderValues& values, PictureOverlays* overlays);
    bool encodeScaled(gpu::CommandBuffer& commandBuffer, const std::shared_ptr<gpu::Texture>& target);
    void follow(std::shared_ptr<gpu::CommandBuffer> commandBuffer);
    // For the automatic choice: how long the device takes for the frame.
    void measure(gpu::CommandBuffer& commandBuffer);
    void noteFrame(double seconds, int divisor);
    void show(std::shared_ptr<const ShaderProgram> program);
    void letGoOfWarmer();

    // All that a frame depends on beside the values; what its program does not look at is zero.
    struct Content {
        std::shared_ptr<const ShaderProgram> program;
        QSize size, drawnSize;
        GHUniforms uniforms;
        std::uint64_t overlays = 0;
        bool operator==(const Content& other) const;
    };
    int divisor() const;
    // `size` is drawn for a frame that is `divisor` times as large.
    GHUniforms uniformsOf(const QSize& size, int divisor, const PreviewClock::Tick& tick) const;
    const SliderValues& valuesToDraw() const;
    Content contentOf(const QSize& size, const PreviewClock::Tick& tick) const;
    // The particles have not reached the time of the picture yet.
    bool isBehind(const PreviewClock::Tick& tick) const;

    AppModel& model_;
    std::shared_ptr<gpu::CommandQueue> queue_;
    std::unique_ptr<gpu::PipelineWarmer> warmer_;
    std::shared_ptr<const ShaderProgram> shown_;
    std::shared_ptr<const ShaderProgram> warming_;
    SliderValues values_; // of the last frame of encode()
    std::unique_ptr<ShaderRun> run_;
    std::optional<std::pair<float, float>> mouse_;
    QElapsedTimer clock_;

    struct Frame {
        std::shared_ptr<gpu::CommandBuffer> commandBuffer;
        // Since when the device can have been at work on it.
        QElapsedTimer since;
        bool seenSlow = false; // was still in work after a second
    };
    std::deque<Frame> inFlight_;
    QBasicTimer watch_;
    // What the frame before took, while frames are slow; 0 while they are not.
    double slowSeconds_ = 0;
    PreviewClock::Tick lastTick_{};
    std::optional<Content> drawn_; // by the last frame
    PreviewResolution resolution_ = PreviewResolution::full;
    AutomaticResolution automatic_;
    ScaledPicture scaled_;
    // When the last frame that was measured has ended; the devices' threads note it.
    struct LastEnd;
    std::shared_ptr<LastEnd> lastEnd_;
    PictureOverlays overlays_;
    QSize frameSize_;
};

} // namespace glasshob
