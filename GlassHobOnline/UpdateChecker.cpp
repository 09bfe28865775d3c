#include "GlassHobOnline/UpdateChecker.h"

#include "GlassHobCore/site/HttpSession.h"
#include "GlassHobCore/site/WebAddress.h"
#include "GlassHobCore/text/Text.h"

#include <QDateTime>
#include <QSettings>

#include <cctype>

namespace glasshob {

namespace {

QString lastCheckKey() {
    return asQString(Identity::setting::lastUpdateCheck);
}

} // namespace

UpdateChecker::UpdateChecker(HttpSession& session, Clock& clock, std::string currentBuild, QObject* parent)
    : QObject(parent), session_(session), clock_(clock), currentBuild_(std::move(currentBuild)) {}

UpdateChecker::~UpdateChecker() {
    life_.request_stop();
}

QUrl UpdateChecker::feed() {
    const QString text = QSettings().value(asQString(Identity::setting::updateFeed)).toString();
    // The scheme as it is written: QUrl would put it in small letters.
    if (text.startsWith(QLatin1String("http://")) || text.startsWith(QLatin1String("https://")))
        if (const QUrl url(text, QUrl::StrictMode); isWebAddress(url)) return url;
    return QUrl(QStringLiteral("https://%1/app/latest.json").arg(asQString(Identity::mediaHost)));
}

QCoro::Task<std::expected<LatestRelease, std::string>> UpdateChecker::read(HttpSession& session, QUrl feed,
                                                                           Cancellation cancellation) {
    HttpRequest request;
    request.url = std::move(feed);
    request.headers = {{"Accept", "application/json"}};
    request.answerLimit = qsizetype(LatestRelease::sizeLimit) - 1;
    request.wholeTime = timeOut;
    request.redirects = HttpRequest::Redirects::sameHost;
    const auto answer = co_await session.send(std::move(request), std::move(cancellation));
    if (!answer) co_return std::unexpected(answer.error().message);
    if (answer->status != 200) co_return std::unexpected("The server answered " + std::to_string(answer->status) + ".");
    if (answer->isTooLarge) co_return std::unexpected(std::string("The answer is too large."));
    auto release = LatestRelease::parse(std::string_view(answer->body.constData(), std::size_t(answer->body.size())));
    if (!release) {
        std::string sentence = release.error() + ".";
        sentence[0] = char(std::toupper(static_cast<unsigned char>(sentence[0])));
        co_return std::unexpected(std::move(sentence));
    }
    co_return release;
}

bool UpdateChecker::isDue() const {
    const QDateTime last = QSettings().value(lastCheckKey()).toDateTime();
    if (!last.isValid()) return true;
    const auto ago = clock_.now().time_since_epoch() - std::chrono::milliseconds(last.toMSecsSinceEpoch());
    // A date that is still to come says nothing: the machine's clock was wrong.
    return ago < std::chrono::milliseconds(0) || ago >= interval;
}

void UpdateChecker::checkIfDue() {
    if (isDue()) check();
}

QCoro::Task<bool> UpdateChecker::check() {
    const Cancellation life = life_.get_token();
    const auto release = co_await read(session_, feed(), life);
    if (!release || life.stop_requested()) co_return false;
    QSettings().setValue(lastCheckKey(),
                         QDateTime::fromMSecsSinceEpoch(clock_.now().time_since_epoch().count(), Qt::UTC));
    const auto newer = release->isNewer(currentBuild_) ? std::optional(*release) : std::nullopt;
    if (newer != available_) {
        available_ = newer;
        Q_EMIT changed();
    }
    co_return true;
}

} // namespace glasshob
