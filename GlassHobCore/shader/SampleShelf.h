#pragma once

// The sample shaders that come with the program, and copies of them for a person to edit. The samples themselves are
// never written to; a copy that a person has changed is never overwritten. Reads the disk at every call; any thread.

#include "GlassHobCore/shader/ShaderAssembler.h"

#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob::SampleShelf {

struct Sample {
    // "02-blue-hour.metal"; it identifies the sample.
    std::string file;
    // "Blue Hour", from the first line of the text.
    std::string title;
    ShaderKind kind = ShaderKind::fragment;
    bool hasSound = false;
    std::string text;
};

// In the order of their file names; empty when the program's resources are missing.
std::vector<Sample> all();

// The comment that a text begins with, or the file's name without its ending.
std::string title(std::string_view text, std::string_view file);

// The path of a copy in the folder, named after the title: one that is there and has the sample's text still, else a
// new one, with a number behind the name when that is taken. The error is a whole sentence.
std::expected<std::string, std::string> copyInto(const std::string& folder, const Sample& sample);

} // namespace glasshob::SampleShelf
