#include "GlassHobGallery/site/Gallery.h"

#include "GlassHobGallery/data/DiskRefusal.h"
#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/site/Log.h"
#include "GlassHobGallery/site/ShareReceiver.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/site/ShareUpload.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace glasshob::gallery {

namespace {

constexpr std::int64_t day = 86400;
constexpr std::int64_t browserLife = 30 * day;
constexpr std::string_view standardName = "Glass Hob Gallery";

// What an ETag says of these bytes.
std::string tagOf(std::string_view bytes) {
    return "\"" + hexText(hashOf(bytes)).substr(0, 16) + "\"";
}

std::string typeOf(const std::filesystem::path& path) {
    const std::string ending = path.extension();
    if (ending == ".css") return "text/css; charset=utf-8";
    if (ending == ".js") return "text/javascript; charset=utf-8";
    if (ending == ".svg") return "image/svg+xml";
    if (ending == ".woff2") return "font/woff2";
    return "text/plain; charset=utf-8";
}

std::vector<std::string> partsOf(std::string_view path) {
    std::vector<std::string> parts;
    while (!path.empty()) {
        path.remove_prefix(1); // the slash
        const std::size_t end = std::min(path.find('/'), path.size());
        parts.emplace_back(path.substr(0, end));
        path.remove_prefix(end);
    }
    return parts;
}

// Whether these are the parts of a path such as "/s/*/edit".
bool isOf(std::string_view pattern, const std::vector<std::string>& parts) {
    for (const std::string& part : parts) {
        if (pattern.empty()) return false;
        pattern.remove_prefix(1); // the slash
        const std::string_view wanted = pattern.substr(0, pattern.find('/'));
        if (wanted != "*" && wanted != part) return false;
        pattern.remove_prefix(wanted.size());
    }
    return pattern.empty();
}

void logRequest(const Request& request, int status, std::chrono::steady_clock::time_point began) {
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began);
    logEvent("request", {{"number", request.number},
                         {"method", request.method.substr(0, 16)},
                         {"path", pathForLog(request.path)},
                         {"status", std::to_string(status)},
                         {"ms", std::to_string(took.count())},
                         {"address", request.address}});
}

std::string newRequestNumber() {
    return randomText(8, "0123456789abcdef");
}

void secure(Response& answer) {
    answer.with("X-Content-Type-Options", "nosniff");
    if (answer.header("Content-Security-Policy").empty())
        answer.with(
            "Content-Security-Policy",
            "default-src 'none'; style-src 'self'; script-src 'self'; img-src 'self'; media-src 'self'; font-src "
            "'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'");
    if (answer.header("Referrer-Policy").empty()) answer.with("Referrer-Policy", "same-origin");
    answer.with("Cross-Origin-Opener-Policy", "same-origin");
    answer.with("Permissions-Policy", "camera=(), microphone=(), geolocation=()");
}

} // namespace

Gallery::Gallery(Config config, Database& database, MediaStore& media, const std::string& resources)
    : config_(std::move(config)), site_(Site::at(config_.url)), database_(database), media_(media),
      templates_(resources + "/pages"), kept_(database),
      checks_(std::max(1u, std::thread::hardware_concurrency() / 2)) {
    readStatics(resources + "/static");
}

void Gallery::readStatics(const std::string& folder) {
    Digest all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        std::ifstream in(entry.path(), std::ios::binary);
        Response plain;
        plain.body.assign(std::istreambuf_iterator<char>(in), {});
        const std::string tag = tagOf(plain.body);
        all.add(tag);
        const QByteArray packed =
            qCompress(reinterpret_cast<const uchar*>(plain.body.data()), qsizetype(plain.body.size()), 9)
                .mid(4); // after the size that Qt puts before it
        const bool isPacked = std::size_t(packed.size()) < plain.body.size() * 9 / 10;
        plain.with("Content-Type", typeOf(entry.path())).with("Cache-Control", "public, max-age=86400");
        if (isPacked) plain.with("Vary", "Accept-Encoding");
        secure(plain);
        StaticFile& made = statics_[std::filesystem::relative(entry.path(), folder).string()];
        if (isPacked) {
            Response small = plain;
            small.body = packed.toStdString();
            small.with("Content-Encoding", "deflate").with("ETag", tagOf(small.body));
            made.packed = std::make_shared<const ReadyResponse>(small);
        }
        made.plain = std::make_shared<const ReadyResponse>(plain.with("ETag", tag));
    }
    staticVersion_ = hexText(all.end()).substr(0, 8);
}

Gallery::~Gallery() = default;

