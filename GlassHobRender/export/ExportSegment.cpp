#include "GlassHobRender/export/ExportSegment.h"

#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <algorithm>

namespace glasshob {

namespace {

double notNegative(double value) {
    return value >= 0 ? value : 0;
}

} // namespace

ExportSegment::ExportSegment(std::shared_ptr<const ShaderProgram> program_, SliderValues values_, double start_,
                             double duration_, bool watermark_, bool sound_, std::optional<FrameLayout> layout_,
                             std::shared_ptr<const ShaderProgram> soundProgram_,
                             std::optional<SliderValues> soundValues_, std::optional<double> soundStart_)
    : program(std::move(program_)), values(std::move(values_)), start(notNegative(start_)),
      duration(notNegative(duration_)), watermark(watermark_), sound(sound_), layout(std::move(layout_)),
      soundProgram(std::move(soundProgram_)), soundValues(std::move(soundValues_)), soundStart(soundStart_) {
    if (soundStart) soundStart = notNegative(*soundStart);
}

const std::shared_ptr<const ShaderProgram>& ExportSegment::heard() const {
    return soundProgram != nullptr ? soundProgram : program;
}

ExportTimeline::ExportTimeline(const std::vector<ExportSegment>& segments, std::int64_t fps) : fps_(fps) {
    for (const ExportSegment& segment : segments) {
        stretches_.push_back({&segment, frameCount_});
        frameCount_ += ExportPlan::frameCount(segment.duration, fps);
    }
}

ExportTimeline::Entry ExportTimeline::operator[](std::int64_t frame) const {
    const auto after = std::ranges::upper_bound(stretches_, frame, {}, &Stretch::first);
    const Stretch& stretch = *std::prev(after);
    return {stretch.segment, frame - stretch.first};
}

bool ExportTimeline::hasSound() const {
    return std::ranges::any_of(stretches_, [](const Stretch& stretch) {
        return stretch.segment->sound && stretch.segment->heard()->soundPipeline() != nullptr;
    });
}
bool ExportTimeline::hasLayout() const {
    return std::ranges::any_of(stretches_, [](const Stretch& stretch) { return stretch.segment->layout.has_value(); });
}
bool ExportTimeline::hasWatermark() const {
    return std::ranges::any_of(stretches_, [](const Stretch& stretch) { return stretch.segment->watermark; });
}

} // namespace glasshob
