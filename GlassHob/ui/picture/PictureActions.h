// What one does with the picture: play, pause, one frame further, back to the start, hear it, fill the screen with it,
// save it, copy it. Makes the actions, keeps them as the model has it, and fills its parts of the menus.
// Owned by the window; main thread. What fails is told through the questions handed in.
#pragma once

#include <QObject>

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
    // Whose picture is copied, and whose rest is the sound's.
    void setCanvas(Canvas* canvas);

    void addTransportTo(QMenu* menu) const;
    void addPicturesTo(QMenu* menu) const;

    QAction *pauseOrPlay, *backToStart, *stepFrame, *hearSound;
    QAction* fullScreen;
    QAction *saveStill, *copyPicture;

  signals:
    // A sentence on what has been done or could not be.
    void told(const QString& sentence);

  private:
    void follow();
    void copy();

    AppModel& model_;
    Canvas* canvas_ = nullptr;
    SoundPlayer* sound_;
};

} // namespace glasshob