HttpHandler::Body Gallery::bodyOf(const Request& request) {
    Body body;
    if (request.path != "/api/shaders" || request.method != "POST") return body;
    body.limit = ShareUpload::totalLimit + 100'000;
    try {
        // Nothing is written for whoever may not share.
        const bool isWelcome = programOf(request).has_value();
        body.sink = std::make_unique<ShareReceiver>(isWelcome ? &media_ : nullptr, request.header("Content-Type"));
    } catch (const std::exception&) {
        body.sink = std::make_unique<ShareReceiver>(nullptr, "");
    }
    return body;
}

std::optional<std::string> Gallery::keptAddress(const Request& request) const {
    const bool isList = request.path == "/" || request.path.starts_with("/u/");
    if (!isList || request.method != "GET" || !request.cookie(cookieName("session")).empty()) return {};
    std::string address = request.path;
    for (const auto& [name, value] : request.query)
        ((address += '\0') += name + '\0') += value;
    return address;
}

std::shared_ptr<const ReadyResponse> Gallery::answerAtOnce(Request& request) {
    const auto began = std::chrono::steady_clock::now();
    std::shared_ptr<const ReadyResponse> ready = staticFile(request);
    try {
        if (const auto address = keptAddress(request)) ready = kept_.find(*address);
    } catch (const std::exception&) { // answer() meets it too, and tells of it
    }
    if (!ready) return {};
    request.number = newRequestNumber();
    logRequest(request, ready->statusFor(request), began);
    return ready;
}

Response Gallery::answer(Request& request, bool isTooLarge) {
    const auto began = std::chrono::steady_clock::now();
    request.number = newRequestNumber();
    Response answer;
    std::optional<std::string> address;
    KeptPages::State state;
    try {
        address = keptAddress(request);
        if (address) state = kept_.state();
        answer = route(request, isTooLarge);
    } catch (const DiskRefusal& error) {
        logEvent("disk", {{"number", request.number}, {"what", error.what()}});
        answer = request.path.starts_with("/api/")
                     ? jsonError(507, "The gallery has no room for this. Nothing was kept. Tell an administrator.")
                     : mistakePage(507, "The gallery has no room",
                                   "It is not your fault. Nothing you sent was kept. Tell an administrator, and try "
                                   "again later.");
    } catch (const std::exception& error) {
        logEvent("mistake", {{"number", request.number}, {"what", error.what()}});
        const std::string again = "If it happens again, tell an administrator the number " + request.number + ".";
        answer = request.path.starts_with("/api/")
                     ? jsonError(500, "The gallery made a mistake. " + again)
                     : mistakePage(500, "The gallery made a mistake",
                                   "It is not your fault. Nothing you sent was kept. " + again);
    }
    secure(answer);
    if (address && answer.status == 200) kept_.keep(*address, state, answer);
    answer.leaveOutWhatIsKnown(request);
    logRequest(request, answer.status, began);
    return answer;
}

std::span<const Gallery::PageRoute> Gallery::pageRoutes() {
    using enum Route::Takes;
    // What answers several addresses, and reads from the path which.
    constexpr auto shaderForm = [](const Call& call) {
        return call.gallery.shaderForm(call.request, call.visitor, call.parts[1], call.parts[2]);
    };
    constexpr auto account = [](const Call& call) {
        return call.gallery.accountPage(call.request, call.visitor, call.parts.size() > 1 ? call.parts[1] : "");
    };
    constexpr auto admin = [](const Call& call) { return call.gallery.admin(call.request, call.visitor, call.parts); };
    static const PageRoute table[] = {
        {{"/", reading}, [](const Call& call) { return call.gallery.home(call.request, call.visitor); }},
        {{"/u/*", reading},
         [](const Call& call) { return call.gallery.person(call.request, call.visitor, call.parts[1]); }},
        {{"/s/*", reading},
         [](const Call& call) { return call.gallery.shaderPage(call.request, call.visitor, call.parts[1]); }},
        {{"/s/*/edit", both}, shaderForm},
        {{"/s/*/delete", both}, shaderForm},
        {{"/s/*/report", both}, shaderForm},
        {{"/s/*/*", reading},
         [](const Call& call) {
             return call.gallery.shaderFile(call.request, call.visitor, call.parts[1], call.parts[2]);
         }},
        {{"/setup", both}, [](const Call& call) { return call.gallery.setup(call.request, call.visitor); }},
        {{"/signin", both}, [](const Call& call) { return call.gallery.signIn(call.request, call.visitor); }},
        {{"/signout", posting}, [](const Call& call) { return call.gallery.signOut(call.request, call.visitor); }},
        {{"/join", both}, [](const Call& call) { return call.gallery.join(call.request, call.visitor, ""); }},
        {{"/join/*", both},
         [](const Call& call) { return call.gallery.join(call.request, call.visitor, call.parts[1]); }},
        {{"/reset/*", both},
         [](const Call& call) { return call.gallery.reset(call.request, call.visitor, call.parts[1]); }},
        {{"/device", both}, [](const Call& call) { return call.gallery.device(call.request, call.visitor); }},
        {{"/account", reading}, account},
        {{"/account/handle", posting}, account},
        {{"/account/email", posting}, account},
        {{"/account/sign-out", posting}, account},
        {{"/account/sign-out-others", posting}, account},
        {{"/account/password", posting}, account},
        {{"/account/delete", both}, account},
        {{"/admin/reports", reading}, admin},
        {{"/admin/hidden", reading}, admin},
        {{"/admin/people", reading}, admin},
        {{"/admin/people/*", both}, admin},
        {{"/admin/invite", both}, admin},
        {{"/admin/joining", both}, admin},
        {{"/admin/hide/*", both}, admin},
        {{"/admin/show/*", posting}, admin},
        {{"/admin/flashes/*", posting}, admin},
        {{"/admin/close/*", posting}, admin},
        {{"/about", reading}, [](const Call& call) { return call.gallery.about(call.request, call.visitor); }},
    };
    return table;
}

