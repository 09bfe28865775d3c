#include "GlassHobOnline/KeychainTokenStore.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/site/Gate.h"
#include "GlassHobCore/text/Text.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <QDBusVariant>

#include <qt6keychain/keychain.h>

#include <sys/resource.h>

#include <algorithm>

namespace glasshob {

namespace {

constexpr auto entry = "session";

// A limit of one byte: too little for a file, and the kernel's sign for handing the core to no program either. A
// process that is not "dumpable" would go further, but then the desktop's portals cannot see who asks and refuse their
// dialogs.
void leaveNoCoreFile() {
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) != 0) return;
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 1);
    setrlimit(RLIMIT_CORE, &limit);
}

// A job that runs in its turn and goes by itself after the coroutine has looked at it. The library's own fallback, a
// file in plain text, stays off.
template <class Job>
Job* makeJob() {
    auto* job = new Job(asQString(Identity::applicationId));
    job->setKey(entry);
    job->setInsecureFallback(false);
    return job;
}

constexpr auto service = "org.freedesktop.secrets";

QCoro::Task<QDBusMessage> answerTo(QDBusMessage call) {
    constexpr int patience = 5000; // milliseconds
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call, patience));
    Gate gate;
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [&gate] { gate.open(); });
    co_await gate;
    watcher->deleteLater(); // it is in the middle of its signal
    co_return watcher->reply();
}

// What keyring programs show the item as, which the library has no word for. A keyring that is not the Secret Service,
// or that refuses, goes on showing a name of its own.
QCoro::Task<> nameTheItem() {
    using Attributes = QMap<QString, QString>;
    qDBusRegisterMetaType<Attributes>();
    QDBusMessage search = QDBusMessage::createMethodCall(service, "/org/freedesktop/secrets",
                                                         "org.freedesktop.Secret.Service", "SearchItems");
    search << QVariant::fromValue(
        Attributes{{"user", entry}, {"server", asQString(Identity::applicationId)}, {"type", "plaintext"}});
    search.setAutoStartService(false);
    const QDBusReply<QList<QDBusObjectPath>> found = co_await answerTo(search);
    for (const QDBusObjectPath& item : found.value()) {
        QDBusMessage set =
            QDBusMessage::createMethodCall(service, item.path(), "org.freedesktop.DBus.Properties", "Set");
        set << "org.freedesktop.Secret.Item" << "Label"
            << QVariant::fromValue(QDBusVariant(QStringLiteral("Glass Hob session")));
        co_await answerTo(set);
    }
}

QCoro::Task<> run(QKeychain::Job* job) {
    Gate gate;
    QObject::connect(job, &QKeychain::Job::finished, job, [&gate] { gate.open(); });
    job->start();
    co_await gate;
}

} // namespace

QCoro::Task<std::optional<std::string>> KeychainTokenStore::read() {
    leaveNoCoreFile();
    auto* job = makeJob<QKeychain::ReadPasswordJob>();
    co_await run(job);
    const QString token = job->textData();
    if (job->error() != QKeychain::NoError || token.isEmpty()) co_return std::nullopt;
    co_return token.toStdString();
}

QCoro::Task<bool> KeychainTokenStore::save(std::string token) {
    leaveNoCoreFile();
    auto* job = makeJob<QKeychain::WritePasswordJob>();
    job->setTextData(asQString(token));
    co_await run(job);
    const bool isKept = job->error() == QKeychain::NoError;
    if (isKept) co_await nameTheItem();
    co_return isKept;
}

QCoro::Task<> KeychainTokenStore::remove() {
    co_await run(makeJob<QKeychain::DeletePasswordJob>());
}

} // namespace glasshob
