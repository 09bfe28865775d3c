// Turns once a second while something is waited for; stands still where the desktop wants no motion. Main thread.
#pragma once

#include <QVariantAnimation>
#include <QWidget>

namespace glasshob {

class Spinner : public QWidget {
    Q_OBJECT
  public:
    explicit Spinner(QWidget* parent);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    QVariantAnimation turn_;
};

} // namespace glasshob
