#pragma once

// A still as the bytes of a file, in the format that its name asks for, and that file. Any thread; errors are sentences
// to show.

#include "GlassHobCore/shader/ExportFormats.h"
#include "GlassHobRender/output/StillRenderer.h"

#include <expected>
#include <string>

namespace glasshob::StillFile {

// PNG: every pixel as it is. JPEG and WebP: of high quality. All of them are 8-bit, opaque and sRGB.
std::expected<std::string, std::string> encode(const StillImage& image, StillFormat format);

// Whole or not at all, in the format of the path's ending.
std::expected<void, std::string> write(const StillImage& image, const std::string& path);

} // namespace glasshob::StillFile
