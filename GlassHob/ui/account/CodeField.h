// The short code of a sign-in: one text that can be selected and read aloud, shown as a row of boxes. A code of more
// than ten characters is one line. Main thread; owned by its parent.
#pragma once

#include <QLineEdit>

namespace glasshob {

class CodeField : public QLineEdit {
    Q_OBJECT
  public:
    CodeField(const QString& code, int width, QWidget* parent);

  protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace glasshob
