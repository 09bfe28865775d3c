#include "GlassHobCore/site/Site.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/site/WebAddress.h"

namespace glasshob {

namespace {

QString text(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
}

Site siteOf(const QUrl& base) {
    Site site;
    site.base = base.adjusted(QUrl::RemoveUserInfo | QUrl::RemoveQuery | QUrl::RemoveFragment);
    site.webHost = base.host(QUrl::FullyEncoded).toLower().toStdString();
    if (site.webHost.contains(':')) site.webHost = "[" + site.webHost + "]";
    site.name = site.webHost;
    if (site.name.starts_with("www.")) site.name.erase(0, 4);
    return site;
}

} // namespace

Site Site::builtIn() {
    return siteOf(QUrl("https://" + text(Identity::webHost)));
}

Site Site::at(std::string_view apiBase) {
    const QUrl base(text(apiBase), QUrl::StrictMode);
    return isWebAddress(base) ? siteOf(base) : builtIn();
}

bool Site::isLocal() const {
    return webHost == "localhost" || webHost == "127.0.0.1";
}

std::string Site::portText() const {
    const int port = base.port(), usual = base.scheme() == "https" ? 443 : 80;
    return port == -1 || port == usual ? std::string() : ":" + std::to_string(port);
}

} // namespace glasshob
