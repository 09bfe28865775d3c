// The commands of the account: open its window, and sign out. Asks the gallery once who is signed in, when the main
// window appears. Main thread; owned by the main window.
#pragma once

#include <QObject>
#include <QPointer>

class QAction;
class QMenu;
class QWidget;

namespace glasshob {

class AccountSheet;
class AppModel;

class AccountActions : public QObject {
    Q_OBJECT
  public:
    AccountActions(AppModel& model, QWidget* mainWindow);

    QAction *open, *signOut;
    QMenu* makeMenu(QWidget* parent) const;
    // Null while it is closed.
    AccountSheet* sheet() const;

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    void follow();
    void followSheet();

    AppModel& model_;
    QWidget* mainWindow_;
    QPointer<AccountSheet> sheet_;
};

} // namespace glasshob
