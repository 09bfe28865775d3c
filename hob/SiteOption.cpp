#include "hob/SiteOption.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/text/ShownText.h"
#include "GlassHobCore/text/Text.h"

#include <QSettings>
#include <QUrl>

namespace hob {

namespace Identity = glasshob::Identity;
using glasshob::asQString;
using glasshob::Site;

std::expected<Site, std::string> siteOf(const Arguments& arguments) {
    if (const auto address = arguments.value("--site")) {
        const QUrl url(asQString(*address), QUrl::StrictMode);
        if (!url.isValid() || url.host().isEmpty() || (url.scheme() != "http" && url.scheme() != "https"))
            return mistake(*address + " is no address of a gallery: give one such as https://www.example.org.");
        return Site::at(*address);
    }
    return Site::at(QSettings().value(asQString(Identity::setting::apiBase)).toString().toStdString());
}

Online::Online() : application_(count_, words_), session_(std::string(Identity::userAgent)) {
    // The window's settings.
    QCoreApplication::setOrganizationName(asQString(Identity::settingsOrganization));
    QCoreApplication::setApplicationName(asQString(Identity::settingsApplication));
}

std::string forTerminal(std::string_view text) {
    return glasshob::shownText(text, qsizetype(text.size())).toStdString();
}

} // namespace hob
