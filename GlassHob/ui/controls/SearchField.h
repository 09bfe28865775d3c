// The parts of the bars over the editor: a field with a counter at its right end, shown as refused where what stands in
// it makes no sense, and a small button with letters on it that stays down. Main thread; owned by their bars.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

#include <QLineEdit>

namespace glasshob {

// The box of every field, round what is typed.
void paintFieldBox(QPainter& painter, const QRect& box, bool hasFocus, bool isRefused);

class SearchField : public QLineEdit {
    Q_OBJECT
  public:
    SearchField(const QString& name, const QString& placeholder, QWidget* parent);

    void setCounter(const QString& text, Role role = Role::text3);
    const QString& counter() const { return counter_; }
    // What stands before the text and is no part of it: "example.site/u/".
    void setPrefix(const QString& prefix);
    void setRefused(bool refused);
    bool isRefused() const { return refused_; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void followTheme();
    void followMargins();

    QString prefix_;
    QString counter_;
    Role counterRole_ = Role::text3;
    bool refused_ = false;
};

class LetterToggle : public HoverButton {
    Q_OBJECT
  public:
    // `underlined` for the one that means whole words.
    LetterToggle(const QString& letters, const QString& name, const QKeySequence& key, QWidget* parent,
                 bool underlined = false);
    QSize sizeHint() const override { return {26, 24}; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    bool underlined_;
};

} // namespace glasshob
