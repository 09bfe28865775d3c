#pragma once

// Whether the person is signed in to the gallery, as whom, and how far a sign-in has come. Nobody types a password
// here: the gallery gives a short code, the person allows it in a browser, and this asks until the gallery hands over a
// token. The token lies in the token store and is read for each use; e-mail and handle are kept in the settings. Main
// thread. Everything returns at once or is awaited; texts are whole sentences, shown as they are, plain text only.

#include "GlassHobCore/site/APIClient.h"
#include "GlassHobOnline/TokenStore.h"

#include <QObject>
#include <QString>

#include <chrono>
#include <memory>
#include <optional>

namespace glasshob {

class AccountModel : public QObject {
    Q_OBJECT
  public:
    struct LinkState {
        enum class Phase { idle, starting, waiting, failed };
        Phase phase = Phase::idle;
        // Of `waiting`: what the browser must show as well, the page that allows it, and until when.
        QString code;
        QUrl url;
        std::optional<Clock::Moment> expires;
        // Of `waiting`: the person has allowed it, and the keyring is asked to keep it.
        bool isAllowed = false;
        // Of `failed`.
        QString message;
    };

    // Asks the store for a token. Session, store and clock must outlive the model.
    AccountModel(Site site, HttpSession& session, TokenStore& tokens, Clock& clock = Clock::real(),
                 QObject* parent = nullptr);
    // Ends what it waits for; a sign-in under way is given up.
    ~AccountModel() override;

    const Site& site() const { return site_; }
    APIClient client() const;

    // Whoever must know whether somebody is signed in waits here until the store has answered; before that nobody is.
    const QCoro::Task<>& loaded() const { return loading_; }
    bool signedIn() const { return signedIn_; }
    // As kept from the last time; the gallery's own words after a refresh.
    const std::optional<QString>& email() const { return email_; }
    const std::optional<QString>& handle() const { return handle_; }
    // The token for a request to this site; nothing when nobody is signed in to it.
    QCoro::Task<std::optional<std::string>> token();

    // Asks the gallery who this is. A token that it refuses signs out; any other failure changes nothing.
    QCoro::Task<> refresh();
    // Takes a handle, after trimming it and making its letters small. Gives what is wrong, or nothing.
    QCoro::Task<std::optional<QString>> setHandle(QString text);
    // Forgets the sign-in at once and tells the gallery. The task ends when both are done; nobody needs to wait for it.
    QCoro::Task<> signOut();
    // At the program's end: lets a sign-out that is under way come to its end, while events go on, but waits no longer
    // than that.
    void finishSigningOut(std::chrono::milliseconds patience);

    const LinkState& link() const { return link_; }
    // What is said while it is `waiting`.
    QString waitingText() const;
    bool isPolling() const { return isPolling_; }
    // Begins a sign-in, in place of one that is under way.
    void startLink();
    void cancelLink();

  Q_SIGNALS:
    // Anything of the above.
    void changed();

  private:
    QCoro::Task<> load();
    QCoro::Task<> signIn(Cancellation cancellation);
    QCoro::Task<> poll(APIClient::LinkStart start, Cancellation cancellation);
    QCoro::Task<> keep(APIClient::LinkPoll approved, Cancellation cancellation);
    QCoro::Task<> forget(bool tellsTheSite);
    bool isOfThisSite() const;
    void stopPolling();
    void setLink(LinkState link);
    void fail(const std::string& message);
    void setAccount(std::optional<QString> email, std::optional<QString> handle);

    const Site site_;
    HttpSession& session_;
    TokenStore& tokens_;
    Clock& clock_;
    bool signedIn_ = false;
    std::optional<QString> email_, handle_;
    LinkState link_;
    bool isPolling_ = false;
    CancellationSource polling_;
    // Requested when the model goes: what wakes later must not touch it.
    CancellationSource life_;
    // Counts sign-ins and sign-outs: an answer to a question of before is of no account.
    int era_ = 0;
    QCoro::Task<> loading_;
    // How many tokens are being forgotten; the tasks may outlive the model.
    std::shared_ptr<int> forgetting_ = std::make_shared<int>(0);
};

} // namespace glasshob
