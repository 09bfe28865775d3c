// What is known of a newer release: its notes, and the sum of its file for whoever compares it. The feed's texts are
// shown letter for letter. Main thread; deletes itself when it is closed.
#pragma once

#include "GlassHobCore/site/LatestRelease.h"

#include <QDialog>

namespace glasshob {

class UpdateBox : public QDialog {
    Q_OBJECT
  public:
    UpdateBox(const LatestRelease& release, QWidget* window);

    // "Glass Hob 1.4 is available."
    static QString title(const LatestRelease& release);
    // The notes as one line, which may be cut.
    static QString line(const LatestRelease& release);
    // Opens the page or the file of the release in the browser.
    static void get(const LatestRelease& release);
};

} // namespace glasshob
