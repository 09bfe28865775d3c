#pragma once

// Evaluates a program's sound() over a stretch of time on the GPU, and makes WAV files of the samples. Any thread;
// blocks until the GPU is done; memory on the GPU stays constant however long the stretch is.

#include "GlassHobCore/shader/Params.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace gpu {
class Device;
}

namespace glasshob {

class ShaderProgram;

namespace AudioRenderer {

// Called between chunks with the seconds done and in all; returning false stops the rendering, which then gives
// nothing.
using Progress = std::function<bool(double done, double total)>;

// Interleaved left and right at 48000 Hz. Nothing when the program has no sound, on a GPU failure, or when stopped; an
// empty list when the duration comes to no sample.
std::optional<std::vector<float>> render(const std::shared_ptr<const ShaderProgram>& program,
                                         const std::shared_ptr<gpu::Device>& device, const SliderValues& values,
                                         double start, double duration, const Progress& progress = {});

// The same, a second at a time in memory that is used again: `take` gets each piece and how far that is, and stops the
// rendering by false. Whether all was taken.
using Take = std::function<bool(std::span<const float> samples, double done, double total)>;
bool stream(const std::shared_ptr<const ShaderProgram>& program, const std::shared_ptr<gpu::Device>& device,
            const SliderValues& values, double start, double duration, const Take& take);

// The number of sample frames that a duration comes to; none for one that is no length of time.
std::int64_t frameCount(double duration);

// The bytes of a WAV file: 16-bit stereo at 48000 Hz. More samples than the format's 32-bit sizes can tell
// end the program; maxDuration keeps a caller on the safe side.
std::string wav(std::span<const float> samples);

// Its parts: the header for a given number of samples, and the samples.
std::string wavHeader(std::uint64_t samples);
std::string wavSamples(std::span<const float> samples);

// The longest stretch in seconds that fits into a WAV file.
inline constexpr double maxDuration = 4294967295.0 / 192000.0 - 1.0;

} // namespace AudioRenderer
} // namespace glasshob
