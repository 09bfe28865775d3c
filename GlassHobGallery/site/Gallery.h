#pragma once

// The gallery: takes a request, finds who asks, and lets the right part answer. Keeps nothing in memory that a second
// process on the same data would miss. Any thread.

#include "GlassHobGallery/data/Database.h"
#include "GlassHobGallery/data/MediaStore.h"
#include "GlassHobGallery/http/HttpServer.h"
#include "GlassHobGallery/site/Config.h"
#include "GlassHobGallery/site/KeptPages.h"
#include "GlassHobGallery/site/Page.h"

#include "GlassHobCore/site/Site.h"

#include <functional>
#include <map>
#include <semaphore>
#include <span>

class QJsonObject;

namespace glasshob::gallery {

// Who asks.
struct Visitor {
    std::optional<Account> account;
    Session session;
    // The secret that the tokens of forms are made from.
    std::string formSecret;
    // Whether the browser has that secret only after this answer.
    bool isFormSecretNew = false;

    bool isAdmin() const { return account && account->isAdmin; }
};

class Gallery : public HttpHandler {
  public:
    // `resources` is the folder with pages/ and static/.
    Gallery(Config config, Database& database, MediaStore& media, const std::string& resources);
    ~Gallery() override;

    Body bodyOf(const Request& request) override;
    std::shared_ptr<const ReadyResponse> answerAtOnce(Request& request) override;
    Response answer(Request& request, bool isTooLarge) override;

    // The setup code, for the log; empty once there is an administrator.
    std::string makeSetupCode();
    // The link that lets a person choose a new password; empty when there is no such person.
    std::string makeResetLink(std::string_view handle);
    // Takes away files of nobody and what has expired.
    void sweep();

    const Config& config() const { return config_; }

    // An address that the gallery answers: "/s/*/edit", where each "*" is one part of the path.
    struct Route {
        enum class Takes { reading, posting, both };
        const char* path;
        Takes takes;
    };
    // All of them but the files under /static/.
    static std::vector<Route> routes();

  private:
    using Fields = Request::Fields;

    // A question to a page: `parts` are the parts of its path.
    struct Call {
        Gallery& gallery;
        const Request& request;
        const Visitor& visitor;
        const std::vector<std::string>& parts;
    };
    struct PageRoute {
        Route route;
        Response (*answer)(const Call& call);
    };
    static std::span<const PageRoute> pageRoutes();
    Response route(Request& request, bool isTooLarge);
    std::shared_ptr<const ReadyResponse> staticFile(const Request& request) const;
    // Under what the answer may be kept for others; nothing when it may not.
    std::optional<std::string> keptAddress(const Request& request) const;
    Response about(const Request& request, const Visitor& visitor);

    // ---- For programs (Api.cpp, Share.cpp)
    static std::span<const Route> apiRoutes();
    Response api(Request& request, bool isTooLarge);
    Response startLink(const Request& request);
    Response pollLink(const Request& request, const QJsonObject& body);
    Response setHandleByProgram(const Visitor& visitor, const QJsonObject& body);
    Response share(Request& request, bool isTooLarge);
    std::optional<Visitor> programOf(const Request& request);
    Response latest() const;

    // ---- Pages of shaders (ShaderPages.cpp)
    Response home(const Request& request, const Visitor& visitor);
    Response person(const Request& request, const Visitor& visitor, const std::string& handle);
    Response shaderPage(const Request& request, const Visitor& visitor, const std::string& id);
    Response shaderFile(const Request& request, const Visitor& visitor, const std::string& id, const std::string& name);
    Response shaderForm(const Request& request, const Visitor& visitor, const std::string& id, const std::string& what);
    Response gone(const Request& request, const Visitor& visitor, const Shader& shader);
    void addCards(Values& page, const std::vector<Shader>& shaders, bool hasHandle, bool isFirstPage) const;
    bool maySee(const Visitor& visitor, const Shader& shader) const;
    bool isSeenByLink(const Shader& shader) const;

