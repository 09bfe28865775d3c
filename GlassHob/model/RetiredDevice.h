// Lets go of a graphics device that may be busy for a long time: the end of a device waits for its work, which must not
// hold up the window. Any thread.
#pragma once

#include <memory>

namespace gpu {
class Device;
}

namespace glasshob {

// Drops the device on a thread of its own, once nobody else holds it. May be called again for one that is waited for.
void retire(std::shared_ptr<gpu::Device> device);

// Whether one is still waited for. A program that ends meanwhile must not run its ordinary end, which would take the
// driver away under the device's work.
bool retiredDeviceIsBusy();

} // namespace glasshob