std::vector<Gallery::Route> Gallery::routes() {
    std::vector<Route> all{{"/healthz", Route::Takes::both}, {"/app/latest.json", Route::Takes::both}};
    std::ranges::copy(apiRoutes(), std::back_inserter(all));
    for (const PageRoute& page : pageRoutes())
        all.push_back(page.route);
    return all;
}

Response Gallery::route(Request& request, bool isTooLarge) {
    const std::string& path = request.path;
    if (path.empty() || path[0] != '/') return jsonError(400, "This is no address of the gallery.");
    if (path == "/healthz") {
        database_.setting("name");
        Response answer;
        answer.body = "ok\n";
        return answer.with("Content-Type", "text/plain; charset=utf-8").with("Cache-Control", "no-store");
    }
    if (path.starts_with("/api/")) return api(request, isTooLarge);
    if (path == "/app/latest.json") return latest();

    const bool isReading = request.method == "GET" || request.method == "HEAD";
    const Visitor visitor = visitorOf(request);
    if (!isReading && request.method != "POST")
        return errorPage(request, visitor, 405).with("Allow", "GET, HEAD, POST");
    if (isTooLarge) return errorPage(request, visitor, 413);
    if (path != "/setup" && !database_.hasAdministrator()) return redirect("/setup");
    const std::vector<std::string> parts = partsOf(path);
    const auto other = isReading ? Route::Takes::posting : Route::Takes::reading;
    for (const PageRoute& page : pageRoutes())
        if (page.route.takes != other && isOf(page.route.path, parts))
            return page.answer({*this, request, visitor, parts});
    return errorPage(request, visitor, 404);
}

std::shared_ptr<const ReadyResponse> Gallery::staticFile(const Request& request) const {
    constexpr std::string_view folder = "/static/";
    if (!request.path.starts_with(folder) || (request.method != "GET" && request.method != "HEAD")) return {};
    const auto found = statics_.find(std::string_view(request.path).substr(folder.size()));
    if (found == statics_.end()) return {};
    const StaticFile& file = found->second;
    return file.packed && request.header("Accept-Encoding").contains("deflate") ? file.packed : file.plain;
}

Response Gallery::about(const Request& request, const Visitor& visitor) {
    return answerPage(page(request, visitor, "about.html", "Rules and privacy"), visitor);
}

Visitor Gallery::visitorOf(const Request& request) {
    Visitor visitor;
    if (const std::string token(request.cookie(cookieName("session"))); token.size() == 43) {
        const auto session = database_.session(hashOf(token));
        if (session && !session->isProgram && session->seen > now() - browserLife) {
            auto account = database_.account(session->account);
            if (account && !account->isSuspended) {
                touch(*session, request);
                visitor.account = std::move(account);
                visitor.session = *session;
                visitor.formSecret = token;
                return visitor;
            }
        }
    }
    visitor.formSecret = request.cookie(cookieName("visitor"));
    if (visitor.formSecret.size() != 43) {
        visitor.formSecret = randomToken();
        visitor.isFormSecretNew = true;
    }
    return visitor;
}

