#pragma once

// What the command line asks of an episode, read and checked before anything is made.

#include "GlassHobCore/shader/ExportFormats.h"
#include "GlassHobRender/episode/EpisodePlan.h"
#include "GlassHobRender/export/VideoExporter.h"
#include "hob/Arguments.h"

#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace hob {

struct EpisodeRequest {
    // The movie; empty when none is asked for.
    std::string output;
    glasshob::ExportFormat format = glasshob::ExportFormat::mp4;
    glasshob::ExportPreset preset = glasshob::ExportPreset::web();
    glasshob::VideoExporter::Encoding encoding;
    // Without the slider values, which are checked against the shader.
    glasshob::EpisodeChoices choices;
    std::vector<std::string> settings;
    bool replaces = false;
    bool tellsJson = false;
    // "0:300"; checked against the episode's length.
    std::optional<std::string> frames;
    // What else is asked for, by itself or beside the movie.
    bool lists = false;
    bool tellsChapters = false;
    std::optional<std::string> pagesFolder;
    std::optional<std::string> contactSheet;
};

std::span<const Option> episodeOptions();

// Fails with a sentence that names the option.
std::expected<EpisodeRequest, std::string> readEpisodeRequest(const Arguments& arguments);

} // namespace hob
