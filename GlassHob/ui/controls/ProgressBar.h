// A bar of 8 px that goes evenly from one report to the next. To screen readers its value moves in tenths. Main thread;
// owned by its parent.
#pragma once

#include <QProgressBar>
#include <QVariantAnimation>

namespace glasshob {

class ProgressBar : public QProgressBar {
    Q_OBJECT
  public:
    // `name` is for screen readers.
    ProgressBar(const QString& name, QWidget* parent);
    // 0 to 1; back to the start at once.
    void setShare(double share, const QString& spoken);
    QSize sizeHint() const override { return {100, 8}; }
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    double shown_ = 0;
    QVariantAnimation move_;
};

} // namespace glasshob
