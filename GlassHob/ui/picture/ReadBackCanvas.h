// The canvas for displays without a Vulkan surface: frames are drawn into textures that the CPU can read and painted as
// images. Main thread; the GPU's completion comes over from its own thread.
#pragma once

#include "GlassHob/ui/picture/Canvas.h"

#include <array>
#include <optional>

namespace gpu {
class Texture;
}

namespace glasshob {

class ReadBackCanvas : public Canvas {
    Q_OBJECT
  public:
    ReadBackCanvas(AppModel& model, QWidget* parent);
    ~ReadBackCanvas() override;

    Kind kind() const override { return Kind::readBack; }

  protected:
    void drawFrame() override;
    bool canDraw() const override { return true; }
    bool hasShownAll() const override { return inFlight_ == 0 && paintedFrame_ == shownFrame_; }
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

  private:
    // One shown, two in flight, and one that has finished and waits to be painted.
    static constexpr std::size_t slotCount = 4;
    enum class Use { free, inFlight, shown };
    struct Slot {
        std::shared_ptr<gpu::Texture> texture;
        Use use = Use::free;
        bool hasPicture = false;
    };
    Slot* freeSlot(const QSize& size);
    void followDevice();
    void finished(std::size_t index, std::uint64_t frame, bool drawn);

    std::array<Slot, slotCount> slots_;
    std::optional<std::size_t> shownSlot_;
    // Frames before this one are of a device that has been given up.
    std::uint64_t firstFrame_ = 1;
    std::uint64_t nextFrame_ = 1;
    std::uint64_t shownFrame_ = 0;
    std::uint64_t paintedFrame_ = 0;
    int inFlight_ = 0;
};

} // namespace glasshob
