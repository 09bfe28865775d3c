#pragma once

// The sink of each format, for exports by a file's name. Any thread.

#include "GlassHobCore/shader/ExportFormats.h"
#include "GlassHobRender/export/VideoExporter.h"

#include <expected>
#include <memory>
#include <string>

namespace glasshob {

struct SinkRequest {
    ExportFormat format = ExportFormat::mp4;
    // The file to write; of numbered pictures, the folder or the pattern that names them. Standard output when empty.
    std::string path;
    // What sentences call it.
    std::string name;
    ExportPreset preset;
    VideoExporter::Encoding encoding = {};
    // Whether any segment is heard.
    bool hasSound = false;
    // Whether numbered pictures that are there may be replaced.
    bool replaces = true;
};

// The container of a movie format.
MovieContainer containerOf(ExportFormat format);

// Not for sound alone (exportSoundFile()). Fails with a sentence.
std::expected<std::unique_ptr<FrameSink>, std::string> makeSink(const SinkRequest& request);

} // namespace glasshob
