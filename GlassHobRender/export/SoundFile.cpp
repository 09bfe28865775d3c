#include "GlassHobRender/export/SoundFile.h"

#include "GlassHobRender/formats/ByteOutput.h"
#include "GlassHobRender/formats/ExportError.h"
#include "GlassHobRender/output/AudioRenderer.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <algorithm>
#include <cmath>
#include <unistd.h>

namespace glasshob {

namespace {

constexpr std::int64_t rate = ShaderAssembler::soundSampleRate;

using Result = std::expected<void, std::string>;

Result write(const std::vector<ExportSegment>& segments, const std::shared_ptr<gpu::Device>& device,
             const SoundFileRequest& request, ByteOutput& output) {
    std::int64_t frames = 0;
    for (const ExportSegment& segment : segments)
        frames += AudioRenderer::frameCount(segment.duration);
    const auto total = std::int64_t(std::ceil(double(frames) / double(rate)));
    Result result =
        output.write(std::as_bytes(std::span<const char>(AudioRenderer::wavHeader(std::uint64_t(frames) * 2))));
    std::int64_t done = 0;
    const auto take = [&](std::span<const float> samples, double, double) {
        if (request.stop.stop_requested() || (request.progress && !request.progress(done / rate, total)))
            result = std::unexpected(ExportError::cancelled().description);
        if (result)
            result =
                output.write(std::as_bytes(std::span<const char>(AudioRenderer::wavSamples(samples))), request.stop);
        done += std::int64_t(samples.size() / 2);
        return result.has_value();
    };
    for (const ExportSegment& segment : segments) {
        if (!result) return result;
        const auto& program = segment.heard();
        if (segment.sound && program->soundPipeline() != nullptr) {
            const SliderValues& values = segment.soundValues ? *segment.soundValues : segment.values;
            const bool isWhole = AudioRenderer::stream(
                program, device, values, segment.soundStart.value_or(segment.start), segment.duration, take);
            if (!isWhole && result) return std::unexpected("The sound could not be rendered.");
            continue;
        }
        const std::vector<float> silence(std::size_t(2 * rate));
        for (std::int64_t left = AudioRenderer::frameCount(segment.duration); left > 0 && result; left -= rate)
            (void)take(std::span(silence).first(std::size_t(2 * std::min(left, rate))), 0, 0);
    }
    if (!result) return result;
    if (request.progress && !request.progress(total, total))
        return std::unexpected(ExportError::cancelled().description);
    return output.close();
}

} // namespace

Result writeSoundFile(const std::vector<ExportSegment>& segments, const std::shared_ptr<gpu::Device>& device,
                      const SoundFileRequest& request) {
    double seconds = 0;
    for (const ExportSegment& segment : segments)
        seconds += segment.duration;
    if (!(seconds <= AudioRenderer::maxDuration))
        return std::unexpected("The sound is too long for a WAV file: choose a shorter stretch.");
    auto output = ByteOutput::file(request.path, request.name);
    if (!output) return std::unexpected(output.error());
    auto written = write(segments, device, request, *output);
    if (!written) unlink(request.path.c_str());
    return written;
}

} // namespace glasshob
