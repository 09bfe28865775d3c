// The line of the header as it will be written, in the colours of code; over two rows where it is long. For reading
// alone. Main thread.
#pragma once

#include <QWidget>

namespace glasshob {

class LineField : public QWidget {
    Q_OBJECT
  public:
    explicit LineField(QWidget* parent);
    // Empty: there will be none.
    void setLine(const QString& line);
    const QString& line() const { return line_; }

    QSize sizeHint() const override { return {300, 54}; }
    QSize minimumSizeHint() const override { return {200, 54}; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QString line_;
};

} // namespace glasshob
