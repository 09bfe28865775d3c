// What the dialogs are made of: a text over several lines, a sentence with its sign, the strip with the buttons at the
// foot. Main thread; owned by their parents.
#pragma once

#include "GlassHob/ui/controls/Controls.h"

class QHBoxLayout;
class QScrollArea;
class QVBoxLayout;

namespace glasshob {

inline constexpr int dialogWidth = 432;
inline constexpr int dialogMargin = 24;
// Of texts on a page that may scroll.
inline constexpr int dialogTextWidth = dialogWidth - 2 * dialogMargin - 8;

// A text of a fixed width, as many lines high as it needs.
class WrappedText : public TextLine {
    Q_OBJECT
  public:
    WrappedText(const QFont& font, Role role, int width, QWidget* parent, const QString& text = {});
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    int lineHeight() const;

    int width_;
};

// Nothing but an icon in a role's colour.
class Sign : public QWidget {
    Q_OBJECT
  public:
    Sign(Icon icon, int side, Role role, QWidget* parent);
    void setSign(Icon icon, Role role);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    Icon icon_;
    Role role_;
};

// Why a field is refused, under it: a sign and a sentence. Takes no room while there is nothing to say.
class FieldMessage : public QWidget {
    Q_OBJECT
  public:
    FieldMessage(int width, QWidget* parent);
    void tell(const QString& sentence);
    void retract() { hide(); }
    const QString& text() const { return text_->text(); }

  private:
    WrappedText* text_;
};

// Of texts beside a page's sign.
inline constexpr int besideSignWidth = dialogTextWidth - 33;

// Lays a page out as a sign at the left of the column that it gives back.
QVBoxLayout* besideSign(FilledPane* ground, Icon icon, Role role);

// The strip at a dialog's foot; what is put into its row stands at the right of a stretch where one is added.
class DialogFooter : public FilledPane {
    Q_OBJECT
  public:
    explicit DialogFooter(QWidget* parent);
    QHBoxLayout* row() const { return row_; }

  private:
    QHBoxLayout* row_;
};

// What a dialog shows over its footer, as high as it wants to be; where there is less room, it scrolls. Its height
// follows what it shows.
class DialogPage : public QWidget {
    Q_OBJECT
  public:
    explicit DialogPage(QWidget* parent);

    // What is shown is laid out on it.
    FilledPane* ground() const { return ground_; }
    DialogFooter* footer() const { return footer_; }
    // With the footer.
    int wantedHeight() const;
    // What is shown is made so high where there is room.
    void setPreferredHeight(int height);
    // The screen's room where this is not called.
    void setMostHeight(int height);
    // Scrolls a part of what is shown to where it can be seen.
    void reveal(QWidget* part);

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    int leastHeight() const;
    void fit();

    FilledPane* ground_;
    QScrollArea* scroll_;
    DialogFooter* footer_;
    int preferred_ = 0;
    int most_ = 0;
};

} // namespace glasshob
