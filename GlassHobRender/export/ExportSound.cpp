#include "GlassHobRender/export/ExportSound.h"

#include "GPU/Buffer.h"
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GlassHobRender/formats/ExportError.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <algorithm>

namespace glasshob {

namespace {

constexpr double fadeIn = 0.02; // seconds
constexpr double fadeOut = 0.3;

} // namespace

ExportSound::ExportSound(const ExportTimeline& timeline, const std::shared_ptr<gpu::Device>& device)
    : timeline_(timeline), samplesPerFrame_(sampleRate / timeline.fps()) {
    const auto buffer = device->makeBuffer(std::size_t(samplesPerFrame_) * 2 * sizeof(float), gpu::StorageMode::shared);
    const auto queue = device->makeCommandQueue(gpu::QueuePriority::background);
    if (!buffer || !queue) throw ExportError::setup("no audio buffer");
    buffer_ = *buffer;
    queue_ = *queue;
}

bool ExportSound::render(std::int64_t frame, std::vector<float>& samples) {
    if (!evaluate(frame, samples)) return false;
    fadeEdges(frame, samples);
    return true;
}

bool ExportSound::evaluate(std::int64_t frame, std::vector<float>& samples) {
    const ExportSegment& segment = *timeline_[frame].segment;
    samples.assign(std::size_t(samplesPerFrame_) * 2, 0.0F);
    const auto& program = segment.heard();
    if (!segment.sound || program->soundPipeline() == nullptr) return true;
    const double time = timeline_.localTime(frame) + segment.soundStart.value_or(segment.start);
    const SliderValues& values = segment.soundValues ? *segment.soundValues : segment.values;
    const auto commands = queue_->commandBuffer();
    gpu::ComputeCommandEncoder* encoder = commands != nullptr ? commands->makeComputeCommandEncoder() : nullptr;
    if (encoder == nullptr) return false;
    program->encodeSound(*encoder, buffer_, time, std::uint32_t(samplesPerFrame_), values);
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    if (commands->status() != gpu::CommandBufferStatus::completed) return false;
    const auto* made = static_cast<const float*>(buffer_->contents());
    std::copy_n(made, samples.size(), samples.begin());
    return true;
}

void ExportSound::fadeEdges(std::int64_t frame, std::vector<float>& samples) const {
    const double length = double(timeline_.frameCount()) / double(timeline_.fps());
    const double first = double(frame * samplesPerFrame_) / double(sampleRate);
    if (first >= fadeIn && length - fadeOut >= first + 1.0 / double(timeline_.fps())) return;
    for (std::int64_t j = 0; j < samplesPerFrame_; ++j) {
        const double time = first + double(j) / double(sampleRate);
        const double gain = std::max(0.0, std::min({1.0, time / fadeIn, (length - time) / fadeOut}));
        samples[std::size_t(2 * j)] *= float(gain);
        samples[std::size_t(2 * j + 1)] *= float(gain);
    }
}

} // namespace glasshob
