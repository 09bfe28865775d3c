#include "GlassHobCore/site/LatestRelease.h"

#include "GlassHobCore/text/Lines.h"
#include "GlassHobCore/text/Numbers.h"
#include "GlassHobCore/text/Text.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

namespace glasshob {

namespace {

// Of a number without a fraction that fits, or of a text in decimal digits.
std::optional<std::int64_t> integer(const QJsonValue& value) {
    if (value.isString()) return parseInteger(value.toString().toStdString());
    const std::int64_t number = value.toInteger(0);
    if (!value.isDouble() || value.toInteger(1) != number) return {};
    return number;
}

// A key that may be absent or null; nothing when it holds something else than a text.
std::optional<std::optional<std::string>> optionalText(const QJsonValue& value) {
    if (value.isUndefined() || value.isNull()) return std::optional<std::string>();
    if (!value.isString()) return {};
    return value.toString().toStdString();
}

} // namespace

std::expected<LatestRelease, std::string> LatestRelease::parse(std::string_view json) {
    const auto fail = [](std::string_view what) { return std::unexpected(std::string(what)); };
    if (json.size() >= sizeLimit) return fail("the answer is too large");
    if (!isValidUtf8(json)) return fail("the answer is not UTF-8 text");
    QJsonParseError error;
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromRawData(json.data(), qsizetype(json.size())), &error);
    if (error.error != QJsonParseError::NoError) return fail("the answer is not JSON");
    if (!document.isObject()) return fail("the answer is not an object");
    const QJsonObject object = document.object();

    const QJsonValue version = object["version"], url = object["url"];
    if (!version.isString()) return fail("version is not a text");
    const auto build = integer(object["build"]);
    if (!build) return fail("build is not a number");
    if (const QUrl address(url.toString(), QUrl::StrictMode); !url.isString() || !address.isValid())
        return fail("url is not an address");
    const auto sha256 = optionalText(object["sha256"]), notes = optionalText(object["notes"]);
    if (!sha256) return fail("sha256 is not a text");
    if (!notes) return fail("notes is not a text");
    return LatestRelease{version.toString().toStdString(), *build, url.toString().toStdString(), *sha256, *notes};
}

bool LatestRelease::isNewer(std::string_view currentBuild) const {
    // The scheme as it is written: QUrl would put it in small letters.
    if (!url.starts_with("https://") || QUrl(asQString(url), QUrl::StrictMode).host().isEmpty()) return false;
    const auto current = parseInteger(currentBuild);
    return current && *current < build;
}

} // namespace glasshob
