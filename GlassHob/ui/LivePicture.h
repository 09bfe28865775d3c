// What the canvas draws, without where: the model's clock and program, the run that fits them, and the encoding of one
// frame into a texture. The two canvases differ only in where the texture comes from and goes to.
//
// A program that has just been compiled is warmed up beside the live one on devices that compile at the first draw, and
// the last picture goes on until that is done; the switch happens between two frames.
// Main thread; never waits for the GPU.
#pragma once

#include "GPU/CommandBuffer.h"
#include "GlassHobCore/Params.h"

#include <QElapsedTimer>
#include <QObject>

#include <cstdint>
#include <memory>
#include <optional>

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

    // A command buffer for the next frame; null when the device cannot give one.
    std::shared_ptr<gpu::CommandBuffer> beginFrame();
    // Advances the clock and draws one frame over the whole texture. Does not commit. False when nothing was recorded.
    bool encode(gpu::CommandBuffer& commandBuffer, const std::shared_ptr<gpu::Texture>& target);

    // The picture stands still for a while (hidden, minimised): the clock does not leap when it goes on.
    void rest();

    AppModel& model() { return model_; }

  signals:
    // There is a picture for the first time, or none any more.
    void hasProgramChanged();
    // From the next frame on another program is drawn.
    void programSwitched();

  private:
    void followModel();
    void show(std::shared_ptr<const ShaderProgram> program);

    AppModel& model_;
    std::shared_ptr<gpu::CommandQueue> queue_;
    std::unique_ptr<gpu::PipelineWarmer> warmer_;
    std::shared_ptr<const ShaderProgram> shown_;
    std::shared_ptr<const ShaderProgram> warming_;
    std::unique_ptr<ShaderRun> run_;
    std::optional<std::pair<float, float>> mouse_;
    QElapsedTimer clock_;
};

} // namespace glasshob
