#include "GlassHobCore/site/HttpSession.h"

#include "GlassHobCore/site/Gate.h"
#include "GlassHobCore/site/OnCancel.h"
#include "GlassHobCore/site/WebAddress.h"

#include <QNetworkReply>
#include <QTimer>

#include <algorithm>
#include <array>
#include <memory>

namespace glasshob {

namespace {

constexpr int redirectLimit = 20;
// What waits inside the network code for being read here; a server that sends faster waits as well.
constexpr qint64 bufferSize = 65536;

// Qt's words begin small at times and end without a full stop.
std::string sentence(QString words) {
    words = words.simplified();
    if (words.isEmpty() || words == u"Unknown error") words = "The connection failed";
    words[0] = words[0].toUpper();
    if (!words.endsWith('.') && !words.endsWith('!') && !words.endsWith('?')) words += '.';
    return words.toStdString();
}

std::unexpected<HttpError> networkError(const QString& words) {
    return std::unexpected(HttpError{HttpError::Kind::network, sentence(words)});
}

// Whether the transfer itself broke, in contrast to a server that answered with a status of failure: for those Qt has
// codes of its own.
bool isBroken(QNetworkReply::NetworkError error, int status) {
    if (error == QNetworkReply::NoError) return false;
    if (status < 400) return true;
    return error < QNetworkReply::ContentAccessDenied || error == QNetworkReply::ProtocolFailure;
}

// For objects of Qt that may be in the middle of their own signal. They are children of the session's manager, which
// takes them along where no event loop comes any more.
struct DeleteLater {
    void operator()(QObject* object) const { object->deleteLater(); }
};

} // namespace

// One request on its way, in the frame of the coroutine that waits for it.
class HttpSession::Transfer {
  public:
    using Outcome = std::expected<HttpAnswer, HttpError>;

    Transfer(HttpSession& session, HttpRequest request, const Cancellation& cancellation)
        : session_(session), request_(std::move(request)), idle_(new QTimer(&session.manager_)),
          whole_(new QTimer(&session.manager_)) {
        session_.running_.insert(this);
        for (QTimer* timer : {idle_.get(), whole_.get()}) {
            timer->setSingleShot(true);
            QObject::connect(timer, &QTimer::timeout, timer, [this] { end(networkError("The request timed out")); });
        }
        onCancel_.emplace(cancellation, &session_.manager_, [this] { cancel(); });
        if (session_.isClosing_) cancel();
        if (!isWebAddress(request_.url)) end(networkError("Only http and https addresses can be reached"));
        if (gate_.isOpen()) return;
        idle_->setInterval(session_.times_.idle);
        whole_->setInterval(request_.wholeTime.value_or(session_.times_.whole));
        start(request_.url);
    }
    ~Transfer() { session_.running_.erase(this); }

    void cancel() { end(std::unexpected(HttpError{HttpError::Kind::cancelled, "The request was cancelled."})); }
    Gate& ended() { return gate_; }
    Outcome takeOutcome() { return std::move(outcome_); }

  private:
    void start(const QUrl& url) {
        answer_ = {};
        idle_->start();
        if (!whole_->isActive()) whole_->start();
        if (reply_) reply_->disconnect(idle_.get());
        reply_.reset(send(url));
        reply_->setReadBufferSize(bufferSize);
        const QNetworkReply* reply = reply_.get();
        QObject* here = idle_.get();
        QObject::connect(reply, &QNetworkReply::metaDataChanged, here, [this] { takeHeaders(); });
        QObject::connect(reply, &QNetworkReply::readyRead, here, [this] { takeBytes(); });
        QObject::connect(reply, &QNetworkReply::encrypted, here, [this] { idle_->start(); });
        QObject::connect(reply, &QNetworkReply::uploadProgress, here, [this](qint64 sent, qint64 expected) {
            if (expected <= 0) return;
            idle_->start();
            // The time for the answer begins with the last byte of the request.
            whole_->start();
            request_.progress.sent(sent, expected);
        });
        QObject::connect(reply, &QNetworkReply::finished, here, [this] { finish(); });
    }

