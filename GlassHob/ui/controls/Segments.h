// A few choices side by side in one field, of which one is chosen: "Whole | Phone". Left and Right go to the next one.
// As high as it is made. Main thread; owned by its parent.
#pragma once

#include <QStringList>
#include <QWidget>

namespace glasshob {

class Segments : public QWidget {
    Q_OBJECT
  public:
    // `name` is what the choice is about, for screen readers.
    Segments(const QString& name, QStringList choices, QWidget* parent);
    int current() const { return current_; }
    void setCurrent(int current);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  signals:
    // By the person or by setCurrent().
    void chosen(int index);

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    QRect box(int index) const;

    QStringList choices_;
    int current_ = 0;
};

} // namespace glasshob
