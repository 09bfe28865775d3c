#include "GlassHobCore/tests/ScriptedServer.h"

#include <QSslServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>

std::optional<QByteArray> ScriptedServer::Request::header(const QByteArray& name) const {
    const auto lines = head.split('\n');
    for (const QByteArray& line : lines.sliced(1)) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.first(colon).compare(name, Qt::CaseInsensitive) == 0)
            return line.sliced(colon + 1).trimmed();
    }
    return {};
}

// Reads requests from one socket, one after another, and sends their answers.
class ScriptedServer::Connection : public QObject {
  public:
    Connection(ScriptedServer& server, QTcpSocket* socket) : QObject(socket), server_(server), socket_(socket) {
        connect(socket, &QTcpSocket::readyRead, this, [this] { read(); });
        connect(socket, &QTcpSocket::bytesWritten, this, [this] { write(); });
        connect(&pause_, &QTimer::timeout, this, [this] { writeByte(); });
        read();
    }

  private:
    void read() {
        received_ += socket_->readAll();
        const qsizetype skipped = std::min(skip_, received_.size());
        received_.remove(0, skipped);
        skip_ -= skipped;
        while (!isAnswering_) {
            if (!request_) {
                const qsizetype end = received_.indexOf("\r\n\r\n");
                if (end < 0) return;
                request_.emplace();
                request_->head = received_.first(end + 2);
                received_.remove(0, end + 4);
                const auto words = request_->head.first(request_->head.indexOf('\r')).split(' ');
                request_->method = words.value(0);
                request_->target = words.value(1);
                ++server_.begun_;
            }
            const qsizetype length = request_->header("Content-Length").value_or("0").toLongLong();
            if (server_.answersEarly) {
                skip_ = length;
                answer();
                return read();
            }
            if (received_.size() < length) return;
            request_->body = received_.first(length);
            received_.remove(0, length);
            answer();
        }
    }

    void answer() {
        isAnswering_ = true;
        server_.requests_.push_back(*request_);
        request_.reset();
        answer_ = server_.handler(server_.requests_.back());
        waiting_ = answer_.bytes;
        if (answer_.pause) return pause_.start(*answer_.pause);
        write();
    }

    void write() {
        if (!isAnswering_ || pause_.isActive()) return;
        if (!waiting_.isEmpty()) send(std::exchange(waiting_, {}));
        // A reader that stops reading stops the writing.
        while (!answer_.repeated.isEmpty() && socket_->bytesToWrite() < 262'144 && socket_->isOpen())
            send(answer_.repeated);
        if (answer_.repeated.isEmpty()) finish();
    }

    void writeByte() {
        if (waiting_.isEmpty()) waiting_ = answer_.repeated;
        if (waiting_.isEmpty()) {
            pause_.stop();
            return finish();
        }
        send(waiting_.first(1));
        waiting_.remove(0, 1);
    }

    void send(const QByteArray& bytes) { server_.sent_ += std::max<qint64>(0, socket_->write(bytes)); }

    void finish() {
        if (answer_.then == Answer::Then::stall) return;
        if (answer_.then == Answer::Then::close) return socket_->disconnectFromHost();
        isAnswering_ = false;
        QMetaObject::invokeMethod(this, [this] { read(); }, Qt::QueuedConnection);
    }

    ScriptedServer& server_;
    QTcpSocket* socket_;
    QByteArray received_;
    // Of the body of a request that was answered before it came.
    qsizetype skip_ = 0;
    std::optional<Request> request_;
    bool isAnswering_ = false;
    Answer answer_;
    QByteArray waiting_;
    QTimer pause_;
};

ScriptedServer::ScriptedServer(std::optional<QSslConfiguration> identity) : isSecure_(identity.has_value()) {
    if (identity) {
        auto server = std::make_unique<QSslServer>();
        server->setSslConfiguration(*identity);
        server_ = std::move(server);
    } else {
        server_ = std::make_unique<QTcpServer>();
    }
    handler = [](const Request&) { return answer(200); };
    connect(server_.get(), &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket* socket = server_->nextPendingConnection())
            take(socket);
    });
    if (!server_->listen(QHostAddress::LocalHost)) qFatal("The test's server cannot listen on the loopback.");
}

ScriptedServer::~ScriptedServer() = default;

void ScriptedServer::take(QTcpSocket* socket) {
    ++connections_;
    connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
        ++ended_;
        socket->deleteLater();
    });
    new Connection(*this, socket);
}

QUrl ScriptedServer::url(const QString& path, const QString& host) const {
    QUrl url;
    url.setScheme(isSecure_ ? "https" : "http");
    url.setHost(host);
    url.setPort(server_->serverPort());
    url.setPath(path);
    return url;
}

void ScriptedServer::script(std::vector<Answer> answers) {
    handler = [answers = std::move(answers), next = std::size_t(0)](const Request&) mutable {
        const Answer& answer = answers.at(next);
        next = std::min(next + 1, answers.size() - 1);
        return answer;
    };
}

ScriptedServer::Answer ScriptedServer::answer(int status, const QByteArray& body, const QList<QByteArray>& headers) {
    Answer made;
    made.bytes = "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\n";
    for (const QByteArray& header : headers)
        made.bytes += header + "\r\n";
    made.bytes += "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
    return made;
}
