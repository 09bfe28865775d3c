// A field for a few lines of plain text, in the same box as the fields of one line. Tab leaves it. Main thread; owned
// by its parent.
#pragma once

#include <QPlainTextEdit>

namespace glasshob {

class TextBox : public QWidget {
    Q_OBJECT
  public:
    TextBox(const QString& name, int lines, QWidget* parent);

    QString text() const { return edit_->toPlainText(); }
    void setText(const QString& text) { edit_->setPlainText(text); }
    void setRefused(bool refused);
    // What has the keyboard.
    QPlainTextEdit* edit() const { return edit_; }

  signals:
    void edited();

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    void followTheme();

    QPlainTextEdit* edit_;
    bool refused_ = false;
};

} // namespace glasshob
