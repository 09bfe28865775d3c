#pragma once

// The one way from this program to a server: http and https requests that leave nothing behind, no cookie, no cache, no
// password of another request. A certificate that is not good for its host ends the request; there is no way round it.
// An answer is held in memory up to the limit of its request, counted after it was unpacked; what goes beyond is not
// read. Main thread; requests run side by side. A session that is destroyed ends its requests first, as cancelled.

#include "GlassHobCore/site/Cancellation.h"
#include "GlassHobCore/site/UploadProgress.h"

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QUrl>

#include <qcoro/qcorotask.h>

#include <chrono>
#include <expected>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace glasshob {

struct HttpRequest {
    // What an answer that points elsewhere (3xx) means. `refused`: it is the answer. `sameHost`: it is followed when it
    // is a GET and the new address has the scheme and the host of the first one, at most twenty times; else it is the
    // answer. Whoever sends credentials refuses.
    enum class Redirects { refused, sameHost };

    QByteArray method = "GET";
    // http or https.
    QUrl url;
    // Beside those that the session adds. Values must be free of line breaks.
    std::vector<std::pair<QByteArray, QByteArray>> headers;
    std::optional<QByteArray> body;
    // The bytes of the answer that are taken.
    qsizetype answerLimit = 1'048'576;
    // In place of the session's time for a whole request.
    std::optional<std::chrono::milliseconds> wholeTime;
    Redirects redirects = Redirects::refused;
    // Hears how much of the body is sent.
    UploadProgress progress;
};

struct HttpAnswer {
    int status = 0;
    // At most as many bytes as the request allows.
    QByteArray body;
    // Whether there was more than that, or the server announced more; then `body` is of no use.
    bool isTooLarge = false;
};

struct HttpError {
    enum class Kind { network, cancelled };
    Kind kind = Kind::network;
    // A whole sentence for the person.
    std::string message;

    bool operator==(const HttpError&) const = default;
};

class HttpSession {
  public:
    struct Times {
        // The longest silence, while sending and while receiving.
        std::chrono::milliseconds idle = std::chrono::seconds(30);
        // For a whole answer, redirects included, counted from when the request was sent: an upload takes its time.
        std::chrono::milliseconds whole = std::chrono::seconds(60);
    };

    // `userAgent` goes with every request.
    explicit HttpSession(std::string userAgent) : HttpSession(std::move(userAgent), Times()) {}
    HttpSession(std::string userAgent, Times times);
    ~HttpSession();
    HttpSession(const HttpSession&) = delete;
    HttpSession& operator=(const HttpSession&) = delete;

    QCoro::Task<std::expected<HttpAnswer, HttpError>> send(HttpRequest request, Cancellation cancellation = {});

  private:
    class Transfer;

    QNetworkAccessManager manager_;
    QByteArray userAgent_;
    Times times_;
    std::set<Transfer*> running_;
    bool isClosing_ = false;
};

} // namespace glasshob
