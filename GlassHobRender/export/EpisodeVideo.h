#pragma once

// An episode's video as segments: which program is drawn where, with which values and from which time, what is heard
// with it, and what lies over it. Any thread of a process with an application.
//
// The show begins at time 0. The walkthrough goes on where the show ended: each stage is drawn and the finished shader
// heard at the same time of one clock that never jumps. A variation is drawn and heard from its own start. The opening
// card is silent, and the end card takes up the show where it ended.

#include "GlassHobRender/episode/EpisodePlan.h"
#include "GlassHobRender/export/ExportSegment.h"
#include "GlassHobRender/formats/MovieWriter.h"

#include <memory>
#include <string>
#include <vector>

namespace glasshob {

class ShaderProgram;

// The programs of an episode, all of one device.
struct EpisodePrograms {
    std::shared_ptr<const ShaderProgram> finished;
    // Of the plan's stages, the finished shader last; empty when there are none.
    std::vector<std::shared_ptr<const ShaderProgram>> stages;
};

// One for each part of the plan.
std::vector<ExportSegment> episodeSegments(const EpisodePlan& plan, const EpisodePrograms& programs);

// Chapters as a movie holds them: each until the next one, the last until the end.
std::vector<MovieChapter> movieChapters(const VideoChapters& chapters);

// The same for plans whose layouts are equal: MoviePart::look of their parts.
std::string lookIdentity(const EpisodePlan& plan);

} // namespace glasshob
