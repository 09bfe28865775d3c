#include "GlassHobRender/output/AudioRenderer.h"

#include "GPU/Buffer.h"
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace glasshob::AudioRenderer {
namespace {

constexpr double sampleRate = ShaderAssembler::soundSampleRate;
constexpr std::int64_t framesPerChunk = ShaderAssembler::soundSampleRate; // one second
constexpr std::size_t bytesPerFrame = 2 * sizeof(float);

} // namespace

std::optional<std::vector<float>> render(const std::shared_ptr<const ShaderProgram>& program,
                                         const std::shared_ptr<gpu::Device>& device, const SliderValues& values,
                                         double start, double duration, const Progress& progress) {
    if (program->soundPipeline() == nullptr) return std::nullopt;
    const auto queue = device->makeCommandQueue(gpu::QueuePriority::background);
    const double exact = std::round(duration * sampleRate);
    constexpr double mostFrames = maxDuration * sampleRate;
    if (!queue || std::isnan(exact) || exact > mostFrames) return std::nullopt;
    const auto total = std::int64_t(std::max(exact, 0.0));
    const auto output = device->makeBuffer(framesPerChunk * bytesPerFrame, gpu::StorageMode::shared);
    if (!output) return std::nullopt;
    std::vector<float> samples;
    if (total < 1) return samples;
    samples.reserve(std::size_t(total) * 2);
    for (std::int64_t done = 0; done < total;) {
        const std::int64_t count = std::min(total - done, framesPerChunk);
        const std::shared_ptr<gpu::CommandBuffer> commands = (*queue)->commandBuffer();
        gpu::ComputeCommandEncoder* encoder = commands != nullptr ? commands->makeComputeCommandEncoder() : nullptr;
        if (encoder == nullptr) return std::nullopt;
        // Every chunk's time is computed anew, so that rounding does not grow with the length.
        program->encodeSound(*encoder, *output, start + double(done) / sampleRate, std::uint32_t(count), values);
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        if (commands->status() != gpu::CommandBufferStatus::completed) return std::nullopt;
        const auto* chunk = static_cast<const float*>((*output)->contents());
        samples.insert(samples.end(), chunk, chunk + count * 2);
        done += count;
        if (progress && !progress(double(done) / sampleRate, double(total) / sampleRate)) return std::nullopt;
    }
    return samples;
}

std::string wav(std::span<const float> samples) {
    constexpr std::uint64_t headerRest = 36;
    const std::uint64_t dataSize = std::uint64_t(samples.size()) * 2;
    if (dataSize + headerRest > UINT32_MAX) {
        std::fputs("The sound is too long for a WAV file.\n", stderr);
        std::abort();
    }
    std::string bytes;
    bytes.reserve(44 + dataSize);
    const auto put = [&](std::uint32_t value, int size) {
        for (int i = 0; i < size; ++i)
            bytes.push_back(char(value >> (8 * i) & 0xffU));
    };
    bytes += "RIFF";
    put(std::uint32_t(headerRest + dataSize), 4);
    bytes += "WAVEfmt ";
    put(16, 4);
    put(1, 2); // PCM
    put(2, 2); // channels
    put(48000, 4);
    put(48000 * 2 * 2, 4);
    put(2 * 2, 2);
    put(16, 2);
    bytes += "data";
    put(std::uint32_t(dataSize), 4);
    for (const float sample : samples) {
        // The comparison is false for NaN, which then sounds like the loudest sample.
        const int value = sample < 1.0F ? int(std::round(std::max(sample, -1.0F) * 32767.0F)) : 32767;
        put(std::uint32_t(value), 2);
    }
    return bytes;
}

} // namespace glasshob::AudioRenderer
