// The small controls of the main window: tool buttons, quiet and link buttons, text with a role's colour, chips,
// separators, and the ring that shows where the keyboard is. They paint themselves from the theme.
// Main thread; owned by their parents.
#pragma once

#include "GlassHob/ui/controls/Icons.h"
#include "GlassHobRender/paint/ThemeTables.h"

#include <QAbstractButton>
#include <QPointer>
#include <QVariantAnimation>
#include <QWidget>

#include <optional>

class QAction;
class QFocusFrame;
class QScrollArea;

namespace glasshob {

// The milliseconds an animation takes: as asked, or 0 when the desktop wants no animation.
int motionDuration(const QWidget* widget, int milliseconds);

// A tooltip's text, shown letter for letter and wrapped where it is long.
QString plainToolTip(const QString& text);

// The most that a window may take of its screen, without the frame that the desktop puts round it.
QSize roomFor(const QWidget* window);

// An area that scrolls its contents up and down on a pane's ground, to what has the keyboard.
QScrollArea* makeScrollArea(QWidget* contents, QWidget* parent);
// Scrolls a part of the contents up or down to where all of it can be seen.
void scrollTo(QScrollArea& area, const QWidget* part);

// The notches that a wheel or a touchpad has turned; what is less than one is kept for the next event.
class WheelNotches {
  public:
    int take(const QWheelEvent& event);

  private:
    int rest_ = 0;
};

// Puts a widget before another one in the order of the Tab key. Both must take the keyboard.
void setTabBefore(QWidget* widget, QWidget* next);

// A button without a frame of its own: colours come at once under the pointer and fade out in 80 ms.
class HoverButton : public QAbstractButton {
    Q_OBJECT
  public:
    explicit HoverButton(QWidget* parent);

  protected:
    double hover() const { return hover_; } // 0 to 1
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

  private:
    double hover_ = 0;
    QVariantAnimation fade_;
};

// A square button with an icon, with a label beside it where one is given. Checkable ones show that they are on.
class ToolButton : public HoverButton {
    Q_OBJECT
  public:
    ToolButton(Icon icon, const QString& name, QWidget* parent, int side = 32, int iconSize = 20);
    // One that does what the action does, and is enabled and checked as it is.
    ToolButton(Icon icon, const QString& name, QAction* action, QWidget* parent);

    void setIcon(Icon icon);
    Icon toolIcon() const { return icon_; }
    // Turns the icon by half a turn, as for a pane that is folded away.
    void setTurned(bool turned);
    void setLabel(const QString& label);
    void setShowsLabel(bool shows);
    // Which colour the icon has while it is neither on nor labelled; text2 where none is given.
    void setInk(std::optional<Role> ink);
    // Sets the accessible name and the tooltip: the name and its shortcut.
    void setName(const QString& name, const QString& shortcut = {});

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    bool labelled() const { return showsLabel_ && !label_.isEmpty(); }

    Icon icon_;
    int side_;
    int iconSize_;
    bool showsLabel_ = true;
    bool turned_ = false;
    QString label_;
    std::optional<Role> ink_;
};

// A button of text, with an icon before it where one is given: quiet, underlined as a link, an action within a text,
// with a border, larger at the foot of a dialog, or the one to press.
class TextButton : public HoverButton {
    Q_OBJECT
  public:
    enum class Look { quiet, link, action, bordered, dialog, primary };
    TextButton(const QString& text, Look look, QWidget* parent, std::optional<Icon> icon = std::nullopt);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    int padding() const;

    Look look_;
    std::optional<Icon> icon_;
};

// One line of text in a role's colour, elided at its end when there is no room.
class TextLine : public QWidget {
    Q_OBJECT
  public:
    TextLine(const QFont& font, Role role, QWidget* parent, const QString& text = {});
    void setText(const QString& text);
    const QString& text() const { return text_; }
    Role role() const { return role_; }
    void setRole(Role role);
    // A line that may shrink below its text; without this it keeps its whole width.
    void setElides(bool elides);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

  private:
    Role role_;
    bool elides_ = false;
    QString text_;
};

// A small label on a filled ground, such as "fragment".
class Chip : public TextLine {
    Q_OBJECT
  public:
    Chip(const QString& text, QWidget* parent);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
};

// A 1 px upright line between groups of tool buttons.
class BarSeparator : public QWidget {
    Q_OBJECT
  public:
    explicit BarSeparator(QWidget* parent);

  protected:
    void paintEvent(QPaintEvent* event) override;
};

// A box filled with a role's colour, with a 1 px line along the edges asked for.
class FilledPane : public QWidget {
    Q_OBJECT
  public:
    FilledPane(Role role, Qt::Edges lines, QWidget* parent);
    void setRole(Role role);

  protected:
    void paintEvent(QPaintEvent* event) override;
    Role groundRole() const { return role_; }

  private:
    Role role_;
    Qt::Edges lines_;
};

// Shows a ring round the control that got the focus from the keyboard, and nowhere else. One for each window.
class FocusRing : public QObject {
    Q_OBJECT
  public:
    explicit FocusRing(QWidget* window);
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    QPointer<QWidget> window_;
    QPointer<QFocusFrame> frame_;
};

} // namespace glasshob
