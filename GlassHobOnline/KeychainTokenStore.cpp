#include "GlassHobOnline/KeychainTokenStore.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/site/Gate.h"
#include "GlassHobCore/text/Text.h"

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
    co_return job->error() == QKeychain::NoError;
}

QCoro::Task<> KeychainTokenStore::remove() {
    co_await run(makeJob<QKeychain::DeletePasswordJob>());
}

} // namespace glasshob
