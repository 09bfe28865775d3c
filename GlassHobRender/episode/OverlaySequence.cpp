#include "GlassHobRender/episode/OverlaySequence.h"

#include <algorithm>
#include <utility>

namespace glasshob {

void OverlaySequence::add(double from, Paint paint) {
    moments_.push_back({from, std::move(paint)});
}

std::int64_t OverlaySequence::indexAt(double seconds) const {
    // Times of frames and moments are sums of parts of seconds that round apart.
    constexpr double slack = 1e-6;
    const auto after = std::ranges::upper_bound(moments_, seconds + slack, {}, &Moment::from);
    return std::max<std::int64_t>(after - moments_.begin() - 1, 0);
}

QImage OverlaySequence::paint(std::int64_t index) const {
    const Moment& moment = moments_.at(std::size_t(index));
    return moment.paint ? moment.paint() : QImage();
}

namespace episodeOverlays {

namespace {

constexpr double fadeIn[] = {0.25, 0.55, 0.8};
constexpr double fadeOut[] = {0.6, 0.2};

// What is seen at an opacity.
using Faded = std::function<QImage(double)>;

void addIn(OverlaySequence& sequence, double from, const Faded& paint) {
    for (const double opacity : fadeIn) {
        sequence.add(from, [paint, opacity] { return paint(opacity); });
        from += step;
    }
    sequence.add(from, [paint] { return paint(1); });
}

void addOut(OverlaySequence& sequence, double from, const Faded& paint) {
    for (const double opacity : fadeOut) {
        sequence.add(from, [paint, opacity] { return paint(opacity); });
        from += step;
    }
}

} // namespace

double titleSeconds(double pageSeconds) {
    constexpr double longest = 2.5, leastPage = 6;
    return pageSeconds < leastPage ? 0 : std::min(longest, pageSeconds / 4);
}

OverlaySequence stage(std::shared_ptr<const WalkthroughPainter> painter, std::size_t stage, double pageSeconds) {
    OverlaySequence sequence;
    const std::size_t pages = painter->stages().at(stage).pages.size();
    std::vector<std::pair<double, Faded>> slides;
    const double title = titleSeconds(pageSeconds);
    if (title > 0) slides.emplace_back(0, [=](double opacity) { return painter->titleMoment(stage, opacity); });
    for (std::size_t i = 0; i < pages; ++i) {
        slides.emplace_back(i == 0 ? title : double(i) * pageSeconds,
                            [=](double opacity) { return painter->page(stage, i, opacity); });
    }
    for (std::size_t i = 0; i < slides.size(); ++i) {
        if (i > 0) addOut(sequence, slides[i].first - double(std::size(fadeOut)) * step, slides[i - 1].second);
        addIn(sequence, slides[i].first, slides[i].second);
    }
    return sequence;
}

OverlaySequence card(const EpisodeFrame& frame, const EpisodeMeta& meta, Card card) {
    constexpr double textFrom = 0.3;
    const Faded paint = [=](double opacity) { return paintCard(frame, meta, card, opacity); };
    OverlaySequence sequence;
    sequence.add(0, [paint] { return paint(0); });
    addIn(sequence, textFrom, paint);
    return sequence;
}

OverlaySequence label(const EpisodeFrame& frame, const VariationLabel& label, double seconds) {
    constexpr double from = 0.5, until = 6.5, beforeEnd = 1, leastSeconds = 3;
    OverlaySequence sequence;
    sequence.add(0, {});
    if (seconds < leastSeconds) return sequence;
    const Faded paint = [=](double opacity) { return paintVariationLabel(frame, label, opacity); };
    const double out = std::min(until, seconds - beforeEnd);
    addIn(sequence, from, paint);
    addOut(sequence, out, paint);
    sequence.add(out + double(std::size(fadeOut)) * step, {});
    return sequence;
}

} // namespace episodeOverlays
} // namespace glasshob
