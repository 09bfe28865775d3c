#include "GlassHobRender/episode/OverlayReel.h"

#include <algorithm>

namespace glasshob {

OverlayReel::OverlayReel(OverlaySequence sequence)
    : sequence_(std::move(sequence)), thread_([this](const std::stop_token& stop) { paintAhead(stop); }) {}

OverlayReel::~OverlayReel() = default;

std::int64_t OverlayReel::missing() const {
    const std::int64_t end = std::min(current_ + 1 + mostAhead, sequence_.count());
    for (std::int64_t index = current_ + 1; index < end; ++index) {
        if (!ready_.contains(index)) return index;
    }
    return -1;
}

void OverlayReel::paintAhead(const std::stop_token& stop) {
    std::unique_lock held(lock_);
    while (changed_.wait(held, stop, [this] { return missing() >= 0; })) {
        const std::int64_t index = painting_ = missing();
        held.unlock();
        QImage image = sequence_.paint(index);
        held.lock();
        painting_ = -1;
        if (index >= current_ && index <= current_ + mostAhead) ready_[index] = std::move(image);
        changed_.notify_all();
    }
}

QImage OverlayReel::at(std::int64_t index) {
    std::unique_lock held(lock_);
    current_ = index;
    std::erase_if(ready_, [&](const auto& each) { return each.first < index || each.first > index + mostAhead; });
    changed_.notify_all();
    changed_.wait(held, [&] { return painting_ != index; });
    if (const auto found = ready_.find(index); found != ready_.end()) return found->second;
    held.unlock();
    QImage image = sequence_.paint(index);
    held.lock();
    return ready_[index] = std::move(image);
}

} // namespace glasshob
