// The page of a walkthrough as the film has it, in its proportions, and the cells under it that say how far it has
// come. Main thread; owned by their parents.
#pragma once

#include "GlassHob/model/WalkthroughPictures.h"

#include <QAbstractButton>
#include <QImage>
#include <QWidget>

#include <vector>

namespace glasshob {

class PageView : public QWidget {
    Q_OBJECT
  public:
    // As large as there is room, or about the size of a telephone that is held sideways.
    enum class Size { whole, phone };

    explicit PageView(QWidget* parent);

    void setSize(Size size);
    Size shownSize() const { return size_; }
    void setImage(const QImage& image);
    const QImage& image() const { return image_; }
    // Shown while there is no picture.
    void setNote(const QString& note);
    // Where the page is drawn.
    QRect pageRect() const;

  signals:
    // The place of the page has another size.
    void resized();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    Size size_ = Size::whole;
    QImage image_;
    QString note_;
};

// A cell for each page, or for each stage where they would be too small. A click turns to the page.
class PageCells : public QWidget {
    Q_OBJECT
  public:
    explicit PageCells(QWidget* parent);

    void setStages(const std::vector<WalkthroughStage>& stages);
    void setCurrent(PagePlace place);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return {60, 24}; }

  signals:
    void picked(glasshob::PagePlace place);

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void layOut();
    void pick(std::size_t cell);

    std::vector<WalkthroughStage> stages_; // without their lines
    PagePlace current_;
    std::vector<QAbstractButton*> cells_;
};

} // namespace glasshob
