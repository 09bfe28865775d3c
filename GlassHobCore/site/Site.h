#pragma once

// The gallery that this program talks to: the one it was built for, or the one that the setting "apiBase" (or the
// command line) names. Everything that says or compares a host of the gallery asks here. A plain value; any thread.

#include <QUrl>

#include <string>
#include <string_view>

namespace glasshob {

struct Site {
    // The root of its pages and its API: scheme, host, and port and path where the address has them.
    QUrl base;
    // What texts call it: the host without "www.".
    std::string name;
    // The host of its pages, as links name it: lower case, punycode, an IPv6 address in brackets.
    std::string webHost;

    // The gallery that this program was built for.
    static Site builtIn();
    // The gallery at an address; the built-in one when the address is empty, is no URL, is neither http nor https, or
    // has no host.
    static Site at(std::string_view apiBase);

    // Whether it runs on this machine ("localhost" or "127.0.0.1"), where plain http is as good as https.
    bool isLocal() const;
    // ":8443" where its pages are at a port of their own; else empty.
    std::string portText() const;

    bool operator==(const Site&) const = default;
};

} // namespace glasshob
