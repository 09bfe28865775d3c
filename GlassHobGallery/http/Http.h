#pragma once

// Requests and answers as the gallery's own code sees them, whatever server carries them. Plain values.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glasshob::gallery {

// Takes the body of a request as it comes, on the server's thread: quick, and never waiting for anything but a disk.
class BodySink {
  public:
    virtual ~BodySink() = default;
    virtual void take(std::string_view bytes) = 0;
};

struct Request {
    // Names of headers are compared without regard to case.
    struct Less {
        using is_transparent = void;
        bool operator()(std::string_view a, std::string_view b) const;
    };
    using Fields = std::map<std::string, std::string, std::less<>>;

    std::string method;
    // Decoded, without the query.
    std::string path;
    Fields query;
    std::map<std::string, std::string, Less> headers;
    // Of the person, as far as the server knows it.
    std::string address;
    // What came, unless it went into `sink`.
    std::string body;
    std::unique_ptr<BodySink> sink;
    // Names the request in the log.
    std::string number;

    std::string_view header(std::string_view name) const;
    std::string_view argument(std::string_view name) const;
    std::string_view cookie(std::string_view name) const;
    // Whether the client has what has this ETag.
    bool knows(std::string_view tag) const;
    // The media type of the body in small letters, without parameters.
    std::string contentType() const;
    // The fields of a form that came urlencoded; nothing when the body is none.
    std::optional<Fields> form() const;
};

struct Response {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    // A part of an open file in place of the body; the server closes it.
    int file = -1;
    std::uint64_t offset = 0, size = 0;

    Response& with(std::string name, std::string value) {
        headers.emplace_back(std::move(name), std::move(value));
        return *this;
    }
    std::string_view header(std::string_view name) const;
    // Becomes a 304 without a body where the request names its ETag: what the client has is not sent again.
    void leaveOutWhatIsKnown(const Request& request);
};

// "%41+b" as a form writes it; nothing when a "%" is no byte's.
std::optional<std::string> urlDecoded(std::string_view text);
// Whom a limit by address is for: the address, or of IPv6 the network of 64 bits, all of which one person has.
std::string networkOf(const std::string& address);
// Everything but letters, digits and "-._~" as "%41".
std::string urlEncoded(std::string_view text);

} // namespace glasshob::gallery
