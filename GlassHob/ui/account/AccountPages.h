// What the account's window shows, one page for each state. A page tells what is asked of it by signals and is replaced
// when the state changes. Texts of the gallery are shown letter for letter. Main thread; owned by their parents.
#pragma once

#include "GlassHob/ui/controls/DialogParts.h"

#include <QDateTime>
#include <QUrl>

#include <optional>

namespace glasshob {

class SearchField;
class Spinner;

class AccountPage : public DialogPage {
    Q_OBJECT
  public:
    using DialogPage::DialogPage;
    // What Return presses, and what has the keyboard first.
    virtual TextButton* primary() const = 0;
    virtual QWidget* first() const { return primary(); }

  Q_SIGNALS:
    void signInAsked();
    void signOutAsked();
    // Give up what goes on, and close.
    void cancelled();
    void closed();
    void handleAsked(const QString& handle);
};

// Nobody is signed in, or the gallery is being asked for a code. `notice` says why somebody is signed out again.
class SignedOutPage : public AccountPage {
    Q_OBJECT
  public:
    SignedOutPage(const QString& siteName, bool isStarting, const QString& notice, QWidget* parent);
    TextButton* primary() const override { return signIn_; }
    QWidget* first() const override { return signIn_->isEnabled() ? signIn_ : cancel_; }

  private:
    TextButton *signIn_, *cancel_;
};

class WaitingPage : public AccountPage {
    Q_OBJECT
  public:
    WaitingPage(const QString& siteName, const QString& code, const QUrl& page, std::optional<QDateTime> expires,
                const QString& state, QWidget* parent);
    TextButton* primary() const override { return open_; }

  private:
    TextButton* open_;
};

class SignInFailedPage : public AccountPage {
    Q_OBJECT
  public:
    SignInFailedPage(const QString& message, QWidget* parent);
    TextButton* primary() const override { return again_; }

  private:
    TextButton* again_;
};

class SignedInPage : public AccountPage {
    Q_OBJECT
  public:
    SignedInPage(const QString& siteName, QWidget* parent);
    TextButton* primary() const override { return done_; }
    SearchField* field() const { return field_; }
    TextButton* setHandle() const { return setHandle_; }
    QWidget* first() const override;

    // Who it is. What is being typed stays.
    void tell(const std::optional<QString>& email, const std::optional<QString>& handle);
    // A handle is being set, and how that ended.
    void begin();
    void end(const std::optional<QString>& problem);

  private:
    class Badge;
    void follow();
    void submit();

    Badge* badge_;
    TextLine *name_, *email_;
    SearchField* field_;
    TextButton* setHandle_;
    WrappedText* hint_;
    FieldMessage* message_;
    TextButton* done_;
    QString handle_;
    bool isSetting_ = false;
};

} // namespace glasshob
