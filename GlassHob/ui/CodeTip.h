// The small window over a line of code that shows signatures: of the name under the pointer, or of the call that is
// being typed, with its argument in bold. A top-level tooltip window, since it may reach over the live picture. It
// never takes the keyboard. Main thread; owned by the editor.
#pragma once

#include <QRect>
#include <QWidget>

#include <vector>

namespace glasshob {

class CodeTip : public QWidget {
    Q_OBJECT
  public:
    struct Entry {
        QString code;
        int boldFrom = 0, boldTo = 0;
        QString note;

        bool operator==(const Entry&) const = default;
    };
    explicit CodeTip(QWidget* owner);

    // Shows the entries above `place` (a word or a line, in global coordinates), below it where there is no room.
    void showFor(std::vector<Entry> entries, const QRect& place);
    const std::vector<Entry>& entries() const { return entries_; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    // Paints, or with no painter measures; gives the size that is taken.
    QSize layOut(QPainter* painter) const;

    std::vector<Entry> entries_;
    QRect place_;
};

} // namespace glasshob
