// A strip that tells something and offers what to do about it. Two looks: a tall one across the window, with an icon, a
// title and a detail, for what stands in the way of the picture; and a line over the editor for what can wait.
// Comes and goes in 160 ms. It never takes the focus by itself. Main thread; owned by its parent.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

#include <functional>
#include <vector>

namespace glasshob {

class Banner : public FilledPane {
    Q_OBJECT
  public:
    enum class Look { tall, line };
    enum class Tone { news, trouble };
    struct Choice {
        QString text;
        std::function<void()> run;
        bool isPrimary = false;
        std::optional<Icon> icon = std::nullopt;
    };
    struct Contents {
        Tone tone = Tone::news;
        Icon icon = Icon::note;
        QString title;               // a whole sentence in a line
        QString detail;              // tall only
        std::vector<Choice> choices; // at most two
        std::function<void()> close; // what the cross does, besides closing; no cross without it
    };

    Banner(Look look, QWidget* parent);

    // Shows it, or shows something else in its place.
    void tell(Contents contents);
    // Other words for what it tells already; nothing else changes.
    void reword(const QString& title);
    void retract();
    // Whether it is there, or on its way.
    bool isTelling() const { return isTelling_; }
    const std::vector<TextButton*>& buttons() const { return buttons_; }
    ToolButton* closeButton() const { return close_; }
    // The first of its controls gets the keyboard.
    void focusFirst();

    QSize minimumSizeHint() const override { return QSize(200, 0); }

  signals:
    // It had the keyboard and goes.
    void keyboardFreed();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

  private:
    int fullHeight() const { return look_ == Look::tall ? 64 : 40; }
    QRect textBox() const;
    void layOut();
    void moveTo(int height);

    Look look_;
    Contents contents_;
    bool isTelling_ = false;
    std::vector<TextButton*> buttons_;
    ToolButton* close_;
    QVariantAnimation height_;
};

} // namespace glasshob
