#include "GlassHob/ui/picture/PictureOverlays.h"

#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GlassHobRender/paint/PaintedImage.h"
#include "GlassHobRender/program/OverlayPipeline.h"

#include <stdexcept>

namespace glasshob {

PictureOverlays::PictureOverlays() = default;
PictureOverlays::~PictureOverlays() = default;

void PictureOverlays::set(const QObject* box, Placed placed) {
    Box& known = boxes_[box];
    if (known.placed.image.cacheKey() != placed.image.cacheKey()) known.texture.reset();
    ++revision_;
    known.placed = std::move(placed);
}

void PictureOverlays::remove(const QObject* box) {
    revision_ += boxes_.erase(box);
}

void PictureOverlays::followDevice() {
    pipeline_.reset();
    for (auto& [_, box] : boxes_)
        box.texture.reset();
}

void PictureOverlays::draw(gpu::RenderCommandEncoder& encoder, const std::shared_ptr<gpu::Device>& device) {
    for (auto& [_, box] : boxes_) {
        if (box.placed.image.isNull() || box.placed.opacity <= 0) continue;
        try {
            if (!pipeline_) pipeline_ = std::make_unique<OverlayQuad>(device, gpu::PixelFormat::bgra8Unorm);
        } catch (const std::runtime_error&) {
            return; // a device that cannot make it any more: the picture itself tells of that
        }
        // A new one for each image, as frames may be in flight that show the one before.
        if (!box.texture) box.texture = textureOf(box.placed.image, *device);
        if (!box.texture) continue;
        const QPoint place = box.placed.place;
        encoder.setViewport(
            {double(place.x()), double(place.y()), double(box.texture->width()), double(box.texture->height())});
        pipeline_->draw(encoder, box.texture, float(box.placed.opacity));
    }
}

} // namespace glasshob
