// Plays the sound of the shader that runs, in step with the picture's clock: it is silent while the clock stands or
// runs at another speed, while nothing is drawn, and until it is turned on. Turned on, it opens the audio device and
// keeps two threads, one that renders ahead and one that feeds the device; turned off, both end.
//
// Main thread; failed() carries a sentence when there is no device, or when it goes away; the sound is off then.
#pragma once

#include "GlassHob/model/SoundOutput.h"

#include <QObject>

#include <memory>
#include <vector>

namespace glasshob {

class AppModel;

class SoundPlayer : public QObject {
    Q_OBJECT
  public:
    explicit SoundPlayer(AppModel& model, OpenSound open = openDesktopSound, QObject* parent = nullptr);
    ~SoundPlayer() override;

    bool isOn() const { return session_ != nullptr; }
    void setOn(bool on);
    // Whether frames are drawn at all; the clock stands while they are not.
    void setPictureDrawn(bool drawn);

  signals:
    void onChanged(bool on);
    void failed(const QString& sentence);

  private:
    class Session;
    void followSource();
    void followClock();

    AppModel& model_;
    OpenSound open_;
    bool pictureDrawn_ = true;
    std::shared_ptr<Session> session_;
    std::vector<std::weak_ptr<Session>> ending_; // turned off, and fading out
};

} // namespace glasshob
