// The small window that shows the messages of a line under it, one below the other. A top-level tooltip window, since
// it may reach over the live picture. Main thread; owned by the editor.
#pragma once

#include "GlassHobCore/Diagnostics.h"

#include <QPointer>
#include <QWidget>

#include <vector>

namespace glasshob {

class MessageTip : public QWidget {
    Q_OBJECT
  public:
    explicit MessageTip(QWidget* owner);

    // Shows the messages below `line` (in global coordinates), or above it where there is no room below.
    void showFor(const std::vector<Diagnostic>& messages, const QRect& line, int x);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    struct Entry {
        Diagnostic::Severity severity;
        QString text;
        QRect place;
    };
    std::vector<Entry> entries_;
};

} // namespace glasshob
