// The compiler's messages under the editor: a heading with their count, and a row for each. A click or Return goes to
// the place; a message of several lines unfolds in place. An error text without readable messages is shown as it is.
// Hidden while there is nothing to say. Main thread.
#pragma once

#include "GlassHob/ui/controls/Controls.h"
#include "GlassHobCore/code/Diagnostics.h"

#include <QAbstractScrollArea>

#include <vector>

namespace glasshob {

// The rows; kept apart from the heading so that they scroll.
class MessageRows : public QAbstractScrollArea {
    Q_OBJECT
  public:
    explicit MessageRows(QWidget* parent);

    void setMessages(const std::vector<Diagnostic>& messages, const QString& plainText);
    // What mends each message, shown as a link in its row; empty where nothing is known to.
    void setFixes(const QStringList& titles);
    int contentHeight() const;
    int current() const { return current_; }
    void setCurrent(int row);
    int count() const { return int(rows_.size()); }
    const Diagnostic& message(int row) const { return rows_[std::size_t(row)].message; }
    // "Error, line 24, column 40: message"
    QString spokenText(int row) const;
    // In the viewport; -1 where there is none.
    QRect rowRect(int row) const;
    int rowAtPlace(const QPoint& place) const { return rowAt(place.y()); }

  signals:
    void activated(int row);
    void fixWanted(int row);
    void heightWanted();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool viewportEvent(QEvent* event) override;

  private:
    struct Row {
        Diagnostic message;
        QString text; // all of it
        QString firstLine;
        QString fix;
        bool isHeading = false;
        bool unfolds = false;
        bool unfolded = false;
    };
    int rowHeight(const Row& row) const;
    int rowAt(int y) const;
    int rowTop(int row) const;
    void updateScrolling();
    void paintRow(QPainter& painter, const Row& row, const QRect& box, bool current) const;
    static QString placeText(const Row& row);
    // The link of a row that begins at `top`; empty where there is none.
    QRect fixRect(const Row& row, int top) const;
    bool isOnFix(const QPoint& place) const;

    std::vector<Row> rows_;
    QString plainText_;
    int current_ = -1;
    int hovered_ = -1;
    bool isOverFix_ = false;
};

class MessageList : public FilledPane {
    Q_OBJECT
  public:
    explicit MessageList(QWidget* parent);

    void setMessages(const std::vector<Diagnostic>& messages, const QString& plainText);
    // The warnings of a text that compiles: only the heading opens by itself, the rows when they are asked for.
    void setWarnings(const std::vector<Diagnostic>& warnings, const QString& plainText);
    // Steps to the next message that has a place, from the current one; wraps round.
    void step(int direction);
    MessageRows* rows() const { return rows_; }
    // "2 errors, 2 notes"
    static QString summary(const std::vector<Diagnostic>& messages);

    QSize sizeHint() const override { return QSize(320, wantedHeight()); }
    bool eventFilter(QObject* object, QEvent* event) override;

  signals:
    void placePicked(std::int64_t line, std::int64_t column);
    // By its number among the messages.
    void fixWanted(std::size_t message);

  private:
    int wantedHeight() const;
    void fit();
    void show(const std::vector<Diagnostic>& messages, const QString& plainText, bool areWarnings);
    bool& collapsed() { return areWarnings_ ? warningsCollapsed_ : collapsed_; }
    bool isCollapsed() const { return areWarnings_ ? warningsCollapsed_ : collapsed_; }
    void followCollapsed();

    TextLine* heading_;
    ToolButton* collapse_;
    MessageRows* rows_;
    QString copyText_;
    QVariantAnimation height_;
    bool areWarnings_ = false;
    bool collapsed_ = false;
    bool warningsCollapsed_ = true;
    bool hasMessages_ = false;
};

} // namespace glasshob
