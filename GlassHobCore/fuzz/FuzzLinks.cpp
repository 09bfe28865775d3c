// Links to what is downloaded for them: whatever the link, an address that comes out lies on the gallery's host, also
// in the eyes of the URL class that the request is made with, and a file's name stays inside its folder. The first byte
// chooses the gallery and how much of the link is given.
#include "GlassHobCore/fuzz/Finding.h"
#include "GlassHobCore/shader/ForkedFrom.h"
#include "GlassHobCore/shader/GalleryNames.h"
#include "GlassHobCore/site/OpenLink.h"
#include "GlassHobCore/text/Ascii.h"
#include "GlassHobCore/text/Lines.h"

#include <QUrl>

#include <array>
#include <cstdint>

using namespace glasshob;
using fuzz::expect;

namespace {

std::string percentEncoded(std::string_view text) {
    return QByteArray(text.data(), qsizetype(text.size())).toPercentEncoding().toStdString();
}

bool isSafeName(std::string_view name) {
    return name.size() <= 106 && name.ends_with(".metal") && !name.starts_with('.') &&
           name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 .-_") ==
               std::string_view::npos;
}

void checkLink(const OpenLink& link, const Site& site) {
    const std::string& source = link.source;
    const QUrl url(QString::fromStdString(source), QUrl::StrictMode);
    expect(url.isValid(), "not a URL: " + source);
    std::string host = url.host(QUrl::FullyEncoded).toStdString();
    if (host.find(':') != std::string::npos) host = "[" + host + "]";
    const bool isLocal = site.isLocal() && host == "localhost";
    expect(isLocal || host == site.webHost, "another host: " + source);
    expect(isLocal ? url.scheme() == "http" || url.scheme() == "https" : url.scheme() == "https",
           "another scheme: " + source);
    expect(isLocal || ":" + std::to_string(url.port()) == (site.portText().empty() ? ":-1" : site.portText()),
           "another port: " + source);
    expect(url.userInfo().isEmpty() && !url.hasQuery() && !url.hasFragment(), "more than an address: " + source);
    expect(source.find("..") == std::string::npos && lowered(url.path().toStdString()).ends_with(".metal"),
           "another file: " + source);
    for (const char c : source)
        expect(c > ' ' && c < 0x7F, "no ASCII: " + source);
    expect(isSafeName(link.fileName), "an unsafe name: " + link.fileName);
    if (!link.item) return;
    const auto slash = link.item->find('/');
    expect(link.item->starts_with("s/")
               ? GalleryNames::isItem(*link.item)
               : GalleryNames::isItem(link.item->substr(0, slash)) &&
                     (slash == std::string::npos || GalleryNames::isStage(link.item->substr(slash + 1))),
           "an unknown item: " + *link.item);
}

void checkStamp(std::string_view text) {
    const std::string stamped = ForkedFrom::stamp(text, "s/ab12");
    expect(ForkedFrom::parse(stamped) == "s/ab12", "a stamp that is not found");
    expect(ForkedFrom::stamp(stamped, "s/ab12") == stamped, "a stamp that is not replaced");
    expect(!isValidUtf8(text) || isValidUtf8(stamped), "a stamp inside a character");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::array<Site, 4> sites = {Site::builtIn(), Site::at("https://www.school.example:8443"),
                                              Site::at("http://localhost:8080"), Site::at("https://[fd00::1]")};
    if (size == 0) return 0;
    const Site& site = sites[data[0] % sites.size()];
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string start = "glasshob://open?src=";
    const std::string web = "https://" + site.webHost + site.portText();
    for (const std::string& link : {std::string(text), start + std::string(text), start + percentEncoded(text),
                                    start + percentEncoded(web + std::string(text))}) {
        const auto opened = OpenLink::parse(link, site);
        if (opened)
            checkLink(*opened, site);
        else
            expect(isValidUtf8(opened.error().description()) && opened.error().description().size() < 1000,
                   "a sentence that cannot be shown");
    }
    expect(isSafeName(safeFileName(text)) && safeFileName(safeFileName(text)) == safeFileName(text),
           "an unsafe name of " + std::string(text));
    checkStamp(text);
    return 0;
}
