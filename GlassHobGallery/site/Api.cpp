// The gallery's interface for programs: JSON in, JSON out, who asks told by a token in the header "Authorization".

#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/site/Gallery.h"

#include "GlassHobCore/site/LatestRelease.h"
#include "GlassHobCore/text/Text.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace glasshob::gallery {

namespace {

constexpr std::int64_t programLife = 366 * 86400;
constexpr std::int64_t linkLife = 15 * 60;
// For so long a device that lost the answer gets it once more.
constexpr std::int64_t handingTime = 120;
constexpr const char* signedOut = "You are signed out. Sign in again.";

Response tooMany(std::int64_t seconds) {
    return jsonError(429, "Too many requests. Try again later.").with("Retry-After", std::to_string(seconds));
}

Response linkGone() {
    return jsonError(410, "The code expired or was refused. Start again for a new one.");
}

QJsonObject told(const Account& account) {
    QJsonObject person{{"email", asQString(account.name())}};
    if (!account.handle.empty()) person["handle"] = asQString(account.handle);
    return person;
}

std::string agentOf(const Request& request) {
    std::string agent(request.header("User-Agent").substr(0, 120));
    for (char& c : agent)
        if (c < ' ' || c > '~') c = '?';
    return agent;
}

} // namespace

std::optional<Visitor> Gallery::programOf(const Request& request) {
    constexpr std::string_view scheme = "Bearer ";
    const std::string_view header = request.header("Authorization");
    if (!header.starts_with(scheme)) return {};
    const std::string_view token = header.substr(scheme.size());
    if (token.size() != 43) return {};
    const auto session = database_.session(hashOf(token));
    if (!session || !session->isProgram || session->seen <= now() - programLife) return {};
    Visitor visitor;
    visitor.account = database_.account(session->account);
    visitor.session = *session;
    if (!visitor.account || visitor.account->isSuspended) return {};
    touch(*session, request);
    return visitor;
}

std::span<const Gallery::Route> Gallery::apiRoutes() {
    using enum Route::Takes;
    static constexpr Route table[] = {{"/api/me", reading},
                                      {"/api/app/link", posting},
                                      {"/api/app/link/poll", posting},
                                      {"/api/account/handle", posting},
                                      {"/api/auth/signout", posting},
                                      {"/api/shaders", posting}};
    return table;
}

Response Gallery::api(Request& request, bool isTooLarge) {
    const std::string& path = request.path;
    const bool isMe = path == "/api/me";
    const auto route = std::ranges::find(apiRoutes(), path, &Route::path);
    if (route == apiRoutes().end()) return jsonError(404, "There is nothing at this address of the gallery.");
    const std::string allowed = route->takes == Route::Takes::reading ? "GET" : "POST";
    if (request.method != allowed)
        return jsonError(405, "This address takes " + allowed + " only.").with("Allow", allowed);
    if (path == "/api/shaders") return share(request, isTooLarge);
    if (isTooLarge) return jsonError(413, "The request is too large.");

    const auto program = programOf(request);
    if (isMe) return program ? jsonAnswer(200, told(*program->account)) : jsonError(401, signedOut);

    if (request.contentType() != "application/json") return jsonError(415, "The request must be JSON.");
    const QJsonDocument body = QJsonDocument::fromJson(QByteArray::fromStdString(request.body));
    if (!body.isObject()) return jsonError(400, "The request is not a JSON object.");
    if (path == "/api/app/link") return startLink(request);
    if (path == "/api/app/link/poll") return pollLink(request, body.object());
    if (!program) return jsonError(401, signedOut);
    if (path == "/api/account/handle") return setHandleByProgram(*program, body.object());
    database_.endSession(program->account->id, program->session.id);
    return jsonAnswer(200, {});
}

Response Gallery::startLink(const Request& request) {
    constexpr std::int64_t hour = 3600;
    // A whole class behind one address.
    if (const auto wait = secondsToWait("link:" + networkOf(request.address), 200, hour)) return tooMany(wait);
    const std::string device = randomToken();
    for (;;) {
        const std::string code = randomText(8, codeCharacters);
        Link link;
        link.agent = agentOf(request);
        link.address = request.address;
        link.created = now();
        link.expires = link.created + linkLife;
        try {
            database_.addLink(link, hashOf(device), hashOf(code));
        } catch (const std::exception&) {
            if (!database_.linkOfCode(hashOf(code))) throw;
            continue; // another one has this code
        }
        const QString expires = QDateTime::fromSecsSinceEpoch(link.expires, Qt::UTC).toString(Qt::ISODate);
        return jsonAnswer(200, {{"device", asQString(device)},
                                {"code", asQString(shownCode(code))},
                                {"url", asQString(config_.url + "/device?code=" + shownCode(code))},
                                {"interval", 3},
                                {"expires", expires}});
    }
}

Response Gallery::pollLink(const Request& request, const QJsonObject& body) {
    if (const auto wait = secondsToWait("poll:" + networkOf(request.address), 2400, 60)) return tooMany(wait);
    const std::string device = body["device"].toString().toStdString();
    if (device.size() != 43) return linkGone();
    const auto link = database_.linkOfDevice(hashOf(device));
    if (!link || link->state == "refused") return linkGone();
    if (link->state == "waiting") return link->expires > now() ? jsonAnswer(202, {}) : linkGone();
    const auto account = database_.account(link->account);
    if (!account || account->isSuspended || link->expires <= now()) return linkGone();
    if (link->handed && *link->handed + handingTime <= now()) return linkGone();
    // The token follows from the device's secret, so that a device whose answer was lost gets the same one again, and
    // nothing that would open the account is kept.
    const std::string token = derivedToken(device, "program");
    database_.write([&] {
        // What was signed out since the question was read is not signed in again.
        if (const auto current = database_.linkOfDevice(hashOf(device)); current && !current->handed)
            database_.addSession({0, account->id, true, link->agent, request.address, now(), now()}, hashOf(token));
        database_.handLink(link->id, now());
    });
    if (!database_.session(hashOf(token))) return linkGone(); // signed out meanwhile
    QJsonObject answer = told(*account);
    answer["token"] = asQString(token);
    return jsonAnswer(200, answer);
}

Response Gallery::setHandleByProgram(const Visitor& visitor, const QJsonObject& body) {
    if (const auto wait = secondsToWait("handle:" + std::to_string(visitor.account->id), 20, 3600))
        return tooMany(wait);
    const std::string handle = body["handle"].toString().toStdString();
    if (const std::string problem = handleProblem(handle); !problem.empty()) return jsonError(422, problem);
    if (!database_.setHandle(visitor.account->id, handle))
        return jsonError(409, "Somebody else has this handle. Choose another.");
    return jsonAnswer(200, {{"handle", asQString(handle)}});
}

Response Gallery::latest() const {
    std::ifstream file(config_.feed, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    Response answer;
    if (config_.feed.empty() || !file || !LatestRelease::parse(text) || text.size() >= LatestRelease::sizeLimit)
        return jsonError(404, "This gallery knows of no release.");
    answer.body = text;
    return answer.with("Content-Type", "application/json").with("Cache-Control", "public, max-age=300");
}

} // namespace glasshob::gallery
