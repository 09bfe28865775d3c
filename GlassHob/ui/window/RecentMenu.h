// File > Open Recent: the shaders opened last, each with its folder, and an entry that forgets them. Filled when it is
// shown, since files come and go. Main thread; owned by the menu above it.
#pragma once

#include <QMenu>

namespace glasshob {

class Document;
class RecentFiles;

class RecentMenu : public QMenu {
    Q_OBJECT
  public:
    RecentMenu(Document& document, QWidget* parent);
    // Fills the menu as showing it does.
    void fill();

  private:
    Document& document_;
    RecentFiles* files_;
};

} // namespace glasshob
