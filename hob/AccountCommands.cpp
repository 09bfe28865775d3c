#include "GlassHobOnline/AccountModel.h"
#include "GlassHobOnline/KeychainTokenStore.h"
#include "hob/Commands.h"
#include "hob/SiteOption.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <functional>

namespace hob {

namespace {

using glasshob::AccountModel;

constexpr Option siteAlone[] = {siteOption};
constexpr Option accountOptions[] = {{"--json", "", "", "print one JSON object for programs"}, siteOption};

// Runs what a command does with the account, once the keyring has said who is signed in.
ExitStatus withAccount(const Arguments& arguments, Console& console,
                       const std::function<ExitStatus(AccountModel& account)>& act) {
    Online online;
    const auto site = siteOf(arguments, console);
    if (!site) return ExitStatus::wrongUsage;
    glasshob::KeychainTokenStore tokens;
    AccountModel account(*site, online.session(), tokens);
    QCoro::waitFor(account.loaded());
    return act(account);
}

// The gallery's words, for a terminal.
std::string shown(const QString& text) {
    return forTerminal(text.simplified().toStdString());
}

QJsonValue jsonText(const std::optional<QString>& text) {
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

ExitStatus runAccount(const Arguments& arguments, Console& console) {
    return withAccount(arguments, console, [&](AccountModel& account) {
        QCoro::waitFor(account.refresh());
        const bool isIn = account.signedIn();
        const auto email = isIn ? account.email() : std::nullopt, handle = isIn ? account.handle() : std::nullopt;
        if (arguments.has("--json")) {
            const QJsonObject told{{"signedIn", isIn}, {"email", jsonText(email)}, {"handle", jsonText(handle)}};
            console.write(QJsonDocument(told).toJson(QJsonDocument::Compact).toStdString() + '\n');
        } else if (!isIn) {
            console.write("Nobody is signed in.\n");
        } else {
            console.write("Signed in as " + shown(email.value_or(QString())) +
                          (handle ? " with the handle " + shown(*handle) : ", without a handle") + ".\n");
        }
        return ExitStatus::done;
    });
}

ExitStatus runSignOut(const Arguments& arguments, Console& console) {
    return withAccount(arguments, console, [](AccountModel& account) {
        QCoro::waitFor(account.signOut());
        return ExitStatus::done;
    });
}

ExitStatus runHandle(const Arguments& arguments, Console& console) {
    return withAccount(arguments, console, [&](AccountModel& account) {
        const auto wanted = QString::fromStdString(arguments.operands().front());
        if (const auto problem = QCoro::waitFor(account.setHandle(wanted))) {
            console.problem(shown(*problem));
            return ExitStatus::failed;
        }
        console.write(shown(account.handle().value_or(QString())) + '\n');
        return ExitStatus::done;
    });
}

} // namespace

const Command& accountCommand() {
    static constexpr Command command = {
        .name = "account",
        .summary = "Tell who is signed in to the gallery",
        .usage = "[--json] [--site URL]",
        .notes =
            "Asks the gallery; where it does not answer, what it said the last time is told. --json prints an object\n"
            "with signedIn, email and handle, the last two null where there is none.\n",
        .operands = Operands::none,
        .options = accountOptions,
        .run = runAccount,
    };
    return command;
}

const Command& signOutCommand() {
    static constexpr Command command = {
        .name = "sign-out",
        .summary = "Forget the sign-in to the gallery",
        .usage = "[--site URL]",
        .notes =
            "The sign-in is taken out of the keyring first; then the gallery is told, whether it answers or not.\n",
        .operands = Operands::none,
        .options = siteAlone,
        .run = runSignOut,
    };
    return command;
}

const Command& handleCommand() {
    static constexpr Command command = {
        .name = "handle",
        .summary = "Choose the name under which you show on the gallery",
        .usage = "NAME [--site URL]",
        .notes = "3 to 24 small letters, digits and \"-\". Prints the handle that the account has then.\n",
        .operands = Operands::name,
        .options = siteAlone,
        .run = runHandle,
    };
    return command;
}

} // namespace hob
