#include "GlassHob/model/RetiredDevice.h"

#include "GPU/Device.h"
#include "GlassHob/model/BesideWork.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <thread>

namespace glasshob {

namespace {

std::mutex lock;
std::set<const gpu::Device*> waitedFor;
std::atomic<int> ending = 0;

} // namespace

void retire(std::shared_ptr<gpu::Device> device) {
    if (!device) return;
    {
        // Two threads that each hold the device until nobody else does would wait for each other.
        const std::scoped_lock held(lock);
        if (!waitedFor.insert(device.get()).second) return;
    }
    ++ending;
    runBeside([device = std::move(device)]() mutable {
        while (device.use_count() > 1)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        {
            const std::scoped_lock held(lock);
            waitedFor.erase(device.get());
        }
        device.reset();
        --ending;
    });
}

bool retiredDeviceIsBusy() {
    return ending > 0;
}

} // namespace glasshob
