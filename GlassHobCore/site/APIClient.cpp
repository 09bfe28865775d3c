#include "GlassHobCore/site/APIClient.h"

#include "GlassHobCore/site/APIAnswers.h"
#include "GlassHobCore/text/Text.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <functional>

namespace glasshob {

namespace {

using APIAnswers::Answer;
using APIAnswers::Failure;
using APIAnswers::Result;

// Sends, and lets the rule of the address say what the answer means.
template <class Value>
QCoro::Task<Result<Value>> exchange(HttpSession& session, HttpRequest request, std::string siteName,
                                    std::function<Result<Value>(const Answer&)> rule, Cancellation cancellation) {
    const auto answer = co_await session.send(std::move(request), std::move(cancellation));
    if (answer) co_return rule(Answer(*answer, siteName));
    const bool isCancelled = answer.error().kind == HttpError::Kind::cancelled;
    co_return std::unexpected(
        Failure{isCancelled ? Failure::Kind::cancelled : Failure::Kind::network, 0, answer.error().message});
}

} // namespace

APIClient::APIClient(Site site, std::string userAgent, HttpSession& session, Clock& clock)
    : site_(std::move(site)), userAgent_(QByteArray::fromStdString(userAgent)), session_(&session), clock_(&clock) {}

bool APIClient::isToken(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; });
}

HttpRequest APIClient::request(std::string_view path, std::string_view token) const {
    HttpRequest request;
    QString place = site_.base.path(QUrl::FullyEncoded);
    while (place.endsWith('/'))
        place.chop(1);
    request.url = site_.base;
    request.url.setPath(place + asQString(path), QUrl::TolerantMode);
    // Who is signed in is told by the token, and by nothing else.
    request.url.setUserInfo({});
    request.headers = {{"Accept", "application/json"}, {"User-Agent", userAgent_}};
    if (!token.empty())
        request.headers.emplace_back("Authorization", QByteArray("Bearer ") + asQString(token).toUtf8());
    return request;
}

HttpRequest APIClient::post(std::string_view path, const QJsonObject& body, std::string_view token) const {
    HttpRequest made = request(path, token);
    made.method = "POST";
    made.headers.emplace_back("Content-Type", "application/json");
    made.body = QJsonDocument(body).toJson(QJsonDocument::Compact);
    return made;
}

QCoro::Task<Result<APIClient::LinkStart>> APIClient::startLink(Cancellation cancellation) const {
    return exchange<LinkStart>(
        *session_, post("/api/app/link", {}), site_.name,
        [clock = clock_](const Answer& answer) { return APIAnswers::linkStart(answer, clock->now()); },
        std::move(cancellation));
}

QCoro::Task<Result<APIClient::LinkPoll>> APIClient::pollLink(std::string_view device, Cancellation cancellation) const {
    return exchange<LinkPoll>(*session_, post("/api/app/link/poll", {{"device", asQString(device)}}), site_.name,
                              APIAnswers::linkPoll, std::move(cancellation));
}

QCoro::Task<Result<APIClient::Me>> APIClient::me(std::string_view token, Cancellation cancellation) const {
    return exchange<Me>(*session_, request("/api/me", token), site_.name, APIAnswers::me, std::move(cancellation));
}

QCoro::Task<Result<std::string>> APIClient::setHandle(std::string_view token, std::string_view handle,
                                                      Cancellation cancellation) const {
    const auto rule = [sent = std::string(handle)](const Answer& answer) { return APIAnswers::handle(answer, sent); };
    return exchange<std::string>(*session_, post("/api/account/handle", {{"handle", asQString(handle)}}, token),
                                 site_.name, rule, std::move(cancellation));
}

QCoro::Task<> APIClient::signOut(std::string_view token) const {
    const auto send = [](HttpSession& session, HttpRequest request) -> QCoro::Task<> {
        co_await session.send(std::move(request));
    };
    return send(*session_, post("/api/auth/signout", {}, token));
}

QCoro::Task<Result<APIClient::Shared>> APIClient::share(std::string_view token, const ShareUpload& upload,
                                                        UploadProgress progress, Cancellation cancellation) const {
    const Multipart parts = upload.multipart(Multipart::freshBoundary());
    HttpRequest sent = request("/api/shaders", token);
    sent.method = "POST";
    sent.headers.emplace_back("Content-Type", QByteArray::fromStdString(parts.contentType()));
    sent.body = parts.body();
    sent.progress = std::move(progress);
    return exchange<Shared>(*session_, std::move(sent), site_.name, APIAnswers::shared, std::move(cancellation));
}

} // namespace glasshob
