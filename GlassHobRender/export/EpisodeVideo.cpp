#include "GlassHobRender/export/EpisodeVideo.h"

#include "GlassHobRender/episode/OverlaySequence.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <QByteArray>
#include <QColor>
#include <QCryptographicHash>

#include <string_view>
#include <utility>

namespace glasshob {

namespace {

using Kind = EpisodePart::Kind;
using episodeLook::Picture;

FrameLayout layoutOf(const EpisodePlan& plan, Picture picture, OverlaySequence overlays) {
    const QRect box = episodeLook::picture(plan.frame(), picture);
    const QColor colour = episodeLook::background(picture);
    return {.picture = {box.x(), box.y(), box.width(), box.height()},
            .background = {colour.redF(), colour.greenF(), colour.blueF(), 1},
            .overlays = std::move(overlays)};
}

} // namespace

std::vector<ExportSegment> episodeSegments(const EpisodePlan& plan, const EpisodePrograms& programs) {
    const EpisodeChoices& choices = plan.choices();
    const auto pages =
        plan.stages().empty() ? nullptr : std::make_shared<const WalkthroughPainter>(plan.frame(), plan.stages());
    // The shader time at which the show ends and everything but the variations goes on.
    double clock = 0;
    std::vector<ExportSegment> segments;
    for (const EpisodePart& part : plan.parts()) {
        ExportSegment segment(programs.finished, choices.values, clock, part.seconds, choices.hasMark, true);
        switch (part.kind) {
        case Kind::opening:
            segment.start = plan.meta().still;
            segment.sound = false;
            segment.layout =
                layoutOf(plan, Picture::opening, episodeOverlays::card(plan.frame(), plan.meta(), Card::opening));
            break;
        case Kind::show: clock += part.seconds; break;
        case Kind::stage:
            segment.program = programs.stages.at(part.number);
            segment.layout =
                layoutOf(plan, Picture::page, episodeOverlays::stage(pages, part.number, choices.pageSeconds));
            if (choices.soundThroughout) segment.soundProgram = programs.finished;
            clock += part.seconds;
            break;
        case Kind::variation: {
            const Variation& variation = plan.shownVariations().at(part.number);
            segment.values = variation.values;
            for (const std::string& name : Variations::excluded())
                if (const auto kept = choices.values.find(name); kept != choices.values.end())
                    segment.values[name] = kept->second;
            segment.start = variation.start;
            if (!plan.frame().hasRoom()) break;
            segment.layout =
                layoutOf(plan, Picture::variation,
                         episodeOverlays::label(plan.frame(),
                                                variationLabel(variation, plan.params(), std::int64_t(part.number) + 1,
                                                               std::int64_t(plan.shownVariations().size())),
                                                part.seconds));
            break;
        }
        case Kind::end:
            segment.layout = layoutOf(plan, Picture::end, episodeOverlays::card(plan.frame(), plan.meta(), Card::end));
            break;
        }
        segments.push_back(std::move(segment));
    }
    return segments;
}

std::vector<MovieChapter> movieChapters(const VideoChapters& chapters) {
    std::vector<MovieChapter> made;
    for (const VideoChapters::Chapter& chapter : chapters.chapters) {
        if (!made.empty()) made.back().end = chapter.at;
        made.push_back({chapter.at, chapters.duration, chapter.title});
    }
    return made;
}

std::string lookIdentity(const EpisodePlan& plan) {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    const auto add = [&](std::string_view text) {
        hash.addData(QByteArray::number(qulonglong(text.size())) + ' ');
        hash.addData(QByteArray(text.data(), qsizetype(text.size())));
    };
    const EpisodeMeta& meta = plan.meta();
    for (const std::string_view text : {std::string_view(meta.title), std::string_view(meta.teaches),
                                        std::string_view(meta.finalTitle), std::string_view(meta.finalSummary)})
        add(text);
    add(std::to_string(meta.number));
    add(std::to_string(plan.choices().pageSeconds));
    for (const EpisodePart& part : plan.parts()) {
        add(rawValue(part.kind));
        add(part.title);
    }
    for (const WalkthroughStage& stage : plan.stages()) {
        add(stage.title);
        add(stage.summary);
        for (const WalkthroughPage& page : stage.pages) {
            add(page.caption);
            for (const WalkthroughLine& line : page.lines) {
                add(std::to_string(int(line.kind)));
                add(line.text);
            }
        }
    }
    return hash.result().toHex().toStdString();
}

} // namespace glasshob
