// A field that shows one of a few choices and opens the list of them: "MP4 movie ⌄". Up and Down go to the next one.
// Main thread; owned by its parent.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

#include <QStringList>

namespace glasshob {

class ChoiceField : public HoverButton {
    Q_OBJECT
  public:
    // `details` stand behind the names in the list.
    ChoiceField(const QString& name, const QStringList& choices, const QStringList& details, QWidget* parent);
    int current() const { return current_; }
    // -1 shows `text` for what is none of the choices.
    void setCurrent(int current, const QString& text = {});
    QSize sizeHint() const override { return {120, 32}; }
    QSize minimumSizeHint() const override { return sizeHint(); }

  signals:
    // By the person.
    void chosen(int index);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void open();
    void choose(int index);

    QStringList choices_, details_;
    int current_ = 0;
};

} // namespace glasshob
