// The variations to choose from, in rows: a still, the index and what changes most. A click chooses or gives back. The
// tile under the pointer, else the one with the keyboard, runs, unless the desktop asks for no animation. Scrolling to
// the end makes more. Main thread; owned by its window.
#pragma once

#include "GlassHob/ui/variations/TileArea.h"

#include <vector>

namespace glasshob {

class VariationGrid : public TileArea {
    Q_OBJECT
  public:
    VariationGrid(VariationPicker& picker, QWidget* parent);

    int tileCount() const override;
    QRect tileRect(int tile) const override;
    std::int64_t indexAt(int tile) const override;
    Speech speech(int tile) const override;
    void reveal(int tile) override;
    int columns() const;

    static constexpr QSize stillSize{208, 117};
    // The tiles that are seen, and the others.
    std::vector<std::int64_t> indicesSeen() const { return indices(true); }
    std::vector<std::int64_t> indicesBesideSeen() const { return indices(false); }
    // The one that runs.
    std::optional<std::int64_t> running() const { return running_; }
    void followRunning();

    QSize sizeHint() const override { return {976, 502}; }
    QSize minimumSizeHint() const override { return {260, 80}; }

  signals:
    // Other tiles are seen.
    void seenChanged();

  protected:
    std::optional<int> target(int key) const override;
    void moveChosen(int tile, int by) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    int contentHeight() const;
    void follow();
    std::vector<std::int64_t> indices(bool areSeen) const;
    void paintTile(QPainter& painter, int tile, int numberWidth) const;

    std::optional<std::int64_t> running_;
    QImage frame_; // of the one that runs; null before its first
    int pressed_ = -1;
};

} // namespace glasshob
