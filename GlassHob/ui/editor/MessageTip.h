// The small box that shows the messages of a line under it, one below the other. Main thread; owned by the editor's
// pane.
#pragma once

#include "GlassHob/ui/editor/EditorBox.h"
#include "GlassHobCore/code/Diagnostics.h"

#include <vector>

namespace glasshob {

class MessageTip : public EditorBox {
    Q_OBJECT
  public:
    explicit MessageTip(QAbstractScrollArea* editor);

    // Shows the messages below `line` (in the editor's viewport), or above it where there is no room below, and under
    // them what a key does about it, if anything.
    void showFor(const std::vector<Diagnostic>& messages, const QString& hint, const QRect& line);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    struct Entry {
        std::optional<Diagnostic::Severity> severity; // none of the hint
        QString text;
        QRect place;
    };
    std::vector<Entry> entries_;
};

} // namespace glasshob
