// Lets go of a graphics device that may be busy for a long time: the end of a device waits for its work, which must not
// hold up the window. Any thread.
#pragma once

#include <memory>

namespace gpu {
class Device;
}

namespace glasshob {

// Drops the device beside the window (see BesideWork), once nothing else holds it. May be called again for one that is
// waited for.
void retire(std::shared_ptr<gpu::Device> device);

// Whether one is still waited for.
bool retiredDeviceIsBusy();

} // namespace glasshob
