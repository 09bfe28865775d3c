#pragma once

// Draws the frames of segments and hands them to a sink: drawing on the caller's thread, the sink's work on threads of
// its own beside it, a few textures going round between them. Nothing is copied where the device draws into memory that
// the CPU sees.
//
// One call runs one export to its end and blocks its thread meanwhile. The first failure of any thread wins; the error
// is a sentence to show.

#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobRender/export/ExportSegment.h"
#include "GlassHobRender/formats/FrameSink.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace gpu {
class Device;
} // namespace gpu

namespace glasshob {

struct FrameExport {
    /// Called before each frame is drawn with the number of those before it and their count, and once more at the end;
    /// false cancels.
    using Progress = std::function<bool(std::int64_t done, std::int64_t total)>;

    /// Of the preset only the size and the frame rate count.
    ExportPreset preset;
    std::shared_ptr<gpu::Device> device;
    Progress progress = [](std::int64_t, std::int64_t) { return true; };
    /// Cancels as well, and is also looked at while a simulation runs up to its first frame and while a sink waits.
    std::stop_token stop = {};
    /// A part of the whole instead of all of it. Frames keep the numbers and times that they have in the whole.
    std::optional<FrameRange> frames = {};
};

std::expected<void, std::string> exportFrames(const std::vector<ExportSegment>& segments, const FrameExport& request,
                                              FrameSink& sink);

} // namespace glasshob
