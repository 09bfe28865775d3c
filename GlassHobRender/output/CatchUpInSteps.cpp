#include "GlassHobRender/output/CatchUpInSteps.h"

#include "GlassHobRender/program/ShaderRun.h"

namespace glasshob::CatchUpInSteps {

namespace {

constexpr double piece = 5; // seconds of shader time

} // namespace

bool run(ShaderRun& run, gpu::CommandQueue& queue, const SliderValues& values, double time, const std::stop_token& stop,
         const Told& told) {
    if (told && run.simulation() != nullptr)
        for (double reached = piece; reached < time; reached += piece) {
            if (!run.catchUp(queue, values, nullptr, reached, stop)) return false;
            told(reached, time);
        }
    return run.catchUp(queue, values, nullptr, time, stop);
}

} // namespace glasshob::CatchUpInSteps
