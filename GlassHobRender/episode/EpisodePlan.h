#pragma once

// What the video of an episode holds, in which order and when: an opening card, the full show, the walkthrough stage by
// stage, the variations, an end card. Follows from the episode, the choices and the frame alone; no device is needed.
// Values; pure; any thread.

#include "GlassHobCore/episode/EpisodeFolder.h"
#include "GlassHobCore/episode/Variations.h"
#include "GlassHobCore/episode/VideoChapters.h"
#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobRender/episode/EpisodeLook.h"

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <vector>

namespace glasshob {

struct EpisodeChoices {
    bool hasCards = true;
    bool hasShow = true;
    bool hasWalkthrough = true;
    bool hasVariations = true;
    // Indices of the variations; empty: those of the header, else the first four.
    std::vector<std::int64_t> variations;
    // How far variations stray from the defaults, 0 to 1.
    float amount = 0.6F;
    // How long a page of the walkthrough is seen.
    double pageSeconds = episodeLook::pageSeconds;
    // Whether the finished shader is heard while its stages are seen; else each stage's own sound.
    bool soundThroughout = true;
    bool hasMark = true;
    Walkthrough::PageLines pageLines = episodeLook::pageLines;
    // Slider values in place of the declared defaults.
    SliderValues values;
};

struct EpisodePart {
    enum class Kind { opening, show, stage, variation, end };
    Kind kind = Kind::show;
    // "1 · One wave" for a stage, the values that changed most for a variation.
    std::string title;
    // Of the video.
    std::int64_t firstFrame = 0;
    std::int64_t frames = 0;
    // Seconds; multiples of a frame's time.
    double at = 0;
    double seconds = 0;
    // Which of the plan's stages or variations, from 0.
    std::size_t number = 0;

    bool operator==(const EpisodePart&) const = default;
};

// "opening", "show" and so on, as programs read it.
std::string_view rawValue(EpisodePart::Kind kind);

class EpisodePlan {
  public:
    struct Fault {
        std::string sentence;
        // Of the stage that is at fault, from 1.
        std::optional<std::int64_t> stage;
    };

    // The number of variations that are shown when nobody chose any.
    static constexpr std::int64_t usualVariations = 4;

    // Fails when a stage has no code to show, when nothing is left to show, or when the video would be too long.
    // `stages` is the episode's walkthrough for the choices' lines of a page where that is known already: it is most of
    // the work.
    static std::expected<EpisodePlan, Fault> make(const Episode& episode, const ExportPreset& preset,
                                                  const EpisodeChoices& choices,
                                                  const std::vector<WalkthroughStage>* stages = nullptr);

    // Variations of an episode from an index on, with the seed, span and length that its video takes them with.
    static std::vector<Variation> variations(const Episode& episode, std::int64_t first, std::int64_t count,
                                             float amount);

    const EpisodeMeta& meta() const { return meta_; }
    const EpisodeChoices& choices() const { return choices_; }
    const EpisodeFrame& frame() const { return frame_; }
    const std::vector<ParamDecl>& params() const { return params_; }
    // Those that are shown.
    const std::vector<WalkthroughStage>& stages() const { return stages_; }
    const std::vector<Variation>& shownVariations() const { return variations_; }
    // In order, without gaps.
    const std::vector<EpisodePart>& parts() const { return parts_; }
    // The one that a frame belongs to; the first or the last one outside of the video.
    const EpisodePart& partAt(std::int64_t frame) const;
    std::int64_t fps() const { return fps_; }
    std::int64_t frameCount() const;
    double seconds() const { return double(frameCount()) / double(fps_); }
    // The same for pictures of another size; parts that have no room there have no overlay.
    EpisodePlan inFrame(EpisodeFrame frame) const;
    // The show under the episode's title, each stage and each variation. The first one begins at 0, with the opening
    // card before it.
    VideoChapters chapters() const;
    // What was asked for and is missing, and why; a sentence each.
    const std::vector<std::string>& notes() const { return notes_; }

  private:
    EpisodePlan() = default;
    void add(EpisodePart::Kind kind, std::string title, double seconds, std::size_t number = 0);

    EpisodeMeta meta_;
    EpisodeChoices choices_;
    EpisodeFrame frame_;
    std::int64_t fps_ = 60;
    std::vector<ParamDecl> params_;
    std::vector<WalkthroughStage> stages_;
    std::vector<Variation> variations_;
    std::vector<EpisodePart> parts_;
    std::vector<std::string> notes_;
};

} // namespace glasshob
