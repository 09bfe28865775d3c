#include "GlassHob/ui/picture/ReadBackCanvas.h"

#include "GPU/Device.h"
#include "GPU/Texture.h"
#include "GlassHob/model/AppModel.h"
#include "GlassHob/ui/picture/LivePicture.h"

#include <QGuiApplication>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>

#include <utility>

namespace glasshob {

ReadBackCanvas::ReadBackCanvas(AppModel& model, QWidget* parent) : Canvas(model, parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    connect(&picture(), &LivePicture::deviceReplaced, this, &ReadBackCanvas::followDevice);
    connect(&picture(), &LivePicture::hasProgramChanged, this, qOverload<>(&QWidget::update));
}

ReadBackCanvas::~ReadBackCanvas() = default;

ReadBackCanvas::Slot* ReadBackCanvas::freeSlot(const QSize& size) {
    for (Slot& slot : slots_) {
        if (slot.use != Use::free) continue;
        if (slot.texture && int(slot.texture->width()) == size.width() && int(slot.texture->height()) == size.height())
            return &slot;
        gpu::TextureDescriptor descriptor;
        descriptor.width = std::uint32_t(size.width());
        descriptor.height = std::uint32_t(size.height());
        descriptor.storage = gpu::StorageMode::shared;
        descriptor.usage = {.shaderRead = false, .renderTarget = true};
        auto texture = picture().model().device()->makeTexture(descriptor);
        if (!texture) return nullptr;
        slot.texture = *texture;
        return &slot;
    }
    return nullptr;
}

void ReadBackCanvas::drawFrame() {
    const QSize size = pixelSize();
    if (inFlight_ >= 2 || size.isEmpty() || picture().isSettled(size)) return;
    Slot* slot = freeSlot(size);
    if (!slot) return;
    const std::shared_ptr<gpu::CommandBuffer> commandBuffer = picture().beginFrame();
    if (!commandBuffer || !picture().encode(*commandBuffer, slot->texture)) return;
    const std::size_t index = std::size_t(slot - slots_.data());
    slot->use = Use::inFlight;
    slot->hasPicture = picture().hasProgram();
    ++inFlight_;
    commandBuffer->addCompletedHandler([self = QPointer(this), index, frame = nextFrame_++](gpu::CommandBuffer& done) {
        const bool drawn = done.status() == gpu::CommandBufferStatus::completed;
        QMetaObject::invokeMethod(
            qApp,
            [self, index, frame, drawn] {
                if (self) self->finished(index, frame, drawn);
            },
            Qt::QueuedConnection);
    });
    picture().commit(commandBuffer);
}

void ReadBackCanvas::followDevice() {
    slots_ = {};
    shownSlot_.reset();
    inFlight_ = 0;
    firstFrame_ = nextFrame_;
}

void ReadBackCanvas::finished(std::size_t index, std::uint64_t frame, bool drawn) {
    if (frame < firstFrame_) return;
    --inFlight_;
    Slot& slot = slots_[index];
    if (!drawn || frame < shownFrame_) {
        slot.use = Use::free;
        if (!drawn) redraw();
        return;
    }
    if (shownSlot_) slots_[*shownSlot_].use = Use::free;
    slot.use = Use::shown;
    shownSlot_ = index;
    shownFrame_ = frame;
    update();
}

void ReadBackCanvas::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const bool isNew = std::exchange(paintedFrame_, shownFrame_) != shownFrame_;
    const Slot* slot = shownSlot_ ? &slots_[*shownSlot_] : nullptr;
    if (!slot || !slot->hasPicture || !picture().hasProgram()) {
        paintPlaceholder(painter);
        return;
    }
    const gpu::Texture& texture = *slot->texture;
    const auto* bytes = reinterpret_cast<const uchar*>(texture.contents());
    if (!bytes) return;
    QImage image(bytes, int(texture.width()), int(texture.height()), qsizetype(texture.rowBytes()),
                 QImage::Format_RGB32);
    // One pixel of the frame is one of the screen; while a resize is on its way the last frame is stretched.
    if (QSize(image.width(), image.height()) == pixelSize()) {
        image.setDevicePixelRatio(devicePixelRatioF());
        painter.drawImage(0, 0, image);
    } else {
        painter.drawImage(rect(), image);
    }
    if (isNew) frames()->add(std::chrono::steady_clock::now());
}

void ReadBackCanvas::mouseMoveEvent(QMouseEvent* event) {
    pointerAt(event->position());
}
void ReadBackCanvas::mousePressEvent(QMouseEvent* event) {
    pointerAt(event->position());
    emit pressed();
}

} // namespace glasshob