    // ---- Pages of people (AccountPages.cpp)
    Response signIn(const Request& request, const Visitor& visitor);
    Response join(const Request& request, const Visitor& visitor, const std::string& token);
    Response setup(const Request& request, const Visitor& visitor);
    Response accountPage(const Request& request, const Visitor& visitor, const std::string& what);
    // DevicePages.cpp
    Response device(const Request& request, const Visitor& visitor);
    Response reset(const Request& request, const Visitor& visitor, const std::string& token);
    Response signOut(const Request& request, const Visitor& visitor);
    Response signedIn(const Request& request, Id account, const std::string& next);

    // ---- Administration (AdminPages.cpp)
    Response admin(const Request& request, const Visitor& visitor, const std::vector<std::string>& parts);
    Response adminPerson(const Request& request, const Visitor& visitor, const std::string& handle);

    // ---- Shared by the pages (Gallery.cpp)
    Visitor visitorOf(const Request& request);
    // Keeps when and from where a session was used.
    void touch(const Session& session, const Request& request);
    Page page(const Request& request, const Visitor& visitor, const std::string& name, std::string_view title);
    Response answerPage(const Page& page, const Visitor& visitor, int status = 200) const;
    // A page without forms, which is the same for all who are not signed in.
    Response answerList(const Page& page, const Visitor& visitor) const;
    Response errorPage(const Request& request, const Visitor& visitor, int status, std::int64_t wait = 0);
    // Without the database, which may be what is wrong.
    Response mistakePage(int status, std::string_view head, std::string_view text) const;
    Response redirect(const std::string& path) const;
    Response toSignIn(const Request& request) const;
    // The fields of a form that this visitor was given; nothing when it is none, or came from elsewhere.
    std::optional<Fields> formOf(const Request& request, const Visitor& visitor) const;
    // Counts one more. 0 when there were no more than so many in so many seconds, else the seconds until the next may
    // come.
    std::int64_t secondsToWait(const std::string& bucket, std::int64_t most, std::int64_t seconds);
    std::string cookieName(std::string_view what) const;
    std::string cookie(std::string_view what, std::string_view value, std::int64_t seconds) const;
    std::string galleryName();
    // "invited", "anyone" or "nobody".
    std::string whoMayJoin();
    void setTime(Values& values, Moment moment) const;
    void removeUnused(const std::vector<std::string>& media);
    void deleteShader(const Shader& shader);
    void deleteAccount(const Account& account);
    bool isPasswordOf(const Account* account, std::string_view password);
    std::string newPasswordHash(std::string_view password);

    void readStatics(const std::string& folder);

    struct StaticFile {
        // The second as zlib packs it; nothing where that hardly makes it smaller.
        std::shared_ptr<const ReadyResponse> plain, packed;
    };

    Config config_;
    Site site_;
    Database& database_;
    MediaStore& media_;
    Templates templates_;
    std::map<std::string, StaticFile, std::less<>> statics_;
    std::string staticVersion_;
    KeptPages kept_;
    // So many at once, each taking a processor and memory.
    std::counting_semaphore<> checks_;
    std::counting_semaphore<> passwords_{4};
    std::counting_semaphore<> shares_{8};
};

// Now, and how long ago it was in words.
Moment now();
std::string whenText(Moment moment, Moment now);
std::string isoText(Moment moment);
// "14 November 2026".
std::string dateText(Moment moment);
// "1 shader", "2 shaders".
std::string counted(std::int64_t count, std::string_view one, std::string_view many);

Response jsonAnswer(int status, const QJsonObject& body);
Response jsonError(int status, std::string_view sentence);

// What a program calls itself, in words: "GlassHob/1.4.0" is "Glass Hob 1.4.0".
std::string programName(std::string_view agent);

// Codes that people compare: eight characters that cannot be mixed up.
inline constexpr std::string_view codeCharacters = "BCDFGHJKLMNPQRSTVWXZ2345679";
// The code as it is kept: capitals without dashes and blanks.
std::string plainCode(std::string_view typed);
// With its dash.
std::string shownCode(std::string_view plain);

// Each a problem for the person; empty when there is none.
std::string handleProblem(std::string_view handle);
std::string passwordProblem(std::string_view password, std::string_view handle);
std::string emailProblem(std::string_view email);

} // namespace glasshob::gallery