void Gallery::touch(const Session& session, const Request& request) {
    if (now() - session.seen <= 300 && session.address == request.address) return;
    try {
        database_.touchSession(session.id, now(), request.address);
    } catch (const DiskRefusal&) {
        // A full disk keeps nobody from reading.
    }
}

std::string Gallery::cookieName(std::string_view what) const {
    return (config_.url.starts_with("https://") ? "__Host-" : "") + std::string(what);
}

std::string Gallery::cookie(std::string_view what, std::string_view value, std::int64_t seconds) const {
    return cookieName(what) + "=" + std::string(value) +
           "; Path=/; HttpOnly; SameSite=Lax; Max-Age=" + std::to_string(seconds) +
           (config_.url.starts_with("https://") ? "; Secure" : "");
}

std::string Gallery::galleryName() {
    std::string name = database_.setting("name");
    return name.empty() ? std::string(standardName) : name;
}

std::string Gallery::whoMayJoin() {
    return database_.setting("join");
}

Page Gallery::page(const Request& request, const Visitor& visitor, const std::string& name, std::string_view title) {
    Page page(templates_, name);
    page.set("GALLERY", galleryName());
    page.set("TITLE", title);
    page.set("VERSION", Identity::version);
    page.set("STATICS", staticVersion_);
    page.set("GET", config_.get);
    page.set("HOST", site_.name + site_.portText());
    page.set("BASE", config_.url);
    page.set("TOKEN", derivedToken(visitor.formSecret, "form"));
    if (visitor.account) {
        Values person = page.frame().add("PERSON");
        const std::string& handle = visitor.account->handle;
        page.set("HANDLE", handle);
        person.set("LETTER", handle.empty() ? "?"
                                            : std::string(1, handle[0] >= 'a' && handle[0] <= 'z' ? char(handle[0] - 32)
                                                                                                  : handle[0]));
        if (visitor.isAdmin()) {
            Values admin = page.frame().add("ADMIN");
            if (const std::int64_t open = database_.countOfOpenReports(); open > 0) admin.add("COUNT").set("N", open);
        }
    } else if (request.path != "/signin" && !request.path.starts_with("/join") && request.path != "/setup") {
        page.frame().show("SIGNIN");
    }
    return page;
}

Response Gallery::answerPage(const Page& page, const Visitor& visitor, int status) const {
    Response answer;
    answer.status = status;
    answer.body = page.html();
    // What a page shows depends on who asks, and the forms on it are theirs.
    answer.with("Content-Type", "text/html; charset=utf-8").with("Cache-Control", "no-store");
    if (visitor.isFormSecretNew) answer.with("Set-Cookie", cookie("visitor", visitor.formSecret, day));
    return answer;
}

Response Gallery::answerList(const Page& page, const Visitor& visitor) const {
    if (visitor.account) return answerPage(page, visitor);
    Response answer;
    answer.body = page.html();
    // To be asked for each time, and sent when it is another one.
    return answer.with("Content-Type", "text/html; charset=utf-8")
        .with("ETag", tagOf(answer.body))
        .with("Vary", "Cookie")
        .with("Cache-Control", "private, no-cache");
}

Response Gallery::errorPage(const Request& request, const Visitor& visitor, int status, std::int64_t wait) {
    struct Text {
        int status;
        const char *title, *head, *text;
    };
    static constexpr Text texts[] = {
        {400, "Not understood", "The gallery did not understand that",
         "What the browser sent was not the form of this page. Go back, reload the page and try again."},
        {403, "Not allowed", "That form is out of date",
         "It was not made for this browser, or you signed in or out since. Go back, reload the page and try again."},
        {404, "Not found", "There is nothing at this address",
         "The shader may be private, or the address lost a letter on its way to you. If it is yours, sign in to see "
         "it."},
        {405, "Not allowed", "That cannot be done here", "This address does not take such a request."},
        {413, "Too large", "That was too large", "No form of this gallery is so long. Shorten the text and try again."},
    };
    Page made = page(request, visitor, "error.html", "Not found");
    made.set("STATUS", status);
    if (status == 429) {
        made.set("TITLE", "Too many requests").set("HEAD", "That was too much at once");
        const std::string time = wait <= 90 ? counted(std::max<std::int64_t>(wait, 1), "second", "seconds")
                                            : counted((wait + 59) / 60, "minute", "minutes");
        made.set("TEXT",
                 "Wait " + time + ", then try again. Others on your network count too: in a class, take turns.");
    }
    for (const Text& text : texts)
        if (text.status == status) made.set("TITLE", text.title).set("HEAD", text.head).set("TEXT", text.text);
    made.show("OFFERS_SIGNIN", status == 404 && !visitor.account);
    Response answer = answerPage(made, visitor, status);
    if (status == 429) answer.with("Retry-After", std::to_string(std::max<std::int64_t>(wait, 1)));
    return answer;
}

