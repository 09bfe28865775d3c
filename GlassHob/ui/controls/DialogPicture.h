// The picture that a dialog shows over its page. Main thread; owned by its parent.
#pragma once

#include <QImage>
#include <QWidget>

namespace glasshob {

// Whole, or cropped to its middle.
class DialogPicture : public QWidget {
    Q_OBJECT
  public:
    static constexpr int wholeHeight = 243;   // 16:9
    static constexpr int croppedHeight = 120; // over a result, which needs little room

    explicit DialogPicture(QWidget* parent);
    // A null image leaves what is shown.
    void setImage(const QImage& image);
    void clear();
    void setCropped(bool cropped);
    const QImage& image() const { return image_; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const QImage& scaledTo(QSize pixels);

    bool cropped_ = false;
    QImage image_;
    QImage scaled_; // of what is shown, to the pixels of the screen
};

} // namespace glasshob
