#include "GlassHobOnline/AccountModel.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/site/Handle.h"
#include "GlassHobCore/text/Text.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QScopeGuard>
#include <QSettings>
#include <QTimer>

namespace glasshob {

namespace {

using Phase = AccountModel::LinkState::Phase;
using Kind = APIClient::Failure::Kind;

constexpr std::chrono::seconds usualPatience{900};
constexpr int absorbedFailures = 10;

QString key(std::string_view name) {
    return asQString(name);
}

std::optional<QString> kept(std::string_view name) {
    const QVariant value = QSettings().value(key(name));
    return value.isValid() ? std::optional(value.toString()) : std::nullopt;
}

void keepText(std::string_view name, const std::optional<QString>& text) {
    QSettings settings;
    if (text)
        settings.setValue(key(name), *text);
    else
        settings.remove(key(name));
}

std::optional<QString> asOptionalQString(const std::optional<std::string>& text) {
    return text ? std::optional(asQString(*text)) : std::nullopt;
}

// Where a token is from: it is sent nowhere else.
QString originOf(const Site& site) {
    return site.base.adjusted(QUrl::RemoveUserInfo | QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment)
        .toString(QUrl::FullyEncoded);
}

// Blanks and tabs at both ends, not line breaks.
QString trimmedBlanks(const QString& text) {
    const auto isBlank = [](QChar c) { return c == u'\t' || c.category() == QChar::Separator_Space; };
    qsizetype begin = 0, end = text.size();
    while (begin < end && isBlank(text[begin]))
        ++begin;
    while (end > begin && isBlank(text[end - 1]))
        --end;
    return text.sliced(begin, end - begin);
}

// Whether the page is the gallery's own: whoever answers there is the one who lets this program in.
bool isOwnPage(const QUrl& page, const Site& site) {
    const bool isPlain = site.isLocal() && page.scheme() == u"http";
    return (page.scheme() == u"https" || isPlain) && page.host() == site.base.host();
}

} // namespace

AccountModel::AccountModel(Site site, HttpSession& session, TokenStore& tokens, Clock& clock, QObject* parent)
    : QObject(parent), site_(std::move(site)), session_(session), tokens_(tokens), clock_(clock),
      email_(kept(Identity::setting::accountEmail)), handle_(kept(Identity::setting::accountHandle)) {
    loading_ = load();
}

AccountModel::~AccountModel() {
    auto life = life_, polling = polling_;
    life.request_stop();
    polling.request_stop();
}

APIClient AccountModel::client() const {
    return APIClient(site_, std::string(Identity::userAgent), session_, clock_);
}

bool AccountModel::isOfThisSite() const {
    const auto origin = kept(Identity::setting::accountSite);
    return origin.value_or(originOf(Site::builtIn())) == originOf(site_);
}

QCoro::Task<std::optional<std::string>> AccountModel::token() {
    if (!isOfThisSite()) co_return std::nullopt;
    const auto found = co_await tokens_.read();
    if (!found || !APIClient::isToken(*found)) co_return std::nullopt;
    co_return found;
}

QCoro::Task<> AccountModel::load() {
    const Cancellation life = life_.get_token();
    const int era = era_;
    const auto found = co_await token();
    if (life.stop_requested()) co_return;
    if (era == era_) signedIn_ = found.has_value();
    Q_EMIT changed();
}

QCoro::Task<> AccountModel::refresh() {
    const Cancellation life = life_.get_token();
    const int era = era_;
    const auto found = co_await token();
    if (life.stop_requested() || !found || era != era_) co_return;
    const auto me = co_await client().me(*found, life);
    if (life.stop_requested() || era != era_) co_return;
    if (me) {
        signedIn_ = true;
        setAccount(asQString(me->email), asOptionalQString(me->handle));
    } else if (me.error().kind == Kind::signedOut) {
        signOut();
    }
}

QCoro::Task<std::optional<QString>> AccountModel::setHandle(QString text) {
    const Cancellation life = life_.get_token();
    const std::string wanted = trimmedBlanks(text).toLower().toStdString();
    if (!Handle::isValid(wanted))
        co_return QStringLiteral("A handle is 3 to 24 characters: lowercase letters, digits and -.");
    const int era = era_;
    const auto found = co_await token();
    if (life.stop_requested()) co_return std::nullopt;
    if (!found) co_return QStringLiteral("Sign in first.");
    const auto taken = co_await client().setHandle(*found, wanted, life);
    if (life.stop_requested()) co_return std::nullopt;
    if (taken) {
        if (era == era_) setAccount(email_, asQString(*taken));
        co_return std::nullopt;
    }
    if (taken.error().kind == Kind::signedOut && era == era_) signOut();
    co_return asQString(taken.error().message);
}

QCoro::Task<> AccountModel::signOut() {
    ++era_;
    stopPolling();
    link_ = {};
    signedIn_ = false;
    const bool tellsTheSite = isOfThisSite();
    keepText(Identity::setting::accountSite, std::nullopt);
    auto forgotten = forget(tellsTheSite);
    setAccount(std::nullopt, std::nullopt);
    co_await forgotten;
}

// Touches the store and the session only: the model may go meanwhile.
QCoro::Task<> AccountModel::forget(bool tellsTheSite) {
    const APIClient site = client();
    TokenStore& tokens = tokens_;
    ++*forgetting_;
    const auto done = qScopeGuard([count = forgetting_] { --*count; });
    const auto found = co_await tokens.read();
    co_await tokens.remove();
    if (tellsTheSite && found && APIClient::isToken(*found)) co_await site.signOut(*found);
}

void AccountModel::finishSigningOut(std::chrono::milliseconds patience) {
    const QDeadlineTimer deadline(patience);
    QTimer waker; // when nothing else happens
    waker.start(patience);
    while (*forgetting_ > 0 && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

QString AccountModel::waitingText() const {
    return link_.isAllowed ? tr("Allowed. Waiting for the keyring to keep it") : tr("Waiting for you to allow it");
}

void AccountModel::startLink() {
    stopPolling();
    polling_ = CancellationSource();
    isPolling_ = true;
    signIn(polling_.get_token());
}

void AccountModel::cancelLink() {
    stopPolling();
    setLink({});
}

void AccountModel::stopPolling() {
    isPolling_ = false;
    // The task runs to its end inside, and with it what it holds of this source.
    auto polling = polling_;
    polling.request_stop();
}

QCoro::Task<> AccountModel::signIn(Cancellation cancellation) {
    LinkState starting;
    starting.phase = Phase::starting;
    setLink(starting);
    if (cancellation.stop_requested()) co_return;
    const auto start = co_await client().startLink(cancellation);
    if (cancellation.stop_requested()) co_return;
    if (!start) {
        fail(start.error().message);
        co_return;
    }
    if (!isOwnPage(start->url, site_)) {
        fail("The sign-in page was not on " + site_.webHost + ".");
        co_return;
    }
    LinkState waiting;
    waiting.phase = Phase::waiting;
    waiting.code = asQString(start->code);
    waiting.url = start->url;
    waiting.expires = start->expires;
    setLink(waiting);
    if (!cancellation.stop_requested()) co_await poll(*start, cancellation);
}

QCoro::Task<> AccountModel::poll(APIClient::LinkStart start, Cancellation cancellation) {
    const Clock::Moment deadline = start.expires.value_or(clock_.now() + usualPatience);
    const APIClient site = client();
    for (int failures = 0;;) {
        co_await clock_.sleep(start.interval, cancellation);
        if (cancellation.stop_requested()) co_return;
        if (clock_.now() > deadline) {
            fail("The code expired. Start again for a new one.");
            co_return;
        }
        const auto answer = co_await site.pollLink(start.device, cancellation);
        if (cancellation.stop_requested()) co_return;
        if (!answer) {
            if (answer.error().kind == Kind::network && failures++ < absorbedFailures) continue;
            fail(answer.error().message);
            co_return;
        }
        switch (answer->kind) {
        case APIClient::LinkPoll::Kind::pending: failures = 0; continue;
        case APIClient::LinkPoll::Kind::gone:
            fail("The code expired or was refused. Start again for a new one.");
            break;
        case APIClient::LinkPoll::Kind::approved: co_await keep(*answer, cancellation); break;
        }
        co_return;
    }
}

QCoro::Task<> AccountModel::keep(APIClient::LinkPoll approved, Cancellation cancellation) {
    const Cancellation life = life_.get_token();
    // A locked keyring asks for its password first.
    LinkState allowed = link_;
    allowed.isAllowed = true;
    setLink(allowed);
    if (life.stop_requested()) co_return;
    const bool isKept = co_await tokens_.save(approved.token);
    if (life.stop_requested()) co_return;
    if (cancellation.stop_requested()) {
        // Given up while it was written. It stands in place of whatever was there before.
        signedIn_ = false;
        co_await forget(true);
        co_return;
    }
    if (!isKept) {
        fail("The keychain refused to keep the sign-in.");
        co_return;
    }
    ++era_;
    keepText(Identity::setting::accountSite, originOf(site_));
    isPolling_ = false;
    signedIn_ = true;
    link_ = {};
    setAccount(asQString(approved.email), asOptionalQString(approved.handle));
}

void AccountModel::setLink(LinkState link) {
    link_ = std::move(link);
    Q_EMIT changed();
}

void AccountModel::fail(const std::string& message) {
    isPolling_ = false;
    LinkState failed;
    failed.phase = Phase::failed;
    failed.message = asQString(message);
    setLink(failed);
}

void AccountModel::setAccount(std::optional<QString> email, std::optional<QString> handle) {
    email_ = std::move(email);
    handle_ = std::move(handle);
    keepText(Identity::setting::accountEmail, email_);
    keepText(Identity::setting::accountHandle, handle_);
    Q_EMIT changed();
}

} // namespace glasshob