Response Gallery::mistakePage(int status, std::string_view head, std::string_view text) const {
    Page made(templates_, "error.html");
    made.set("GALLERY", standardName).set("VERSION", Identity::version).set("STATICS", staticVersion_);
    made.set("GET", config_.get).set("TITLE", "Something went wrong").set("STATUS", status);
    made.set("HEAD", head).set("TEXT", text);
    return answerPage(made, Visitor(), status);
}

Response Gallery::redirect(const std::string& path) const {
    Response answer;
    answer.status = 303;
    return answer.with("Location", path).with("Cache-Control", "no-store");
}

Response Gallery::toSignIn(const Request& request) const {
    std::string next = request.path;
    if (const std::string_view code = request.argument("code"); !code.empty()) next += "?code=" + urlEncoded(code);
    return redirect("/signin?next=" + urlEncoded(next));
}

std::optional<Gallery::Fields> Gallery::formOf(const Request& request, const Visitor& visitor) const {
    if (visitor.isFormSecretNew) return {};
    if (const std::string_view origin = request.header("Origin"); !origin.empty()) {
        const std::string_view host = origin.substr(std::min(origin.find("://") + 3, origin.size()));
        // Pages whose address is a secret have no referrer, and browsers send their forms with the origin "null".
        const bool isUntold =
            origin == "null" && (request.path.starts_with("/join") || request.path.starts_with("/reset/"));
        if (!isUntold && origin != config_.url && host != request.header("Host")) return {};
    }
    auto form = request.form();
    if (!form) return {};
    const auto token = form->find("token");
    if (token == form->end() || !isSame(token->second, derivedToken(visitor.formSecret, "form"))) return {};
    return form;
}

std::int64_t Gallery::secondsToWait(const std::string& bucket, std::int64_t most, std::int64_t seconds) {
    const Moment moment = now();
    const Attempts made = database_.attempt(bucket, seconds, moment);
    return made.count <= most ? 0 : std::max<std::int64_t>(made.ends - moment, 1);
}

void Gallery::setTime(Values& values, Moment moment) const {
    values.set("WHEN", whenText(moment, now())).set("ISO", isoText(moment));
}

bool Gallery::isPasswordOf(const Account* account, std::string_view password) {
    passwords_.acquire();
    const bool isRight = isPassword(account ? account->password : std::string(), password);
    passwords_.release();
    return isRight;
}

std::string Gallery::newPasswordHash(std::string_view password) {
    passwords_.acquire();
    std::string hash = passwordHash(password);
    passwords_.release();
    return hash;
}

void Gallery::removeUnused(const std::vector<std::string>& media) {
    database_.write([&] {
        for (const std::string& name : media)
            if (!database_.isMediaUsed(name)) media_.remove(name);
    });
}

void Gallery::deleteShader(const Shader& shader) {
    database_.deleteShader(shader.number, now());
    removeUnused(shader.media.names());
}

void Gallery::deleteAccount(const Account& account) {
    std::vector<std::string> media;
    for (const Shader& shader : database_.shadersOf(account.id, true, 0, 1'000'000))
        std::ranges::copy(shader.media.names(), std::back_inserter(media));
    database_.deleteAccount(account.id);
    removeUnused(media);
    database_.tidy();
}

std::string Gallery::makeSetupCode() {
    if (database_.hasAdministrator()) return {};
    const std::string code = randomText(12, codeCharacters);
    database_.setSetting("setup", hexText(hashOf(code)));
    return shownCode(code);
}

std::string Gallery::makeResetLink(std::string_view handle) {
    const auto account = database_.accountNamed(handle);
    if (!account) return {};
    const std::string token = randomToken();
    database_.setReset(account->id, hashOf(token), now() + day);
    return config_.url + "/reset/" + token;
}

void Gallery::sweep() {
    // What fails, on a full disk above all, keeps neither the rest from being done nor the gallery from serving.
    const auto attempt = [](const auto& step) {
        try {
            step();
        } catch (const std::exception& error) {
            logEvent("sweep", {{"what", error.what()}});
        }
    };
    attempt([&] { database_.forget(now()); });
    attempt([&] {
        std::vector<std::string> old;
        media_.eachOlderThan(3600, [&](const std::string& name) { old.push_back(name); });
        for (const std::string& name : old)
            if (!database_.isMediaUsed(name)) removeUnused({name});
    });
    attempt([&] { database_.tidy(); });
}

} // namespace glasshob::gallery
