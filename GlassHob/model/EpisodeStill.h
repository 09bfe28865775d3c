// The picture of one moment of an episode's video, small: drawn away from the main thread, again 300 ms after another
// moment or another plan has been asked for.
//
// Main thread. A drawing that is no longer wanted ends early where it can and is dropped; until then the last picture
// stays. The end of the object waits for the drawing in work, at most a frame long.
#pragma once

#include "GlassHob/model/Delay.h"
#include "GlassHob/model/PictureThread.h"
#include "GlassHobRender/export/EpisodeVideo.h"

#include <QImage>
#include <QObject>
#include <QSize>

#include <memory>
#include <optional>
#include <stop_token>

namespace glasshob {

class EpisodeStill : public QObject {
    Q_OBJECT
  public:
    // Pictures are no larger than `most`.
    explicit EpisodeStill(QSize most, std::unique_ptr<Delay> delay = std::make_unique<TimerDelay>());

    // Draws this moment, in seconds of the video; at once when nothing has been drawn yet.
    void show(std::shared_ptr<const EpisodePlan> plan, EpisodePrograms programs, double seconds);
    // Nothing is wanted any more: programs keep their device.
    void dismiss();
    // Null before the first is drawn, and where a moment has no picture: its program is missing, or drawing failed.
    const QImage& image() const { return image_; }

  signals:
    void changed();

  private:
    struct Moment {
        std::shared_ptr<const EpisodePlan> plan;
        EpisodePrograms programs;
        double seconds = 0;
    };
    static bool isSame(const Moment& a, const Moment& b);
    static QImage draw(const Moment& moment, QSize most, const std::stop_token& stop);
    void redraw();
    void take(const QImage& picture, bool wasStopped);

    QSize most_;
    std::unique_ptr<Delay> delay_;
    std::optional<Moment> wanted_, drawn_; // the second is drawn, or in work
    PictureThread thread_;
    QImage image_;
};

} // namespace glasshob
