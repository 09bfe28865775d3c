// The first frame of the video that would be exported, small, with the mark where it is chosen: drawn away from the
// main thread, again 300 ms after anything has changed that shows in it. Follows the model only while it is wanted.
//
// Main thread. A drawing that is no longer wanted ends early where it can and is dropped; until then the last picture
// stays. The end of the object waits for the drawing in work, at most a frame long.
#pragma once

#include "GlassHob/model/Delay.h"
#include "GlassHob/model/PictureThread.h"
#include "GlassHobCore/shader/Params.h"

#include <QImage>
#include <QObject>

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>

namespace glasshob {

class AppModel;
class ShaderProgram;

class StartStill : public QObject {
    Q_OBJECT
  public:
    explicit StartStill(AppModel& model, std::unique_ptr<Delay> delay = std::make_unique<TimerDelay>());

    // Wanted: what is not drawn yet is drawn at once.
    void setWanted(bool wanted);
    // Null before the first is drawn.
    const QImage& image() const { return image_; }

  signals:
    void changed();

  private:
    struct Moment {
        std::shared_ptr<const ShaderProgram> program;
        SliderValues values;
        double start = 0;
        bool watermark = true;
        // Of the video, as are its proportions; what is drawn is smaller.
        std::int64_t width = 0, height = 0;
        bool operator==(const Moment&) const = default;
    };
    static QImage draw(const Moment& moment, const std::stop_token& stop);
    std::optional<Moment> now() const;
    void follow();
    void redraw();
    void take(const QImage& picture, bool wasStopped);

    AppModel& model_;
    std::unique_ptr<Delay> delay_;
    bool wanted_ = false;
    std::optional<Moment> asked_; // drawn, or in work
    PictureThread thread_;
    QImage image_;
};

} // namespace glasshob
