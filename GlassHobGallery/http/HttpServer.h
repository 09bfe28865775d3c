#pragma once

// The HTTP server: one thread that watches every connection, and a few that answer. A request is answered when its body
// is there; until then it holds a few kilobytes and no thread, so that slow senders and idle connections cost little.
// All of it may be used from any thread; the handler is called from several.

#include "GlassHobGallery/http/Http.h"

#include <cstdint>
#include <memory>
#include <string>

struct MHD_Response;

namespace glasshob::gallery {

// An answer that is given many times, made once, and the 304 in its place where it has an ETag. Any thread.
class ReadyResponse {
  public:
    explicit ReadyResponse(const Response& answer);
    ~ReadyResponse();
    ReadyResponse(const ReadyResponse&) = delete;

    // 304 for those who have it already.
    int statusFor(const Request& request) const;

  private:
    friend class HttpServer;
    std::string tag_;
    int status_;
    MHD_Response *whole_ = nullptr, *unchanged_ = nullptr;
};

class HttpHandler {
  public:
    virtual ~HttpHandler() = default;

    struct Body {
        // More is refused with 413.
        std::uint64_t limit = 65536;
        // Takes the bytes; without one they are kept in the request.
        std::unique_ptr<BodySink> sink;
    };
    // How the body of a request is taken; called on the server's thread when its headers are there.
    virtual Body bodyOf(const Request& request) = 0;
    // The answer where it is at hand without any waiting; called on the server's thread, and never throws. Nothing: one
    // of the others calls answer().
    virtual std::shared_ptr<const ReadyResponse> answerAtOnce(Request& request) = 0;
    // Never throws. `isTooLarge`: there was more than the limit, and nothing of it is kept.
    virtual Response answer(Request& request, bool isTooLarge) = 0;
};

class HttpServer {
  public:
    struct Options {
        std::string address = "127.0.0.1";
        // 0 takes a free one.
        std::uint16_t port = 8080;
        // Whether whoever connects is a proxy of ours, whose X-Forwarded-For tells the person's address.
        bool isBehindProxy = false;
        unsigned workers = 4;
        unsigned connections = 1000;
        // Without a proxy: of one address.
        unsigned connectionsOfOne = 250;
        // Of silence, and for a whole request.
        unsigned idleSeconds = 30;
        unsigned wholeSeconds = 300;
    };

    // Listens at once. Throws std::runtime_error with a sentence when it cannot.
    HttpServer(Options options, HttpHandler& handler);
    // As stop(), without patience.
    ~HttpServer();

    std::uint16_t port() const;
    // Takes no new connections, lets the requests that are being received or answered end for so many seconds at most,
    // and closes the rest.
    void stop(unsigned seconds);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace glasshob::gallery
