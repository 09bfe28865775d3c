#include "GlassHobCore/site/OpenLink.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/shader/ForkedFrom.h"
#include "GlassHobCore/shader/GalleryNames.h"
#include "GlassHobCore/text/Ascii.h"
#include "GlassHobCore/text/Lines.h"
#include "GlassHobCore/text/Numbers.h"

#include <algorithm>
#include <vector>

namespace glasshob {

namespace {

using Kind = OpenLink::Problem::Kind;

constexpr std::string_view ending = ".metal";
constexpr std::string_view notFull = "the address is not a full URL";
constexpr std::size_t longestHost = 253; // a name of the domain system has no more

bool isAnyOf(char c, std::string_view characters) {
    return characters.find(c) != std::string_view::npos;
}
bool isUnreserved(char c) {
    return isLetter(c) || isDigit(c) || isAnyOf(c, "-._~");
}
// What stands for itself in a path.
bool isPathCharacter(char c) {
    return isUnreserved(c) || isAnyOf(c, "!$&'()*+,;=:@/");
}

// The value of a hexadecimal digit, or -1.
int hexadecimal(char c) {
    if (isDigit(c)) return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Whether all of it may stand in a URL, every "%" with two digits behind it.
bool isUrlText(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '%') {
            if (i + 2 >= text.size() || hexadecimal(text[i + 1]) < 0 || hexadecimal(text[i + 2]) < 0) return false;
        } else if (!isPathCharacter(c) && !isAnyOf(c, "?#[]")) {
            return false;
        }
    }
    return true;
}

// Of a text that isUrlText.
std::string decoded(std::string_view text) {
    std::string made;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            made += char(hexadecimal(text[i + 1]) * 16 + hexadecimal(text[i + 2]));
            i += 2;
        } else {
            made += text[i];
        }
    }
    return made;
}

std::string encodedPath(std::string_view path) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string made;
    for (const char c : path) {
        if (isPathCharacter(c)) {
            made += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            made += {'%', digits[byte >> 4], digits[byte & 15]};
        }
    }
    return made;
}

// A URL in its parts, as they are written.
struct Url {
    std::string_view scheme, authority, path, query;
};

std::optional<Url> split(std::string_view text) {
    if (!isUrlText(text)) return {};
    const std::size_t colon = text.find("://");
    if (colon == 0 || colon == std::string_view::npos) return {};
    Url url;
    url.scheme = text.substr(0, colon);
    if (!isLetter(url.scheme.front()) ||
        !std::ranges::all_of(url.scheme, [](char c) { return isLetter(c) || isDigit(c) || isAnyOf(c, "+-."); }))
        return {};
    text.remove_prefix(colon + 3);
    text = text.substr(0, text.find('#'));
    if (const std::size_t mark = text.find('?'); mark != std::string_view::npos) {
        url.query = text.substr(mark + 1);
        text = text.substr(0, mark);
    }
    url.authority = text.substr(0, text.find('/'));
    url.path = text.substr(url.authority.size());
    return url;
}

// The address of a shader: scheme and host in lower case, the path decoded.
struct Address {
    std::string scheme, host, path;
    bool hasUser = false;
    // With its colon; empty when there is none.
    std::string_view port;
};

bool isHost(std::string_view host) {
    if (host.empty() || host.size() > longestHost) return false;
    if (host.starts_with('[') && host.ends_with(']')) {
        const std::string_view inner = host.substr(1, host.size() - 2);
        return std::ranges::all_of(inner, [](char c) { return hexadecimal(c) >= 0 || isAnyOf(c, ":."); });
    }
    return std::ranges::all_of(host, [](char c) { return isUnreserved(c) || isAnyOf(c, "!$&'()*+,;="); });
}

bool isPort(std::string_view port) {
    if (port.size() < 2 || port.size() > 6 || !std::ranges::all_of(port.substr(1), isDigit)) return false;
    const auto number = parseInteger(port.substr(1));
    return number && *number >= 1 && *number <= 65535;
}

// An escaped slash or backslash would make another path of it for some reader on the way.
bool isCleanPath(std::string_view written, std::string_view path) {
    return isValidUtf8(path) && std::ranges::count(written, '/') == std::ranges::count(path, '/') &&
           std::ranges::none_of(path, [](char c) {
               const auto byte = static_cast<unsigned char>(c);
               return byte < 0x20 || byte == 0x7F || c == '\\';
           });
}

std::optional<Address> addressOf(std::string_view text) {
    const auto url = split(text);
    if (!url) return {};
    Address address;
    address.scheme = lowered(url->scheme);
    std::string_view host = url->authority;
    if (const std::size_t at = host.rfind('@'); at != std::string_view::npos) {
        address.hasUser = true;
        host.remove_prefix(at + 1);
    }
    const std::size_t inner = host.starts_with('[') ? host.find(']') : 0;
    if (const std::size_t colon = host.find(':', std::min(inner, host.size())); colon != std::string_view::npos) {
        address.port = host.substr(colon);
        host = host.substr(0, colon);
        if (!isPort(address.port)) return {};
    }
    if (!isHost(host)) return {};
    address.host = lowered(host);
    address.path = decoded(url->path);
    if (!isCleanPath(url->path, address.path)) return {};
    return address;
}

