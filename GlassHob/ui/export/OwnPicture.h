// The person's own size and rate: a list of shapes to begin with, width, height, and where it is asked for the frames a
// second. What is typed is checked by the owner. Main thread; owned by its parent.
#pragma once

#include <QWidget>

#include <cstdint>

namespace glasshob {

class ChoiceField;
class SearchField;

class OwnPicture : public QWidget {
    Q_OBJECT
  public:
    enum class Asks { size, sizeAndRate };
    OwnPicture(Asks asks, QWidget* parent);

    void setPicture(std::int64_t width, std::int64_t height, std::int64_t fps = 0);

    ChoiceField* shapeField() const { return shape_; }
    SearchField* widthField() const { return width_; }
    SearchField* heightField() const { return height_; }
    // Null where only the size is asked for.
    SearchField* rateField() const { return rate_; }

  signals:
    void edited();
    // A field has been left.
    void left();

  private:
    // The shape that the two sides are; -1 for one of the person's own.
    void followSides();

    ChoiceField* shape_;
    SearchField *width_, *height_, *rate_ = nullptr;
};

} // namespace glasshob