    QNetworkReply* send(const QUrl& url) {
        QNetworkRequest sent(url);
        sent.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
        sent.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
        sent.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
        for (const auto control :
             {QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::CookieSaveControlAttribute,
              QNetworkRequest::AuthenticationReuseAttribute})
            sent.setAttribute(control, QNetworkRequest::Manual);
        sent.setAttribute(QNetworkRequest::HttpPipeliningAllowedAttribute, false);
        sent.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
        // Qt would give up packed answers that grow much, with less of a sentence; here every answer has its limit.
        sent.setDecompressedSafetyCheckThreshold(-1);
        sent.setRawHeader("User-Agent", session_.userAgent_);
        for (const auto& [name, value] : request_.headers)
            sent.setRawHeader(name, value);
        if (!request_.body && request_.method == "GET") return session_.manager_.get(sent);
        return session_.manager_.sendCustomRequest(sent, request_.method, request_.body.value_or(QByteArray()));
    }

    int status() const { return reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(); }

    void takeHeaders() {
        idle_->start();
        QVariant announced = reply_->attribute(QNetworkRequest::OriginalContentLengthAttribute);
        if (!announced.isValid()) announced = reply_->header(QNetworkRequest::ContentLengthHeader);
        if (announced.isValid() && announced.toLongLong() > request_.answerLimit && !next()) endTooLarge();
    }

    void takeBytes() {
        idle_->start();
        std::array<char, 16384> chunk;
        for (;;) {
            // One byte more than is allowed says that there is more.
            const qint64 room = request_.answerLimit - answer_.body.size() + 1;
            const qint64 count = reply_->read(chunk.data(), std::min<qint64>(room, chunk.size()));
            if (count <= 0) return;
            answer_.body.append(chunk.data(), count);
            if (answer_.body.size() > request_.answerLimit) return endTooLarge();
        }
    }

    // Where the answer points, when that is followed.
    std::optional<QUrl> next() const {
        if (request_.redirects == HttpRequest::Redirects::refused || request_.method != "GET") return {};
        const QVariant target = reply_->attribute(QNetworkRequest::RedirectionTargetAttribute);
        if (!target.isValid()) return {};
        const QUrl url = reply_->url().resolved(target.toUrl());
        const bool isSame = url.scheme() == request_.url.scheme() && url.host() == request_.url.host();
        if (!url.isValid() || !isSame || !url.userInfo().isEmpty()) return {};
        return url;
    }

    void finish() {
        if (!isBroken(reply_->error(), status())) takeBytes();
        if (gate_.isOpen()) return;
        if (isBroken(reply_->error(), status())) return end(networkError(reply_->errorString()));
        if (status() < 100 || status() > 999) return end(networkError("The server sent something else than an answer"));
        if (const auto url = next()) {
            if (++redirects_ > redirectLimit) return end(networkError("Too many redirects"));
            return start(*url);
        }
        answer_.status = status();
        end(std::move(answer_));
    }

    void endTooLarge() {
        answer_.status = status();
        answer_.isTooLarge = true;
        answer_.body.truncate(request_.answerLimit);
        end(std::move(answer_));
    }

    // The last thing that happens here: the coroutine runs on, and this object goes with its frame.
    void end(Outcome outcome) {
        if (gate_.isOpen()) return;
        outcome_ = std::move(outcome);
        onCancel_.reset();
        idle_->stop();
        whole_->stop();
        // Its own connections stay: by them it tells the thread that holds the socket.
        if (reply_) reply_->disconnect(idle_.get());
        // Not now: it may be in the middle of telling an error of its own.
        if (reply_) QMetaObject::invokeMethod(reply_.get(), &QNetworkReply::abort, Qt::QueuedConnection);
        gate_.open();
    }

    HttpSession& session_;
    const HttpRequest request_;
    std::unique_ptr<QTimer, DeleteLater> idle_, whole_;
    std::unique_ptr<QNetworkReply, DeleteLater> reply_;
    std::optional<OnCancel> onCancel_;
    int redirects_ = 0;
    HttpAnswer answer_;
    Outcome outcome_;
    Gate gate_;
};

HttpSession::HttpSession(std::string userAgent, Times times)
    : userAgent_(QByteArray::fromStdString(userAgent)), times_(times) {
    manager_.setAutoDeleteReplies(false);
}

HttpSession::~HttpSession() {
    isClosing_ = true;
    while (!running_.empty())
        (*running_.begin())->cancel();
}

QCoro::Task<std::expected<HttpAnswer, HttpError>> HttpSession::send(HttpRequest request, Cancellation cancellation) {
    Transfer transfer(*this, std::move(request), cancellation);
    co_await transfer.ended();
    co_return transfer.takeOutcome();
}

} // namespace glasshob
