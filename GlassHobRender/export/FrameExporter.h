#pragma once

// The one way of every export: draws the frames of segments and hands them to a sink, whatever that makes of them.
// Drawing is done on the caller's thread, the sink's work and the sound on threads beside it, with a few textures going
// round between them. Nothing is copied where the device draws into memory that the CPU sees.
//
// One call runs one export to its end and blocks its thread until then, which must not be the one that drives the user
// interface. The first failure of any thread wins.

#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobRender/export/ExportSegment.h"
#include "GlassHobRender/export/FrameDrawer.h"
#include "GlassHobRender/formats/ExportError.h"
#include "GlassHobRender/formats/FrameSink.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

namespace gpu {
class Device;
} // namespace gpu

namespace glasshob {

struct FrameExport {
    // Called before each frame is drawn with the number of those before it and their count, and once more at the end;
    // false cancels.
    using Progress = std::function<bool(std::int64_t done, std::int64_t total)>;
    // A frame that has been drawn, for a preview: rows of blue, green, red, alpha from the top, valid during the
    // call. On the exporting thread, for the first frame, the last, and at most four in a second between them.
    using Preview = std::function<void(const std::byte* pixels, std::size_t rowBytes)>;

    // Of the preset only the size and the frame rate count.
    ExportPreset preset;
    std::shared_ptr<gpu::Device> device;
    Progress progress = [](std::int64_t, std::int64_t) { return true; };
    // Cancels as well, and is also looked at while a simulation runs up to its first frame and while a sink waits.
    std::stop_token stop = {};
    // A part of the whole instead of all of it. Frames keep the numbers and times that they have in the whole. A part
    // has no sound.
    std::optional<FrameRange> frames = {};
    Preview preview = {};
    FrameDrawer::CatchUp catchUp = {};
};

std::expected<void, ExportError> exportFrames(const std::vector<ExportSegment>& segments, const FrameExport& request,
                                              FrameSink& sink);

} // namespace glasshob
