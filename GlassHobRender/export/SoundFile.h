#pragma once

// The sound of segments alone, as a WAV file: what the shaders give, without the fades of a movie. Any thread; blocks
// until the file is there. Memory stays constant however long it is.

#include "GlassHobRender/export/ExportSegment.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

namespace gpu {
class Device;
} // namespace gpu

namespace glasshob {

struct SoundFileRequest {
    std::string path;
    // What sentences call it.
    std::string name;
    // Seconds done, and in all; false cancels.
    std::function<bool(std::int64_t done, std::int64_t total)> progress = {};
    std::stop_token stop = {};
};

// Segments that are not heard are silent. A file that is not whole is removed. Fails with a sentence.
std::expected<void, std::string> writeSoundFile(const std::vector<ExportSegment>& segments,
                                                const std::shared_ptr<gpu::Device>& device,
                                                const SoundFileRequest& request);

} // namespace glasshob
