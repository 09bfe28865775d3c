#pragma once

// HTTP as bytes: what a test says goes out as it stands. Blocks; every wait ends after half a minute or what is said.

#include <map>
#include <string>
#include <string_view>

#include <QJsonObject>

namespace glasshob::gallery {

using Fields = std::map<std::string, std::string>;

struct Answer {
    // 0 when none came.
    int status = 0;
    // Names in small letters.
    std::multimap<std::string, std::string> headers;
    std::string body;

    std::string header(const std::string& name) const;
    QJsonObject json() const;
    std::string error() const;
};

class Connection {
  public:
    explicit Connection(int port, int patienceSeconds = 30);
    ~Connection();
    Connection(const Connection&) = delete;

    // False once the other side has closed.
    bool send(std::string_view bytes);
    // Until something comes, or so many milliseconds are over.
    void wait(int milliseconds);
    // Says that nothing more will come.
    void end();
    // The next answer; `isHead`: without its body.
    Answer receive(bool isHead = false);

  private:
    int socket_;
    std::string rest_;
};

// One request on a connection of its own.
Answer request(int port, const std::string& method, const std::string& path, const std::string& headers = "",
               const std::string& body = "");
std::string formBody(const Fields& fields);

} // namespace glasshob::gallery
