#include "GlassHob/model/DeviceWatch.h"

#include "GPU/Device.h"
#include "GlassHob/model/RetiredDevice.h"

#include <algorithm>
#include <utility>

namespace glasshob {

namespace {

// A frame that has taken this many seconds is in the way of what a compile may have to wait for ...
constexpr double slowForCompiles = 1;
// ... and this many are told about.
constexpr double slowForPeople = 2;

} // namespace

DeviceWatch::DeviceWatch(std::shared_ptr<gpu::Device> device, Make make)
    : device_(std::move(device)), make_(make ? std::move(make) : Make(gpu::Device::makeIsolated)) {}

DeviceWatch::~DeviceWatch() {
    if (hasSlowFrame()) retire(std::move(device_));
}

const std::shared_ptr<gpu::Device>& DeviceWatch::device() const {
    if (!device_) {
        auto made = gpu::Device::systemDefault();
        if (!made) throw NoDevice(made.error().description());
        device_ = std::move(*made);
    }
    return device_;
}

gpu::Result<std::shared_ptr<gpu::Device>> DeviceWatch::forCompile() {
    if (!device()->lost() && slowFrameSeconds_ < slowForCompiles) return device_;
    if (!spare_ || spare_->lost()) {
        auto made = make_();
        if (!made) return made;
        spare_ = std::move(*made);
    }
    return spare_;
}

void DeviceWatch::moveTo(const std::shared_ptr<gpu::Device>& device) {
    const bool moves = device != device_;
    if (moves) {
        if (spare_ == device) spare_.reset();
        retire(std::exchange(device_, device));
        lost_ = false;
        slowFrameSeconds_ = 0;
    }
    retire(std::exchange(spare_, nullptr));
    if (!moves) return;
    emit replaced();
    emit troubleChanged();
}

bool DeviceWatch::reportLoss() {
    if (lost_) return false;
    lost_ = true;
    slowFrameSeconds_ = 0;
    emit troubleChanged();
    return true;
}

void DeviceWatch::reportSlowFrame(double seconds) {
    if (lost_) return;
    const QString before = trouble();
    slowFrameSeconds_ = seconds;
    if (trouble() != before) emit troubleChanged();
}

void DeviceWatch::stillEnds() {
    --stillsInWork_;
    if (hasSlowFrame()) emit troubleChanged();
}

QString DeviceWatch::trouble() const {
    if (lost_)
        return tr("The graphics device was lost while it drew this shader, so the picture has stopped. "
                  "Change the shader or compile it again, and it starts afresh.");
    if (slowFrameSeconds_ >= slowForPeople && stillsInWork_ > 0)
        return tr("The picture waits while the still is drawn. It goes on when the still is there.");
    if (slowFrameSeconds_ >= slowForPeople && isExporting && isExporting())
        return tr("The picture waits while a frame of the video is drawn. It goes on between the frames.");
    if (slowFrameSeconds_ >= slowForPeople)
        return tr("This frame has been drawing for %1 seconds. "
                  "Make the shader do less, and the picture starts afresh when it compiles.")
            .arg(int(std::min(slowFrameSeconds_, 1e9)));
    return {};
}

} // namespace glasshob
