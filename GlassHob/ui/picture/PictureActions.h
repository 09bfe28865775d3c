// What one does with the picture: play, pause, one frame further, back to the start, hear it, fill the screen with it,
// save it, copy it, repeat a stretch, slow it down. Makes the actions, keeps them as the model has it, and fills its
// parts of the menus. Owned by the window; main thread. Failures are shown through the questions handed in.
#pragma once

#include "GlassHob/model/PreviewClock.h"
#include "GlassHob/ui/picture/PreviewResolution.h"

#include <QObject>

#include <memory>
#include <optional>

class QAction;
class QImage;
class QMenu;
class QWidget;

namespace glasshob {

class AppModel;
class Canvas;
class SoundPlayer;

class PictureActions : public QObject {
    Q_OBJECT
  public:
    // The window carries the actions, so that their keys work wherever the keyboard is.
    PictureActions(AppModel& model, QWidget* window);
    ~PictureActions() override;
    // Whose picture is copied, and whose rest is the sound's.
    void setCanvas(Canvas* canvas);

    void addTransportTo(QMenu* menu) const;
    void addPicturesTo(QMenu* menu) const;
    // Half, normal and double speed; the part of its size that the preview is drawn at. Each belongs to this.
    QMenu* speedMenu() const { return speedMenu_.get(); }
    QMenu* resolutionMenu() const { return resolutionMenu_.get(); }

    QAction *pauseOrPlay, *backToStart, *stepFrame, *hearSound;
    QAction *loop, *loopFromHere, *loopToHere;
    QAction* fullScreen;
    QAction *saveStill, *copyPicture;

  signals:
    // A sentence on what has been done or could not be.
    void told(const QString& sentence);

  private:
    void follow();
    void copy();
    void makeTime();
    void makeResolutions();
    void setLoops(bool loops);
    void chooseResolution(PreviewResolution resolution);

    AppModel& model_;
    Canvas* canvas_ = nullptr;
    SoundPlayer* sound_;
    std::unique_ptr<QMenu> speedMenu_, resolutionMenu_;
    std::optional<TimeStretch> lastLoop_; // comes back when the loop is turned on again
};

} // namespace glasshob
