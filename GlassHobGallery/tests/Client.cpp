#include "GlassHobGallery/tests/Client.h"

#include "GlassHobGallery/http/Http.h"

#include <QJsonDocument>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

namespace glasshob::gallery {

std::string Answer::header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? "" : found->second;
}

QJsonObject Answer::json() const {
    return QJsonDocument::fromJson(QByteArray::fromStdString(body)).object();
}

std::string Answer::error() const {
    return json()["error"].toString().toStdString();
}

Connection::Connection(int port, int patienceSeconds) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(std::uint16_t(port));
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const timeval patience{patienceSeconds, 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (connect(socket_, reinterpret_cast<sockaddr*>(&place), sizeof place) != 0) shutdown(socket_, SHUT_RDWR);
}

Connection::~Connection() {
    close(socket_);
}

bool Connection::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes.remove_prefix(std::size_t(sent));
    }
    return true;
}

void Connection::wait(int milliseconds) {
    pollfd waiting{socket_, POLLIN, 0};
    poll(&waiting, 1, milliseconds);
}

void Connection::end() {
    shutdown(socket_, SHUT_WR);
}

Answer Connection::receive(bool isHead) {
    Answer answer;
    char buffer[65536];
    const auto more = [&] {
        const ssize_t got = recv(socket_, buffer, sizeof buffer, 0);
        if (got > 0) rest_.append(buffer, std::size_t(got));
        return got > 0;
    };
    std::size_t end = 0;
    while ((end = rest_.find("\r\n\r\n")) == std::string::npos)
        if (!more()) return answer;
    const std::string head = rest_.substr(0, end + 2);
    rest_.erase(0, end + 4);
    if (!head.starts_with("HTTP/1.1 ")) return answer;
    answer.status = std::atoi(head.c_str() + 9);
    for (std::size_t at = head.find("\r\n") + 2; at < head.size();) {
        const std::size_t next = head.find("\r\n", at), colon = head.find(':', at);
        std::string name = head.substr(at, colon - at);
        std::ranges::transform(name, name.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
        const std::size_t value = std::min(head.find_first_not_of(' ', colon + 1), next);
        answer.headers.emplace(name, head.substr(value, next - value));
        at = next + 2;
    }
    const std::size_t size = std::strtoull(answer.header("content-length").c_str(), nullptr, 10);
    if (isHead || answer.status == 304) return answer;
    while (rest_.size() < size)
        if (!more()) return Answer();
    answer.body = rest_.substr(0, size);
    rest_.erase(0, size);
    return answer;
}

Answer request(int port, const std::string& method, const std::string& path, const std::string& headers,
               const std::string& body) {
    Connection connection(port);
    std::string text = method + " " + path + " HTTP/1.1\r\nHost: localhost:" + std::to_string(port) + "\r\n" + headers;
    if (!body.empty() || method == "POST") text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    connection.send(text + "\r\n" + body);
    return connection.receive(method == "HEAD");
}

std::string formBody(const Fields& fields) {
    std::string body;
    for (const auto& [name, value] : fields)
        body += (body.empty() ? "" : "&") + urlEncoded(name) + "=" + urlEncoded(value);
    return body;
}

} // namespace glasshob::gallery
