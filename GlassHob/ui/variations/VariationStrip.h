// Those that are chosen, side by side in their order: dragged to another place, or moved by keys. The cross over one
// gives it back. Scrolls sideways. Main thread; owned by its window.
#pragma once

#include "GlassHob/ui/variations/TileArea.h"

#include <QBasicTimer>

#include <vector>

namespace glasshob {

class VariationStrip : public TileArea {
    Q_OBJECT
  public:
    VariationStrip(VariationPicker& picker, QWidget* parent);

    int tileCount() const override;
    QRect tileRect(int tile) const override;
    std::int64_t indexAt(int tile) const override;
    Speech speech(int tile) const override;
    void reveal(int tile) override;
    // The cross of one that the pointer is over.
    QRect crossRect(int tile) const;

    // The ones that are seen.
    std::vector<std::int64_t> indicesSeen() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  signals:
    void seenChanged();
    // A click on one: where it stands in the grid.
    void picked(qint64 index);

  protected:
    std::optional<int> target(int key) const override;
    void moveChosen(int tile, int by) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

  private:
    void follow();
    // Where the one that is dragged would come to stand.
    int dropPlace() const;
    void endDrag();
    // Of the place, with a drag's gap already made.
    QRect placeRect(int place) const;

    int pressed_ = -1;
    int dragged_ = -1;
    QPoint pressedAt_, pointer_;
    QBasicTimer scrolling_; // while one is dragged to an end
};

} // namespace glasshob
