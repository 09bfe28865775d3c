// Lets a widget be seen over the live picture, and fade. Where the picture is on a surface of its own, which hides
// every widget under it, the widget is drawn into the frames as well, and the surface leaves the pointer to it; where
// the picture is a widget too, this one lies over it as any other.
//
// A child of the window over the picture gets one of these as its effect: `new OverPicture(box, picture)`. It belongs
// to the widget, and goes with it. Main thread.
#pragma once

#include "GlassHob/ui/picture/Canvas.h"

#include <QGraphicsEffect>
#include <QImage>
#include <QPointer>
#include <QVariantAnimation>

namespace glasshob {

class OverPicture : public QGraphicsEffect {
    Q_OBJECT
  public:
    // `radius`: of the corners that the widget paints.
    OverPicture(QWidget* box, Canvas* picture, double radius);
    ~OverPicture() override;

    // Shows it, or takes it away at the end. From where the last fade has come to.
    void fadeIn();
    void fadeOut();

  protected:
    void draw(QPainter* painter) override;
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    void fadeTo(double opacity, int duration);
    void setOpacity(double opacity);
    // Hands the canvas what is to be drawn with the frames.
    void tell();

    QWidget* box_;
    QPointer<Canvas> picture_;
    bool isDrawnWithFrames_;
    double radius_;
    QImage image_;
    double opacity_ = 1;
    double from_ = 1, to_ = 1; // of the fade
    QVariantAnimation fade_;
};

} // namespace glasshob
