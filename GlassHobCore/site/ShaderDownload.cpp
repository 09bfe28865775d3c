#include "GlassHobCore/site/ShaderDownload.h"

#include "GlassHobCore/site/HttpSession.h"
#include "GlassHobCore/site/OpenLink.h"
#include "GlassHobCore/text/Lines.h"
#include "GlassHobCore/text/Text.h"

#include <chrono>

namespace glasshob::ShaderDownload {

namespace {

constexpr std::chrono::seconds timeOut{60};

using Kind = Problem::Kind;

} // namespace

QCoro::Task<std::expected<std::string, Problem>> fetch(OpenLink link, Site site, HttpSession& session,
                                                       Cancellation cancellation) {
    const auto fail = [](Kind kind, std::string sentence) {
        return std::unexpected(Problem{kind, std::move(sentence)});
    };
    HttpRequest request;
    request.url = QUrl(asQString(link.source), QUrl::StrictMode);
    request.headers = {{"Accept", "text/plain"}};
    request.answerLimit = sizeLimit;
    request.wholeTime = timeOut;
    request.redirects = HttpRequest::Redirects::sameHost;
    const auto answer = co_await session.send(std::move(request), std::move(cancellation));
    if (!answer)
        co_return fail(answer.error().kind == HttpError::Kind::cancelled ? Kind::cancelled : Kind::network,
                       answer.error().message);
    if (answer->status != 200)
        co_return fail(Kind::status, site.name + " answered " + std::to_string(answer->status) + " for that shader.");
    if (answer->isTooLarge)
        co_return fail(Kind::tooLarge, "That file is over 300 KB, which no shader is: it was not opened.");
    std::string text = answer->body.toStdString();
    if (!isValidUtf8(text)) co_return fail(Kind::notText, "That file is not UTF-8 text: it was not opened.");
    co_return text;
}

} // namespace glasshob::ShaderDownload
