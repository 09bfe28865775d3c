#pragma once

// A server on the loopback that says exactly the bytes it is told to, in the event loop of the test: http, or https
// with a given identity. What it answers is decided for each request by a function, or by a list. It keeps what it was
// asked.

#include <QByteArray>
#include <QSslConfiguration>
#include <QTcpServer>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class ScriptedServer : public QObject {
  public:
    struct Request {
        QByteArray method;
        // Path and query as they came.
        QByteArray target;
        // Request line and headers, with their line breaks.
        QByteArray head;
        QByteArray body;

        // The value of a header, the first of this name; nothing when there is none.
        std::optional<QByteArray> header(const QByteArray& name) const;
    };

    // What goes out for one request: `bytes`, then `repeated` again and again, and then the end.
    struct Answer {
        enum class Then { keepOpen, close, stall };
        QByteArray bytes = {};
        // Sent without end, as fast as it is read.
        QByteArray repeated = {};
        Then then = Then::keepOpen;
        // One byte at a time, with this pause, in place of all at once.
        std::optional<std::chrono::milliseconds> pause = {};
    };

    explicit ScriptedServer(std::optional<QSslConfiguration> identity = {});
    ~ScriptedServer() override;

    // Of this server, by the name "127.0.0.1" unless another is given.
    QUrl url(const QString& path = {}, const QString& host = "127.0.0.1") const;

    // Decides each answer; asked when the body is there, or as soon as the headers are, with `answersEarly`.
    std::function<Answer(const Request&)> handler;
    bool answersEarly = false;
    // The answers in their order; the last one again and again.
    void script(std::vector<Answer> answers);

    // An answer with a status, headers ("Name: value") and a body of which it tells the length.
    static Answer answer(int status, const QByteArray& body = {}, const QList<QByteArray>& headers = {});

    const std::vector<Request>& requests() const { return requests_; }
    // Requests of which the headers have come; more than requests() while a body is on its way.
    int begun() const { return begun_; }
    int connections() const { return connections_; }
    // Connections that the other side, or this one, has ended.
    int ended() const { return ended_; }
    // The bytes that went out.
    qint64 sent() const { return sent_; }

  private:
    class Connection;
    void take(QTcpSocket* socket);

    std::unique_ptr<QTcpServer> server_;
    bool isSecure_;
    std::vector<Request> requests_;
    int begun_ = 0;
    int connections_ = 0;
    int ended_ = 0;
    qint64 sent_ = 0;
};
