#pragma once

// A particle simulation's run up to a moment, reported on the way: it takes minutes to reach a late moment. The
// steps are those of one run. Any thread; blocks until the moment is reached.

#include "GlassHobCore/shader/Params.h"

#include <functional>
#include <stop_token>

namespace gpu {
class CommandQueue;
} // namespace gpu

namespace glasshob {

class ShaderRun;

namespace CatchUpInSteps {

// Seconds of shader time: reached, and to be reached.
using Told = std::function<void(double reached, double target)>;

// False when the GPU fails or the run is stopped. The pointer stands at the centre.
bool run(ShaderRun& run, gpu::CommandQueue& queue, const SliderValues& values, double time, const std::stop_token& stop,
         const Told& told);

} // namespace CatchUpInSteps
} // namespace glasshob
