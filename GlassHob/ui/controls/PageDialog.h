// A dialog that shows one page after another, as large as what it shows and within its screen. Main thread; deletes
// itself when it is closed.
#pragma once

#include <QDialog>

class QVBoxLayout;

namespace glasshob {

class PageDialog : public QDialog {
    Q_OBJECT
  public:
    explicit PageDialog(QWidget* parent);

    // Before the other windows, with the keyboard.
    void comeForward();

  protected:
    // Where the pages stand, one over the other. Its size is the dialog's.
    QVBoxLayout* column() const { return column_; }

    // Return presses the button that the keyboard has been led to; these say what else it does.
    // Whether it does anything now.
    virtual bool takesReturn() const { return true; }
    // Where no button has the keyboard, or with Ctrl held (`isForced`) wherever that is.
    virtual void press(bool isForced) = 0;

    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    QVBoxLayout* column_;
};

} // namespace glasshob
