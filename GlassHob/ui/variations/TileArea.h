// What the two areas with stills of variations share: the grid to choose from and the strip of those that are chosen.
// One tile has the keyboard, one the pointer; keys choose, give back and move in both. It paints itself. Main thread.
#pragma once

#include <QAbstractScrollArea>
#include <QImage>

#include <cstdint>
#include <optional>

namespace glasshob {

class VariationPicker;

class TileArea : public QAbstractScrollArea {
    Q_OBJECT
  public:
    TileArea(VariationPicker& picker, QWidget* parent);

    virtual int tileCount() const = 0;
    // In the viewport.
    virtual QRect tileRect(int tile) const = 0;
    virtual std::int64_t indexAt(int tile) const = 0;
    // -1 where there is none.
    int tileAt(const QPoint& place) const;

    // What screen readers say of one.
    struct Speech {
        QString name, description, value;
        bool isChosen = false;
    };
    virtual Speech speech(int tile) const = 0;

    // -1 where there is no tile.
    int current() const { return current_; }
    void setCurrent(int tile);
    int hovered() const { return hovered_; }
    // The ring round the current one: it got the keyboard by a key.
    bool showsRing() const { return showsRing_ && hasFocus(); }
    virtual void reveal(int tile) = 0;
    // As the Space key does.
    void toggle(int tile);

  signals:
    void currentChanged(int tile);
    // The pointer, the focus or the ring is elsewhere.
    void stateChanged();

  protected:
    // Where an arrow key and the like lead to from the current one; nothing for another key.
    virtual std::optional<int> target(int key) const = 0;
    // Chosen at another place, so many further on.
    virtual void moveChosen(int tile, int by) = 0;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    // Tiles have come or gone.
    void keepCurrent();
    void hoverAt(const QPoint& place);

    // A still with round corners; `canvas` where there is none yet, pale where it is not of the amount as it is.
    void paintStill(QPainter& painter, const QRectF& box, const QImage& image, bool isStale) const;
    static void paintDisc(QPainter& painter, const QPointF& centre, double diameter, int number);
    void paintRing(QPainter& painter, const QRect& box, double radius) const;
    VariationPicker& picker() const { return picker_; }

  private:
    void setRing(bool shows);
    void tellFocus();

    VariationPicker& picker_;
    int current_ = -1;
    int hovered_ = -1;
    bool showsRing_ = false;
};

} // namespace glasshob
