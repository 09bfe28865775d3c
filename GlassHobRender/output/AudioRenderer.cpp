#include "GlassHobRender/output/AudioRenderer.h"

#include "GPU/Buffer.h"
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <algorithm>
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

std::int64_t frameCount(double duration) {
    const double exact = std::round(duration * sampleRate);
    return exact > 0 ? std::int64_t(exact) : 0;
}

bool stream(const std::shared_ptr<const ShaderProgram>& program, const std::shared_ptr<gpu::Device>& device,
            const SliderValues& values, double start, double duration, const Take& take) {
    if (program->soundPipeline() == nullptr) return false;
    const auto queue = device->makeCommandQueue(gpu::QueuePriority::background);
    if (!queue || !(duration <= maxDuration)) return false;
    const std::int64_t total = frameCount(duration);
    const auto output = device->makeBuffer(framesPerChunk * bytesPerFrame, gpu::StorageMode::shared);
    if (!output) return false;
    for (std::int64_t done = 0; done < total;) {
        const std::int64_t count = std::min(total - done, framesPerChunk);
        const std::shared_ptr<gpu::CommandBuffer> commands = (*queue)->commandBuffer();
        gpu::ComputeCommandEncoder* encoder = commands != nullptr ? commands->makeComputeCommandEncoder() : nullptr;
        if (encoder == nullptr) return false;
        // Every chunk's time is computed anew, so that rounding does not grow with the length.
        program->encodeSound(*encoder, *output, start + double(done) / sampleRate, std::uint32_t(count), values);
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        if (commands->status() != gpu::CommandBufferStatus::completed) return false;
        done += count;
        const std::span chunk(static_cast<const float*>((*output)->contents()), std::size_t(count) * 2);
        if (!take(chunk, double(done) / sampleRate, double(total) / sampleRate)) return false;
    }
    return true;
}

std::optional<std::vector<float>> render(const std::shared_ptr<const ShaderProgram>& program,
                                         const std::shared_ptr<gpu::Device>& device, const SliderValues& values,
                                         double start, double duration, const Progress& progress) {
    std::vector<float> samples;
    if (duration <= maxDuration) samples.reserve(std::size_t(frameCount(duration)) * 2);
    const auto take = [&](std::span<const float> chunk, double done, double total) {
        samples.insert(samples.end(), chunk.begin(), chunk.end());
        return !progress || progress(done, total);
    };
    if (!stream(program, device, values, start, duration, take)) return std::nullopt;
    return samples;
}

std::string wavHeader(std::uint64_t samples) {
    constexpr std::uint64_t headerRest = 36;
    const std::uint64_t dataSize = samples * 2;
    if (dataSize + headerRest > UINT32_MAX) {
        std::fputs("The sound is too long for a WAV file.\n", stderr);
        std::abort();
    }
    std::string bytes;
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
    return bytes;
}

std::string wavSamples(std::span<const float> samples) {
    std::string bytes;
    bytes.reserve(samples.size() * 2);
    for (const float sample : samples) {
        // The comparison is false for NaN, which then sounds like the loudest sample.
        const int value = sample < 1.0F ? int(std::round(std::max(sample, -1.0F) * 32767.0F)) : 32767;
        bytes.push_back(char(std::uint32_t(value) & 0xffU));
        bytes.push_back(char(std::uint32_t(value) >> 8U & 0xffU));
    }
    return bytes;
}

std::string wav(std::span<const float> samples) {
    return wavHeader(samples.size()) + wavSamples(samples);
}

} // namespace glasshob::AudioRenderer
