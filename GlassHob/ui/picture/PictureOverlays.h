// Images of the boxes that lie over the picture, drawn with its frames where those are on a surface that hides every
// widget. Main thread; owned by the live picture.
#pragma once

#include <QImage>
#include <QPoint>

#include <cstdint>
#include <map>
#include <memory>

class QObject;

namespace gpu {
class Device;
class RenderCommandEncoder;
class Texture;
} // namespace gpu

namespace glasshob {

class OverlayQuad;

class PictureOverlays {
  public:
    PictureOverlays();
    ~PictureOverlays();

    struct Placed {
        QImage image; // premultiplied; none yet when null
        QPoint place; // of its upper left corner, in pixels of the frame
        double opacity = 1;
    };
    // In the place of what the box had before.
    void set(const QObject* box, Placed placed);
    void remove(const QObject* box);

    // Another number whenever something else is to be drawn.
    std::uint64_t revision() const { return revision_; }

    // Over the whole of what the encoder has drawn.
    void draw(gpu::RenderCommandEncoder& encoder, const std::shared_ptr<gpu::Device>& device);
    // What was made with the old device is made anew.
    void followDevice();

  private:
    struct Box {
        Placed placed;
        std::shared_ptr<gpu::Texture> texture; // of its image
    };
    std::map<const QObject*, Box> boxes_;
    std::unique_ptr<OverlayQuad> pipeline_;
    std::uint64_t revision_ = 0;
};

} // namespace glasshob
