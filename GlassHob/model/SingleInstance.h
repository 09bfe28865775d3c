// One process for each user and display: the first one listens, a second one hands its file over and ends. They talk
// through a local socket that only the user can open; a lock beside it says who is first, also after a crash. A request
// counts when both have confirmed it: the second process that does not wait any longer takes its own back.
// Main thread. handOver() blocks for two seconds at most.
#pragma once

#include <QByteArray>
#include <QLockFile>
#include <QObject>
#include <QString>

#include <map>
#include <memory>

class QLocalServer;
class QLocalSocket;

namespace glasshob {

class SingleInstance : public QObject {
    Q_OBJECT
  public:
    // Everything that shares `path` is one program; by default the user's runtime folder and this display.
    explicit SingleInstance(const QString& path = standardPath(), QObject* parent = nullptr);
    ~SingleInstance() override;
    static QString standardPath();

    // Whether this is the first process; it listens from then on.
    bool becomeFirst();

    struct Request {
        QString path;          // absolute; without a path and a link it only comes forward
        QByteArray activation; // what the desktop gave the second process to come forward with
        QString link = {};     // of a shader of the gallery
    };
    // Tells the first process. False when it does not answer.
    bool handOver(const Request& request);
    // What the desktop has put into the environment of a process that it starts.
    static QByteArray takeActivation();

  signals:
    void requested(const glasshob::SingleInstance::Request& request);

  private:
    void greet();
    void read(QLocalSocket* from);

    QString path_;
    std::unique_ptr<QLockFile> lock_;
    QLocalServer* server_ = nullptr;
    std::map<const QObject*, Request> requests_; // that are not confirmed yet, by their socket
};

} // namespace glasshob
