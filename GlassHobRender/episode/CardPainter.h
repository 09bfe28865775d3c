#pragma once

// Paints the first and the last card of an episode, where the shader shows through the arch of an oven, and the label
// that names a variation. Images to lay over the frames of a video (episodeLook::Picture::opening, ::end, ::variation).
// The same input paints the same bytes. Any thread of a process with an application; images are null when there was no
// memory for them.

#include "GlassHobCore/episode/EpisodeMeta.h"
#include "GlassHobCore/episode/Variations.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobRender/episode/EpisodeLook.h"

#include <QImage>

#include <cstdint>
#include <vector>

namespace glasshob {

enum class Card { opening, end };

// `opacity` is that of the text.
QImage paintCard(const EpisodeFrame& frame, const EpisodeMeta& meta, Card card, double opacity = 1);

// What the label of a variation says: which of the chosen ones it is, and the sliders that are farthest off.
struct VariationLabel {
    struct Slider {
        std::string name;
        // As the number is written.
        std::string value;
        // 0 to 1: the places of value and default in the slider's range.
        double at = 0;
        double defaultAt = 0;
    };
    // From 1.
    std::int64_t number = 1;
    std::int64_t count = 1;
    std::vector<Slider> sliders;
};
VariationLabel variationLabel(const Variation& variation, const std::vector<ParamDecl>& params, std::int64_t number,
                              std::int64_t count);

// `opacity` is that of the whole label.
QImage paintVariationLabel(const EpisodeFrame& frame, const VariationLabel& label, double opacity = 1);

} // namespace glasshob
