#pragma once

// Some words set in lines of a fixed height: wrapped, balanced, cut with "…" where they have no room. Right-to-left
// text stands at the right. Every length is in the painter's units. Values; any thread of a process with an
// application.

#include <QColor>
#include <QFont>
#include <QString>
#include <QStringList>

class QPainter;
class QPointF;

namespace glasshob {

struct TextStyle {
    int size = 33;
    // From one line to the next.
    int line = 48;
    QFont::Weight weight = QFont::Medium;
    QColor colour;
    // In ems.
    double letterSpacing = 0;

    QFont font() const;
};

class TextBlock {
  public:
    TextBlock() = default;
    // As many lines as it takes. White space and control characters become single blanks.
    TextBlock(const QString& text, const TextStyle& style, double width);

    const TextStyle& style() const { return style_; }
    const QStringList& lines() const { return lines_; }
    double height() const { return double(lines_.size()) * style_.line; }
    bool isEmpty() const { return lines_.isEmpty(); }
    // Whether words were left out.
    bool isCut() const { return isCut_; }
    // Whether a word was wider than the lines and is broken within.
    bool breaksWords() const { return breaksWords_; }

    // The narrowest width with the same number of lines.
    void balance();
    // Narrower where the last line is a single word and that helps.
    void avoidLoneWord();
    // Leaves out what is beyond so many lines; the last one ends in "…".
    void cut(int lines);
    // For who has left words out before.
    void markCut() { isCut_ = true; }
    // Lines begin where the text's direction begins, and not always at the left.
    void alignByDirection() { alignsByDirection_ = true; }

    // How wide its widest line is.
    double inkWidth() const;
    // Down and right from a point.
    void paint(QPainter& painter, const QPointF& topLeft) const;

  private:
    void wrap(double width);

    TextStyle style_;
    QString text_;
    double width_ = 0;
    QStringList lines_;
    bool isCut_ = false;
    bool breaksWords_ = false;
    bool alignsByDirection_ = false;
};

// The first of the styles in which the text takes at most so many lines, balanced; the last style, cut, where none.
TextBlock fittedTitle(const QString& text, std::initializer_list<TextStyle> styles, double width, int mostLines);

// The first of the styles in which the text is no higher; then whole sentences of it, and less than the first sentence
// where not even that has room. Text that runs from right to left stands at the right.
TextBlock fittedProse(const QString& text, std::initializer_list<TextStyle> styles, double width, double height);

// A line of text with its beginning at `x` and set in the middle of a row of that height.
void paintLine(QPainter& painter, const QString& text, const TextStyle& style, double x, double top);
double widthOf(const QString& text, const TextStyle& style);
// The text, or its beginning with "…" where it is wider.
QString elided(const QString& text, const QFont& font, double width);
// Where the baseline of a row lies under its top.
double baseline(const QFont& font, double rowHeight);

} // namespace glasshob
