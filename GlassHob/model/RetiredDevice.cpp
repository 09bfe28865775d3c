#include "GlassHob/model/RetiredDevice.h"

#include "GPU/Device.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace glasshob {

namespace {

std::atomic<int> waiting = 0;

} // namespace

void retire(std::shared_ptr<gpu::Device> device) {
    if (!device) return;
    ++waiting;
    std::thread([device = std::move(device)]() mutable {
        while (device.use_count() > 1)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        device.reset();
        --waiting;
    }).detach();
}

bool retiredDeviceIsBusy() {
    return waiting > 0;
}

} // namespace glasshob
