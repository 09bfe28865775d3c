#include "GlassHobCore/Identity.h"
#include "GlassHobCore/site/WebAddress.h"
#include "GlassHobCore/text/Text.h"
#include "GlassHobOnline/UpdateChecker.h"
#include "hob/Commands.h"
#include "hob/Interrupts.h"
#include "hob/SiteOption.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace hob {

namespace {

using glasshob::LatestRelease;
using glasshob::UpdateChecker;
namespace Identity = glasshob::Identity;

constexpr Option options[] = {
    {"--feed", "", "URL", "ask this feed in place of the usual one"},
    {"--json", "", "", "print one JSON object for programs"},
};

QJsonValue optionalText(const std::optional<std::string>& text) {
    return text ? QJsonValue(glasshob::asQString(*text)) : QJsonValue();
}

QByteArray json(const std::optional<LatestRelease>& available) {
    QJsonObject object{{"current", glasshob::asQString(Identity::version)}, {"available", QJsonValue()}};
    if (available)
        object["available"] = QJsonObject{{"version", glasshob::asQString(available->version)},
                                          {"build", qint64(available->build)},
                                          {"url", glasshob::asQString(available->url)},
                                          {"sha256", optionalText(available->sha256)},
                                          {"notes", optionalText(available->notes)}};
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

std::string text(const std::optional<LatestRelease>& available) {
    if (!available) return "Glass Hob " + std::string(Identity::version) + " is the newest version.\n";
    std::string lines =
        "Glass Hob " + forTerminal(available->version) + " is available: " + forTerminal(available->url) + "\n";
    if (available->sha256) lines += "SHA-256: " + forTerminal(*available->sha256) + "\n";
    if (available->notes) lines += "\n" + forTerminal(*available->notes) + "\n";
    return lines;
}

ExitStatus run(const Arguments& arguments, Console& console) {
    Online online;
    QUrl feed = UpdateChecker::feed();
    if (const auto given = arguments.value("--feed")) {
        feed = QUrl(glasshob::asQString(*given), QUrl::StrictMode);
        if (!glasshob::isWebAddress(feed)) {
            console.problem(*given + " is no address of a feed: give one that begins with https://.");
            return ExitStatus::wrongUsage;
        }
    }
    const Interrupts interrupts("The check for updates was cancelled.");
    const auto release = online.wait(UpdateChecker::read(online.session(), feed, interrupts.token()));
    if (!release) {
        console.problem(interrupts.happened() ? "The check for updates was cancelled."
                                              : "The update feed could not be read: " + release.error());
        return ExitStatus::failed;
    }
    const auto available =
        release->isNewer(std::to_string(Identity::buildNumber)) ? std::optional(*release) : std::nullopt;
    console.write(arguments.has("--json") ? json(available).toStdString() : text(available));
    return ExitStatus::done;
}

} // namespace

const Command& updateCommand() {
    static constexpr Command command = {
        .name = "update",
        .summary = "Ask whether there is a newer release",
        .usage = "[--feed URL] [--json]",
        .notes = "Nothing is downloaded or installed. --json prints \"current\", the version of this program, and\n"
                 "\"available\": version, build, url, sha256 and notes of a newer one, or null.\n",
        .operands = Operands::none,
        .options = options,
        .run = run,
    };
    return command;
}

} // namespace hob
