#pragma once

// The gallery's interface for programs: one operation for each of its addresses, each a request, the rule for its
// status, and a plain record of its answer. Keeps nothing between calls: who is signed in hands in the token each time.
// Nothing is tried again here. Main thread; a small value that may go before its operations end, the session may not.

#include "GlassHobCore/site/Clock.h"
#include "GlassHobCore/site/HttpSession.h"
#include "GlassHobCore/site/ShareUpload.h"
#include "GlassHobCore/site/Site.h"

#include <QUrl>

#include <chrono>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace glasshob {

class APIClient {
  public:
    // The answer to the start of a sign-in.
    struct LinkStart {
        // What to ask with, and the short code that the person compares.
        std::string device;
        std::string code;
        // Where the person allows it. Any address: whoever opens it looks first whose it is.
        QUrl url;
        // Between two questions, 1 to 60 s.
        std::chrono::milliseconds interval = std::chrono::seconds(5);
        std::optional<Clock::Moment> expires;
    };

    struct LinkPoll {
        enum class Kind { approved, pending, gone };
        Kind kind = Kind::pending;
        // Of `approved`.
        std::string token;
        std::string email;
        std::optional<std::string> handle;
    };

    struct Me {
        std::string email;
        std::optional<std::string> handle;
    };

    struct Shared {
        std::string id;
        // The shader's page, http or https.
        QUrl url;
    };

    struct Failure {
        // In this order: the token was refused; the account has no handle yet; too many requests; any other status; the
        // request did not come through; the answer could not be read; the caller ended it.
        enum class Kind { signedOut, needsHandle, tooMany, server, network, badAnswer, cancelled };
        Kind kind = Kind::badAnswer;
        // Of `server`.
        int status = 0;
        // The sentence for the person: one line. The server's own words, where it has any, so it is plain text only.
        std::string message;

        const std::string& description() const { return message; }
        bool operator==(const Failure&) const = default;
    };

    template <class Value>
    using Result = std::expected<Value, Failure>;

    APIClient(Site site, std::string userAgent, HttpSession& session, Clock& clock = Clock::real());

    // Whether a text can be a token: visible ASCII, nothing that could end a header.
    static bool isToken(std::string_view text);

    // Starts a sign-in, and asks how it stands.
    QCoro::Task<Result<LinkStart>> startLink(Cancellation cancellation = {}) const;
    QCoro::Task<Result<LinkPoll>> pollLink(std::string_view device, Cancellation cancellation = {}) const;
    // Whose token it is.
    QCoro::Task<Result<Me>> me(std::string_view token, Cancellation cancellation = {}) const;
    // Gives the handle that the account then has.
    QCoro::Task<Result<std::string>> setHandle(std::string_view token, std::string_view handle,
                                               Cancellation cancellation = {}) const;
    // Whether it worked is nobody's business any more.
    QCoro::Task<> signOut(std::string_view token) const;
    QCoro::Task<Result<Shared>> share(std::string_view token, const ShareUpload& upload, UploadProgress progress,
                                      Cancellation cancellation = {}) const;

  private:
    HttpRequest request(std::string_view path, std::string_view token = {}) const;
    HttpRequest post(std::string_view path, const QJsonObject& body, std::string_view token = {}) const;

    Site site_;
    QByteArray userAgent_;
    HttpSession* session_;
    Clock* clock_;
};

} // namespace glasshob
