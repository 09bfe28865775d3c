// The window of the account: signing in by a code, and who is signed in. Shows what the account's model says. Closed
// while a sign-in waits it gives that up. Over the main window and modal to it. Main thread; deletes itself when it is
// closed.
#pragma once

#include "GlassHob/ui/controls/PageDialog.h"

#include <QString>

namespace glasshob {

class AccountModel;
class AccountPage;

class AccountSheet : public PageDialog {
    Q_OBJECT
  public:
    // The model must outlive it.
    AccountSheet(AccountModel& account, QWidget* parent);

    AccountPage* page() const { return page_; }
    void reject() override;

  protected:
    void press(bool isForced) override;

  private:
    void follow();
    AccountPage* makePage();
    void turnTo(AccountPage* page);
    void setHandle(const QString& handle);

    AccountModel& account_;
    AccountPage* page_ = nullptr;
    // The state that the page was made for.
    QString shown_;
    // Why somebody is signed out again.
    QString notice_;
};

} // namespace glasshob
