#include "GlassHobRender/episode/EpisodePlan.h"

#include "GlassHobCore/shader/ExportLimits.h"
#include "GlassHobCore/text/Numbers.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <utility>

namespace glasshob {

namespace {

// Seconds of shader time that variations start in, at least.
constexpr double leastSpan = 120;

bool isVaried(const std::vector<ParamDecl>& params) {
    return std::ranges::any_of(params,
                               [](const ParamDecl& param) { return !Variations::excluded().contains(param.name); });
}

std::vector<Variation> variationsOf(const std::vector<ParamDecl>& params, const EpisodeMeta& meta, std::int64_t first,
                                    std::int64_t count, float amount) {
    const double hold = meta.variationLength;
    return Variations::make(params, std::uint64_t(meta.number), first, count, std::max(leastSpan, 4 * hold), hold,
                            amount);
}

// The indices of the variations to show.
std::vector<std::int64_t> indicesOf(const EpisodeMeta& meta, const EpisodeChoices& choices) {
    if (!choices.variations.empty()) return choices.variations;
    if (!meta.variations.empty()) return meta.variations;
    std::vector<std::int64_t> first(EpisodePlan::usualVariations);
    std::iota(first.begin(), first.end(), 1);
    return first;
}

} // namespace

std::string_view rawValue(EpisodePart::Kind kind) {
    switch (kind) {
    case EpisodePart::Kind::opening: return "opening";
    case EpisodePart::Kind::show: return "show";
    case EpisodePart::Kind::stage: return "stage";
    case EpisodePart::Kind::variation: return "variation";
    case EpisodePart::Kind::end: return "end";
    }
    return {};
}

std::vector<Variation> EpisodePlan::variations(const Episode& episode, std::int64_t first, std::int64_t count,
                                               float amount) {
    return variationsOf(ParamParser::parse(episode.source.text), episode.meta, first, count, amount);
}

void EpisodePlan::add(EpisodePart::Kind kind, std::string title, double seconds, std::size_t number) {
    EpisodePart part;
    part.kind = kind;
    part.title = std::move(title);
    part.firstFrame = frameCount();
    part.frames = ExportPlan::frameCount(seconds, fps_);
    part.at = double(part.firstFrame) / double(fps_);
    part.seconds = double(part.frames) / double(fps_);
    part.number = number;
    parts_.push_back(std::move(part));
}

std::expected<EpisodePlan, EpisodePlan::Fault> EpisodePlan::make(const Episode& episode, const ExportPreset& preset,
                                                                 const EpisodeChoices& choices,
                                                                 const std::vector<WalkthroughStage>* stages) {
    EpisodePlan plan;
    plan.meta_ = episode.meta;
    plan.choices_ = choices;
    plan.frame_ = {int(preset.width), int(preset.height)};
    plan.fps_ = preset.fps;
    plan.params_ = ParamParser::parse(episode.source.text);
    const bool hasRoom = plan.frame_.hasRoom();
    if (!hasRoom && (choices.hasCards || choices.hasWalkthrough))
        plan.notes_.emplace_back("Cards and code have no room in a frame that is narrower than 4:3, so the video goes "
                                 "without them.");

    if (choices.hasWalkthrough && hasRoom) {
        if (episode.stages.empty()) {
            // A single file has none.
            if (episode.source.name == "source.metal")
                plan.notes_.emplace_back("There are no stages, so the video has no walkthrough: put them into a folder "
                                         "called stages beside source.metal.");
        } else if (stages != nullptr) {
            plan.stages_ = *stages;
        } else {
            auto made = episode.walkthrough(choices.pageLines);
            if (!made) return std::unexpected(Fault{made.error().sentence, made.error().number});
            plan.stages_ = std::move(*made);
        }
    }
    std::vector<std::int64_t> indices;
    if (choices.hasVariations && isVaried(plan.params_))
        indices = indicesOf(plan.meta_, choices);
    else if (choices.hasVariations)
        plan.notes_.emplace_back("The shader has no sliders to vary, so the video has no variations.");

    double pages = 0;
    for (const WalkthroughStage& stage : plan.stages_)
        pages += double(stage.pages.size());
    const double wanted = (choices.hasCards && hasRoom ? 2 * episodeLook::cardSeconds : 0) +
                          (choices.hasShow ? plan.meta_.length : 0) + pages * choices.pageSeconds +
                          double(indices.size()) * plan.meta_.variationLength;
    if (!(wanted <= ExportLimits::longestDuration))
        return std::unexpected(
            Fault{(std::isfinite(wanted) && wanted < 1e7 ? "The video would be " + clockText(wanted) + " long"
                                                         : std::string("The video would be far too long")) +
                      ", and the most is " + clockText(ExportLimits::longestDuration) +
                      ": shorten @length or @variation in the header, or leave a part out.",
                  {}});
    for (const std::int64_t index : indices)
        plan.variations_.push_back(variationsOf(plan.params_, plan.meta_, index, 1, choices.amount).front());

    if (choices.hasCards && hasRoom) plan.add(EpisodePart::Kind::opening, plan.meta_.title, episodeLook::cardSeconds);
    if (choices.hasShow) plan.add(EpisodePart::Kind::show, "Full show", plan.meta_.length);
    for (std::size_t i = 0; i < plan.stages_.size(); ++i)
        plan.add(EpisodePart::Kind::stage, std::to_string(plan.stages_[i].number) + " · " + plan.stages_[i].title,
                 double(plan.stages_[i].pages.size()) * choices.pageSeconds, i);
    for (std::size_t i = 0; i < plan.variations_.size(); ++i)
        plan.add(EpisodePart::Kind::variation, plan.variations_[i].title(), plan.meta_.variationLength, i);
    const bool hasContent = !plan.parts_.empty() && plan.parts_.back().kind != EpisodePart::Kind::opening;
    if (!hasContent) return std::unexpected(Fault{"There is nothing left to show: choose at least one part.", {}});
    if (choices.hasCards && hasRoom) plan.add(EpisodePart::Kind::end, "End", episodeLook::cardSeconds);
    return plan;
}

std::int64_t EpisodePlan::frameCount() const {
    return parts_.empty() ? 0 : parts_.back().firstFrame + parts_.back().frames;
}

const EpisodePart& EpisodePlan::partAt(std::int64_t frame) const {
    const auto after = std::ranges::upper_bound(parts_, frame, {}, &EpisodePart::firstFrame);
    return after == parts_.begin() ? parts_.front() : *std::prev(after);
}

EpisodePlan EpisodePlan::inFrame(EpisodeFrame frame) const {
    EpisodePlan other = *this;
    other.frame_ = frame;
    return other;
}

VideoChapters EpisodePlan::chapters() const {
    VideoChapters made;
    made.duration = seconds();
    bool hasVariations = false;
    for (const EpisodePart& part : parts_) {
        switch (part.kind) {
        case EpisodePart::Kind::show: made.chapters.push_back({part.at, meta_.title, {}}); break;
        case EpisodePart::Kind::stage: made.chapters.push_back({part.at, part.title, {}}); break;
        case EpisodePart::Kind::variation:
            if (!std::exchange(hasVariations, true))
                Variations::appendChapters(variations_, part.seconds, part.at, made.chapters);
            break;
        case EpisodePart::Kind::opening:
        case EpisodePart::Kind::end: break;
        }
    }
    if (!made.chapters.empty()) made.chapters.front().at = 0;
    return made;
}

} // namespace glasshob
