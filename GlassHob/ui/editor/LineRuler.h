// The strip at the left of the code: line numbers, a severity icon on lines with a message, a notch on lines that
// declare a slider. A click on an icon shows its message, a click on a notch goes to the slider.
// A child of its editor; main thread. Not in the accessibility tree: the message list says the same.
#pragma once

#include <QWidget>

namespace glasshob {

class CodeEditor;

class LineRuler : public QWidget {
    Q_OBJECT
  public:
    explicit LineRuler(CodeEditor* editor);

    // 60 px with the text's own margin for up to three digits, 8 px more for each further one.
    int widthForLines(int lines) const;

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

  private:
    CodeEditor* editor_;
};

} // namespace glasshob
