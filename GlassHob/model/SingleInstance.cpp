#include "GlassHob/model/SingleInstance.h"

#include "GlassHobCore/Identity.h"
#include "GlassHobCore/text/Text.h"

#include <QCryptographicHash>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

namespace glasshob {

namespace {

constexpr int patience = 1000; // milliseconds for each of the two steps
// A word of a command line has 128 KB at most, of which JSON may make six times as much.
constexpr qint64 longestRequest = 1024 * 1024;
constexpr auto accepted = "ok\n";
constexpr auto confirmed = "go\n";

} // namespace

SingleInstance::SingleInstance(const QString& path, QObject* parent) : QObject(parent), path_(path) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::standardPath() {
    // Two displays of one user are two desktops: a window must not open on the other one.
    QByteArray display = QGuiApplication::platformName().toUtf8();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"})
        display += ' ' + qgetenv(name);
    const QByteArray mark = QCryptographicHash::hash(display, QCryptographicHash::Sha256).toHex().left(12);
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) +
           QStringLiteral("/%1-%2").arg(asQString(Identity::applicationId), QString::fromLatin1(mark));
}

bool SingleInstance::becomeFirst() {
    auto lock = std::make_unique<QLockFile>(path_ + QStringLiteral(".lock"));
    // Held as long as its process lives, however long that is.
    lock->setStaleLockTime(0);
    if (!lock->tryLock(0) && lock->error() == QLockFile::LockFailedError) return false;
    // Where no lock can be made at all, there is no folder to meet in: this process is on its own.
    lock_ = std::move(lock);
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    connect(server_, &QLocalServer::newConnection, this, &SingleInstance::greet);
    QLocalServer::removeServer(path_); // left by one that crashed
    server_->listen(path_);
    return true;
}

bool SingleInstance::handOver(const Request& request) {
    QLocalSocket socket;
    socket.connectToServer(path_);
    if (!socket.waitForConnected(patience)) return false;
    const QJsonObject message{{QStringLiteral("open"), request.path},
                              {QStringLiteral("link"), request.link},
                              {QStringLiteral("activation"), QString::fromUtf8(request.activation)}};
    socket.write(QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
    if (!socket.waitForBytesWritten(patience)) return false;
    while (!socket.canReadLine())
        if (!socket.waitForReadyRead(patience)) return false;
    if (socket.readLine() != accepted) return false;
    socket.write(confirmed);
    return socket.waitForBytesWritten(patience);
}

QByteArray SingleInstance::takeActivation() {
    const QByteArray token = qgetenv("XDG_ACTIVATION_TOKEN");
    return token.isEmpty() ? qgetenv("DESKTOP_STARTUP_ID") : token;
}

void SingleInstance::greet() {
    while (QLocalSocket* socket = server_->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { read(socket); });
        read(socket);
    }
}

void SingleInstance::read(QLocalSocket* from) {
    if (!from->canReadLine()) {
        if (from->bytesAvailable() > longestRequest) from->abort();
        return;
    }
    const QByteArray line = from->readLine(longestRequest);
    if (const auto asked = requests_.find(from); asked != requests_.end()) {
        const Request request = asked->second;
        requests_.erase(asked);
        if (line == confirmed) emit requested(request);
        return;
    }
    const QJsonObject message = QJsonDocument::fromJson(line).object();
    if (message.isEmpty()) {
        from->abort();
        return;
    }
    requests_[from] = {message[QStringLiteral("open")].toString(),
                       message[QStringLiteral("activation")].toString().toUtf8(),
                       message[QStringLiteral("link")].toString()};
    connect(from, &QObject::destroyed, this, [this, from] { requests_.erase(from); });
    from->write(accepted);
    from->flush();
}

} // namespace glasshob
