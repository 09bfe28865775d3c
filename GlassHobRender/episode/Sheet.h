#pragma once

// An image of a whole frame that is painted in units: transparent at first. Text is set in units and drawn at the real
// size. One thread at a time.

#include "GlassHobRender/episode/EpisodeLook.h"

#include <QImage>
#include <QPainter>

#include <functional>

namespace glasshob {

class Sheet {
  public:
    explicit Sheet(const EpisodeFrame& frame);

    // Scaled to units, with smooth edges.
    QPainter& painter() { return painter_; }
    double wide() const { return frame_.unitsWide(); }

    // A box with edges on whole pixels.
    void fill(const QRectF& units, const QColor& colour);
    // What `paint` paints, as one layer of that opacity (0 to 1).
    void layer(double opacity, const std::function<void(Sheet&)>& paint);

    // The image; the sheet is painted no more. Null when there was no memory for it.
    QImage take();

  private:
    EpisodeFrame frame_;
    QImage image_;
    QPainter painter_;
};

} // namespace glasshob