// "/a/b" gives "a" and "b"; nothing of a path that does not begin with a slash.
std::vector<std::string_view> steps(std::string_view path) {
    std::vector<std::string_view> made;
    while (path.starts_with('/')) {
        path.remove_prefix(1);
        const std::size_t end = std::min(path.find('/'), path.size());
        made.push_back(path.substr(0, end));
        path.remove_prefix(end);
    }
    return made;
}

// Gives the link the names that its path says.
void name(OpenLink& link, std::string_view path) {
    const std::vector<std::string_view> parts = steps(path);
    const auto episode = parts.empty() ? std::nullopt : GalleryNames::episodeOfFolder(parts[0]);
    if (episode && parts.size() == 3 && parts[1] == "stages" && parts[2].ends_with(ending)) {
        const std::string_view stage = parts[2].substr(0, parts[2].size() - ending.size());
        if (GalleryNames::isStage(stage)) {
            link.item = *episode + "/" + std::string(stage);
            link.fileName = safeFileName(std::string(parts[0]) + "-" + std::string(stage));
            return;
        }
    }
    if (episode && parts.size() == 2 && parts[1] == "source.metal") {
        link.item = episode;
        link.fileName = safeFileName(parts[0]);
        return;
    }
    if (parts.size() == 3 && parts[0] == "s" && parts[2] == "source.metal" && GalleryNames::isSharedId(parts[1])) {
        link.item = "s/" + std::string(parts[1]);
        link.fileName = safeFileName("s-" + std::string(parts[1]));
        return;
    }
    link.fileName = safeFileName(parts.empty() ? path : parts.back());
}

} // namespace

std::string OpenLink::Problem::description() const {
    switch (kind) {
    case Kind::notAllowed: return "Glass Hob only opens shaders from " + site + ": " + reason;
    case Kind::missingSource: return "The link does not say which shader to open.";
    case Kind::notAnOpenLink: break;
    }
    return "This is not a Glass Hob open link.";
}

std::expected<OpenLink, OpenLink::Problem> OpenLink::parse(std::string_view link, const Site& site) {
    const auto refusal = [&](std::string_view reason) {
        return std::unexpected(Problem{Kind::notAllowed, std::string(reason), site.name});
    };
    const auto parts = split(link);
    if (!parts || lowered(parts->scheme) != Identity::urlScheme || lowered(parts->authority) != "open")
        return std::unexpected(Problem{Kind::notAnOpenLink, {}, {}});

    std::string value;
    for (std::string_view query = parts->query; !query.empty();) {
        const std::string_view entry = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(entry.size() + 1, query.size()));
        const std::size_t equals = std::min(entry.find('='), entry.size());
        if (decoded(entry.substr(0, equals)) != "src") continue;
        value = decoded(entry.substr(std::min(equals + 1, entry.size())));
        break;
    }
    if (value.empty()) return std::unexpected(Problem{Kind::missingSource, {}, {}});

    const auto address = addressOf(value);
    if (!address) return refusal(notFull);
    if (address->hasUser) return refusal("the address carries a user name");
    if (site.isLocal() && address->host == "localhost") {
        if (address->scheme != "http" && address->scheme != "https") return refusal("the address is not http or https");
    } else {
        if (address->scheme != "https") return refusal("the address is not https");
        const std::string port = site.portText();
        const std::string wanted = site.webHost + port;
        const std::string there = address->host + (port.empty() ? std::string() : std::string(address->port));
        if (there != wanted) return refusal("the address is on " + there + ", not " + wanted);
        if (address->port != port) return refusal("the address names a port");
    }
    if (!lowered(address->path).ends_with(ending)) return refusal("the address is not a .metal file");
    if (address->path.find("..") != std::string::npos) return refusal(notFull);

    OpenLink opened;
    opened.source = address->scheme + "://" + address->host + std::string(address->port) + encodedPath(address->path);
    name(opened, address->path);
    return opened;
}

std::string OpenLink::stamped(std::string_view text) const {
    return item ? ForkedFrom::stamp(text, *item) : std::string(text);
}

std::string safeFileName(std::string_view name) {
    if (name.size() >= ending.size() && lowered(name.substr(name.size() - ending.size())) == ending)
        name.remove_suffix(ending.size());
    std::string safe;
    while (!name.empty() && safe.size() < 100) {
        const std::size_t length = decodeCharacter(name).length;
        const char c = name.front();
        name.remove_prefix(length);
        const char kept = isLetter(c) || isDigit(c) || isAnyOf(c, " .-_") ? c : '-';
        if (safe.empty() && isAnyOf(kept, ".- ")) continue;
        safe += kept;
    }
    return (safe.empty() ? "shader" : safe) + std::string(ending);
}

} // namespace glasshob
