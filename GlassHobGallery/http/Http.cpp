#include "GlassHobGallery/http/Http.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>

namespace glasshob::gallery {

namespace {

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? char(c + 32) : c;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const char l = lower(c);
    return l >= 'a' && l <= 'f' ? l - 'a' + 10 : -1;
}

// More fields than any form has.
constexpr std::size_t fieldLimit = 64;

} // namespace

bool Request::Less::operator()(std::string_view a, std::string_view b) const {
    return std::ranges::lexicographical_compare(a, b, {}, lower, lower);
}

std::string_view Request::header(std::string_view name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? std::string_view() : found->second;
}

std::string_view Request::argument(std::string_view name) const {
    const auto found = query.find(name);
    return found == query.end() ? std::string_view() : found->second;
}

std::string_view Request::cookie(std::string_view name) const {
    std::string_view rest = header("Cookie");
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(';'), rest.size());
        std::string_view pair = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        while (pair.starts_with(' '))
            pair.remove_prefix(1);
        if (pair.size() > name.size() && pair.starts_with(name) && pair[name.size()] == '=')
            return pair.substr(name.size() + 1);
    }
    return {};
}

std::string Request::contentType() const {
    std::string type(header("Content-Type"));
    type.resize(std::min(type.find(';'), type.size()));
    while (type.ends_with(' '))
        type.pop_back();
    std::ranges::transform(type, type.begin(), lower);
    return type;
}

std::optional<Request::Fields> Request::form() const {
    if (contentType() != "application/x-www-form-urlencoded") return {};
    Fields fields;
    std::string_view rest = body;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('&'), rest.size());
        const std::string_view pair = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (pair.empty()) continue;
        const std::size_t equals = std::min(pair.find('='), pair.size());
        const auto name = urlDecoded(pair.substr(0, equals));
        const auto value = urlDecoded(equals < pair.size() ? pair.substr(equals + 1) : std::string_view());
        if (!name || !value || fields.size() >= fieldLimit) return {};
        fields.emplace(*name, *value);
    }
    return fields;
}

bool Request::knows(std::string_view tag) const {
    return !tag.empty() && header("If-None-Match") == tag;
}

std::string_view Response::header(std::string_view name) const {
    const auto found =
        std::ranges::find(headers, name, [](const auto& header) -> const std::string& { return header.first; });
    return found == headers.end() ? std::string_view() : found->second;
}

void Response::leaveOutWhatIsKnown(const Request& request) {
    if (status != 200 || !request.knows(header("ETag"))) return;
    status = 304;
    body.clear();
}

std::optional<std::string> urlDecoded(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '+') {
            plain += ' ';
        } else if (text[i] == '%') {
            if (i + 2 >= text.size()) return {};
            const int high = hexValue(text[i + 1]), low = hexValue(text[i + 2]);
            if (high < 0 || low < 0) return {};
            plain += char(high * 16 + low);
            i += 2;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

std::string networkOf(const std::string& address) {
    in6_addr six{};
    if (inet_pton(AF_INET6, address.c_str(), &six) != 1 || IN6_IS_ADDR_V4MAPPED(&six)) return address;
    std::fill(six.s6_addr + 8, six.s6_addr + 16, std::uint8_t(0));
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(AF_INET6, &six, text, sizeof text);
    return std::string(text) + "/64";
}

std::string urlEncoded(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : text) {
        const char l = lower(c);
        if ((l >= 'a' && l <= 'z') || (c >= '0' && c <= '9') || std::string_view("-._~").contains(c))
            encoded += c;
        else
            encoded += {'%', digits[std::uint8_t(c) >> 4], digits[std::uint8_t(c) & 15]};
    }
    return encoded;
}

} // namespace glasshob::gallery
