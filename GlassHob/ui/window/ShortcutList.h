// Help > Keyboard Shortcuts: every key of the program. The menus tell theirs themselves; the keys of the editor, the
// sliders and full screen, which stand in no menu, are listed here. A field narrows the list down.
// Main thread; the window deletes itself when it is closed.
#pragma once

#include <QDialog>

#include <vector>

class QMenuBar;

namespace glasshob {

struct ShortcutGroup {
    QString title;
    struct Row {
        QString text;
        QString keys; // as the desktop writes them
    };
    std::vector<Row> rows;
};

// The actions of the menus that have keys, and the keys without a menu.
std::vector<ShortcutGroup> allShortcuts(const QMenuBar& menus);

class ShortcutList : public QDialog {
    Q_OBJECT
  public:
    ShortcutList(const QMenuBar& menus, QWidget* window);
    // Shows only rows that contain the text.
    void narrow(const QString& text);

  private:
    struct Shown {
        QString text;
        QWidget* row;
        QWidget* title;
    };
    std::vector<Shown> rows_;
    QWidget* none_;
};

} // namespace glasshob
