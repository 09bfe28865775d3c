#pragma once

// What the gallery keeps, as plain values. Moments are seconds since 1970; a hash is 32 bytes.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace glasshob::gallery {

using Moment = std::int64_t;
using Id = std::int64_t;

struct Account {
    Id id = 0;
    // Empty where an imported account has none yet.
    std::string handle;
    std::string email;
    // As libsodium writes it.
    std::string password;
    bool isAdmin = false;
    bool isSuspended = false;
    Moment created = 0;
    std::string invitedBy;
    // How many of its shaders everyone finds.
    std::int64_t listed = 0;
    // How many there are that it has not deleted.
    std::int64_t kept = 0;

    // The address, or the handle in its place.
    const std::string& name() const { return email.empty() ? handle : email; }
};

struct Session {
    Id id = 0;
    Id account = 0;
    bool isProgram = false;
    std::string agent;
    std::string address;
    Moment created = 0;
    Moment seen = 0;
};

// A device that asks to be signed in.
struct Link {
    Id id = 0;
    // "waiting", "allowed" or "refused".
    std::string state;
    Id account = 0;
    std::string agent;
    std::string address;
    Moment created = 0;
    Moment expires = 0;
    std::optional<Moment> handed;
};

struct Media {
    // Names in the media store.
    std::string source, loop, thumb, smallLoop, smallThumb;

    std::vector<std::string> names() const { return {source, loop, thumb, smallLoop, smallThumb}; }
};

struct Shader {
    std::int64_t number = 0;
    std::string id;
    Id account = 0;
    std::string handle;
    std::string title, description, licence, visibility, kind;
    bool hasSound = false;
    std::string forkedFrom;
    std::vector<std::string> tags;
    // As JSON: name, default, min, max, detail.
    std::string params;
    // The hash of everything that was sent, to know it again.
    std::string content;
    Media media;
    Moment created = 0;
    bool flashes = false;
    // Somebody has reported that it flashes, and nobody has looked yet.
    bool isReportedForFlashing = false;
    // The reason, while an administrator hides it.
    std::optional<std::string> hidden;
    std::optional<Moment> deleted;
    std::string deletedBy;
    // The author's.
    bool isSuspended = false;
    // That everyone finds.
    std::int64_t forks = 0;
};

// How often something was tried, and until when that is counted.
struct Attempts {
    std::int64_t count = 0;
    Moment ends = 0;
};

struct Report {
    Id id = 0;
    std::string handle, reason, text;
    Moment created = 0;
};

struct Invitation {
    std::string by;
    std::int64_t uses = 0;
    Moment expires = 0;
};

} // namespace glasshob::gallery
