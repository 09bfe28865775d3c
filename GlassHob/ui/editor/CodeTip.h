// The small box over a line of code that shows signatures: of the name under the pointer, or of the call that is
// being typed, with its argument in bold. Main thread; owned by the editor's pane.
#pragma once

#include "GlassHob/ui/editor/EditorBox.h"

#include <vector>

namespace glasshob {

class CodeTip : public EditorBox {
    Q_OBJECT
  public:
    struct Entry {
        QString code;
        int boldFrom = 0, boldTo = 0;
        QString note;

        bool operator==(const Entry&) const = default;
    };
    explicit CodeTip(QAbstractScrollArea* editor);

    // Shows the entries above `place` (a word or a line, in the editor's viewport), below it where there is no room.
    void showFor(std::vector<Entry> entries, const QRect& place);
    const std::vector<Entry>& entries() const { return entries_; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    // Paints, or with no painter measures; gives the size that is taken. Lines break at `widest`.
    QSize layOut(QPainter* painter, int widest) const;

    std::vector<Entry> entries_;
    QRect place_; // in the pane
};

} // namespace glasshob
