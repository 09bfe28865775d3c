#pragma once

// Exports that are no MPEG-4 movie: an animated GIF, numbered PNG files, raw frames in a file or a pipe.

#include "hob/Console.h"
#include "hob/ExportRequest.h"
#include "hob/Source.h"
#include "hob/Values.h"

#include <string>

namespace hob {

/// Does the whole export and tells what goes wrong. `path` is the shader's, which is never overwritten.
ExitStatus exportFrames(const ExportRequest& request, const std::string& path, const Source& source,
                        const SliderSettings& settings, Console& console);

} // namespace hob
