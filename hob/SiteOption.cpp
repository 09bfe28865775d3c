#include "hob/SiteOption.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/site/WebAddress.h"
#include "GlassHobCore/text/ShownText.h"
#include "GlassHobCore/text/Text.h"

#include <QSettings>

namespace hob {

namespace Identity = glasshob::Identity;
using glasshob::asQString;
using glasshob::isWebAddress;
using glasshob::Site;

std::optional<Site> siteOf(const Arguments& arguments, Console& console) {
    if (const auto address = arguments.value("--site")) {
        if (isWebAddress(QUrl(asQString(*address), QUrl::StrictMode))) return Site::at(*address);
        console.problem(
            mistake(*address + " is no address of a gallery: give one such as https://www.example.org.").error());
        return std::nullopt;
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
