#include "GlassHobCore/site/APIAnswers.h"

#include "GlassHobCore/site/WebAddress.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTextBoundaryFinder>

#include <algorithm>

namespace glasshob::APIAnswers {

namespace {

constexpr int messageLimit = 300;

std::optional<QJsonObject> objectIn(const HttpAnswer& answer) {
    if (answer.isTooLarge) return {};
    const QJsonDocument document = QJsonDocument::fromJson(answer.body);
    return document.isObject() ? std::optional(document.object()) : std::nullopt;
}

bool isMissing(const QJsonValue& value) {
    return value.isUndefined() || value.isNull();
}

// A text that may be missing; nothing when there is something of another type.
std::optional<std::optional<std::string>> optionalText(const QJsonValue& value) {
    if (isMissing(value)) return std::optional<std::string>();
    if (!value.isString()) return {};
    return value.toString().toStdString();
}

// A line of at most so many characters as a person sees them, one that is built of very many marks being several. Line
// breaks go, and what would steer a terminal or turn the direction of reading.
std::string oneLine(QString text) {
    // By hand: an expression gives up on texts with half a character in them, which JSON may have.
    text.removeIf([](QChar c) {
        const char16_t unit = c.unicode();
        return (unit < 0x20 && unit != u'\t') || (unit >= 0x7F && unit <= 0x9F) || (unit >= 0x2028 && unit <= 0x202E) ||
               (unit >= 0x2066 && unit <= 0x2069);
    });
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype end = 0;
    for (int count = 0; count < messageLimit && finder.toNextBoundary() >= 0; ++count)
        end = finder.position();
    return text.first(std::min<qsizetype>(end, messageLimit * 8)).toStdString();
}

std::optional<Clock::Moment> momentOf(const QJsonValue& value, Clock::Moment now) {
    if (value.isDouble()) {
        // What lies beyond is as good as never, or long ago.
        constexpr double farthest = 1e13;
        const double number = value.toDouble();
        const bool isDuration = number < 86'400;
        const double seconds = std::clamp(number > 1e11 ? number / 1000 : number, -farthest, farthest);
        const auto time = std::chrono::milliseconds(std::int64_t(seconds * 1000));
        return isDuration ? now + time : Clock::Moment(time);
    }
    static const QRegularExpression form(
        "\\A[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}(Z|[+-][0-9]{2}:?[0-9]{2})\\z");
    if (!form.match(value.toString()).hasMatch()) return {};
    const QDateTime time = QDateTime::fromString(value.toString(), Qt::ISODate);
    if (!time.isValid()) return {};
    return Clock::Moment(std::chrono::milliseconds(time.toMSecsSinceEpoch()));
}

} // namespace

Answer::Answer(const HttpAnswer& answer, const std::string& name)
    : status(answer.status), body(objectIn(answer)), siteName(name) {}

std::unexpected<Failure> Answer::bad() const {
    return std::unexpected(Failure{Failure::Kind::badAnswer, 0, siteName + " sent an answer the app could not read."});
}

std::unexpected<Failure> Answer::refusal() const {
    std::string message;
    bool needsHandle = false;
    if (body) {
        const QJsonValue error = (*body)["error"], flag = (*body)["needsHandle"];
        if ((isMissing(error) || error.isString()) && (isMissing(flag) || flag.isBool())) {
            message = oneLine(error.toString());
            needsHandle = flag.toBool();
        }
    }
    const auto failure = [&](Failure::Kind kind, const std::string& fixed, int code = 0) {
        return std::unexpected(Failure{kind, code, message.empty() ? fixed : message});
    };
    if (status == 401) return failure(Failure::Kind::signedOut, "You are signed out. Sign in again.");
    if (status == 409 && needsHandle) return failure(Failure::Kind::needsHandle, "Choose a handle first.");
    if (status == 429) return failure(Failure::Kind::tooMany, "Too many requests. Try again later.");
    return failure(Failure::Kind::server, siteName + " answered " + std::to_string(status) + ".", status);
}

Result<APIClient::LinkStart> linkStart(const Answer& answer, Clock::Moment now) {
    if (!answer.isGood()) return answer.refusal();
    if (!answer.body) return answer.bad();
    const QJsonValue device = (*answer.body)["device"], code = (*answer.body)["code"], url = (*answer.body)["url"];
    const QUrl page(url.toString(), QUrl::StrictMode);
    if (!device.isString() || !code.isString() || !page.isValid()) return answer.bad();
    APIClient::LinkStart start;
    start.device = device.toString().toStdString();
    start.code = code.toString().toStdString();
    start.url = page;
    const double interval = std::clamp((*answer.body)["interval"].toDouble(5), 1.0, 60.0);
    start.interval = std::chrono::milliseconds(std::int64_t(interval * 1000));
    start.expires = momentOf((*answer.body)["expires"], now);
    return start;
}

Result<APIClient::LinkPoll> linkPoll(const Answer& answer) {
    using Kind = APIClient::LinkPoll::Kind;
    if (answer.status == 410) return APIClient::LinkPoll{Kind::gone, {}, {}, {}};
    if (answer.status == 202) return APIClient::LinkPoll{Kind::pending, {}, {}, {}};
    if (answer.status != 200) return answer.refusal();
    if (!answer.body) return answer.bad();
    const QJsonValue email = (*answer.body)["email"];
    const std::string token = (*answer.body)["token"].toString().toStdString();
    const auto handle = optionalText((*answer.body)["handle"]);
    if (!APIClient::isToken(token) || !email.isString() || !handle) return answer.bad();
    return APIClient::LinkPoll{Kind::approved, token, email.toString().toStdString(), *handle};
}

Result<APIClient::Me> me(const Answer& answer) {
    if (answer.status != 200) return answer.refusal();
    if (!answer.body) return answer.bad();
    const QJsonValue email = (*answer.body)["email"];
    const auto handle = optionalText((*answer.body)["handle"]);
    if (!email.isString() || !handle) return answer.bad();
    return APIClient::Me{email.toString().toStdString(), *handle};
}

Result<APIClient::Shared> shared(const Answer& answer) {
    if (answer.status != 200 && answer.status != 201) return answer.refusal();
    if (!answer.body) return answer.bad();
    const QJsonValue id = (*answer.body)["id"], url = (*answer.body)["url"];
    const QUrl page(url.toString(), QUrl::StrictMode);
    if (!id.isString() || !isWebAddress(page)) return answer.bad();
    return APIClient::Shared{id.toString().toStdString(), page};
}

Result<std::string> handle(const Answer& answer, std::string_view sent) {
    if (!answer.isGood()) return answer.refusal();
    const QJsonValue kept = answer.body.value_or(QJsonObject())["handle"];
    return kept.isString() ? kept.toString().toStdString() : std::string(sent);
}

} // namespace glasshob::APIAnswers
