#include "GlassHobCore/site/OnCancel.h"
#include "GlassHobOnline/AccountModel.h"
#include "GlassHobOnline/KeychainTokenStore.h"
#include "hob/Commands.h"
#include "hob/Interrupts.h"
#include "hob/SiteOption.h"

#include <QEventLoop>

namespace hob {

namespace {

using glasshob::AccountModel;
using Phase = AccountModel::LinkState::Phase;

constexpr Option options[] = {siteOption};
constexpr auto stopped = "The sign-in was given up.";

ExitStatus run(const Arguments& arguments, Console& console) {
    Online online;
    const auto site = siteOf(arguments, console);
    if (!site) return ExitStatus::wrongUsage;
    glasshob::KeychainTokenStore tokens;
    AccountModel account(*site, online.session(), tokens);
    const Interrupts interrupts(stopped);
    QEventLoop loop;
    bool isTold = false;
    QObject::connect(&account, &AccountModel::changed, &loop, [&] {
        const AccountModel::LinkState& link = account.link();
        if (link.phase == Phase::waiting && !std::exchange(isTold, true)) {
            console.write(link.url.toString(QUrl::FullyEncoded).toStdString() + '\n' +
                          forTerminal(link.code.simplified().toStdString()) + '\n');
        }
        if (link.phase == Phase::waiting) console.progress(account.waitingText().toStdString());
        if (!account.isPolling()) loop.quit();
    });
    const glasshob::OnCancel onCancel(interrupts.token(), &account, [&] { account.cancelLink(); });
    account.startLink();
    if (account.isPolling()) loop.exec();
    console.endProgress();
    if (interrupts.happened()) {
        console.problem(stopped);
        return ExitStatus::failed;
    }
    if (account.link().phase == Phase::failed) {
        console.problem(forTerminal(account.link().message.toStdString()));
        return ExitStatus::failed;
    }
    if (console.outputIsTerminal())
        console.write("You are signed in as " + forTerminal(account.email().value_or(QString()).toStdString()) + ".\n");
    return ExitStatus::done;
}

} // namespace

const Command& signInCommand() {
    static constexpr Command command = {
        .name = "sign-in",
        .summary = "Sign in to the gallery",
        .usage = "[--site URL]",
        .notes =
            "Prints an address and a code, one a line, and waits. Open the address in a browser where you are signed\n"
            "in to the gallery, see that it shows the same code, and allow it. Ctrl-C gives it up. The sign-in is "
            "kept\n"
            "in the desktop's keyring and is the same as the window's.\n",
        .operands = Operands::none,
        .options = options,
        .run = run,
    };
    return command;
}

} // namespace hob
