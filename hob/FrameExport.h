#pragma once

// Exports that are no MPEG-4 movie: an animated GIF, numbered PNG files, raw frames in a file or a pipe.

#include "hob/Console.h"
#include "hob/ExportRequest.h"
#include "hob/Source.h"

namespace hob {

/// Does the whole export and tells what goes wrong. The shader itself is never overwritten.
ExitStatus exportFrames(const ExportRequest& request, const ShaderInput& input, Console& console);

} // namespace hob
