#pragma once

// What lies over the frames of a stretch of an episode's video as time goes by: images in the order in which they are
// seen, each painted only when it is asked for. Values that share what they paint from; any thread.

#include "GlassHobRender/episode/CardPainter.h"
#include "GlassHobRender/episode/WalkthroughPainter.h"

#include <QImage>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace glasshob {

class OverlaySequence {
  public:
    using Paint = std::function<QImage()>;

    // From this moment on, in seconds since the stretch began; not before the moments added earlier. Without a painter
    // nothing lies over the frames. The first moment is seen from the beginning.
    void add(double from, Paint paint);

    std::int64_t count() const { return std::int64_t(moments_.size()); }
    // Never goes down as time goes up; the last image holds.
    std::int64_t indexAt(double seconds) const;
    bool isEmpty(std::int64_t index) const { return !moments_.at(std::size_t(index)).paint; }
    // The same bytes every time. Null when there was no memory, or nothing to paint. Several threads at a time.
    QImage paint(std::int64_t index) const;

  private:
    struct Moment {
        double from = 0;
        Paint paint;
    };
    std::vector<Moment> moments_;
};

namespace episodeOverlays {

// The shortest time that an image is seen: two frames at 60 a second.
inline constexpr double step = 1.0 / 30;

// The title moment of a stage and its pages, over the time of its pages.
OverlaySequence stage(std::shared_ptr<const WalkthroughPainter> painter, std::size_t stage, double pageSeconds);
// How much of a stage's first page is its title moment.
double titleSeconds(double pageSeconds);
OverlaySequence card(const EpisodeFrame& frame, const EpisodeMeta& meta, Card card);
// The label of a variation that is seen for `seconds`.
OverlaySequence label(const EpisodeFrame& frame, const VariationLabel& label, double seconds);

} // namespace episodeOverlays
} // namespace glasshob
