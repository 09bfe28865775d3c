#pragma once

// What the command line asks of an export, read and checked before anything is made.

#include "GlassHobCore/ExportPreset.h"
#include "GlassHobRender/VideoExporter.h"
#include "hob/Arguments.h"

#include <expected>
#include <span>
#include <string>

namespace hob {

struct ExportRequest {
    std::string output;
    glasshob::ExportPreset preset = glasshob::ExportPreset::web();
    double start = 0;
    double duration = 10;
    bool hasMark = true;
    bool replaces = false;
    bool tellsJson = false;
    glasshob::VideoExporter::Encoding encoding;
};

std::span<const Option> exportOptions();

/// Fails with a sentence that names the option.
std::expected<ExportRequest, std::string> readExportRequest(const Arguments& arguments);

} // namespace hob
