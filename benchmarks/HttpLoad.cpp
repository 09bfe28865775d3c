#include "benchmarks/HttpLoad.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

namespace bench {

namespace {

class Client {
  public:
    Client(int port, std::string_view request) : request_(request), socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in place{};
        place.sin_family = AF_INET;
        place.sin_port = htons(std::uint16_t(port));
        place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int yes = 1;
        setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        isGood_ = connect(socket_, reinterpret_cast<sockaddr*>(&place), sizeof place) == 0;
        ask();
    }
    ~Client() { close(socket_); }
    Client(const Client&) = delete;

    int socket() const { return socket_; }
    bool isGood() const { return isGood_; }

    // Takes what is there; whether an answer is whole, after which the next request is on its way.
    bool take() {
        static thread_local char buffer[256 * 1024];
        const ssize_t got = recv(socket_, buffer, sizeof buffer, MSG_DONTWAIT);
        if (got < 0 && errno == EAGAIN) return false;
        if (got <= 0) return isGood_ = false;
        std::string_view bytes(buffer, std::size_t(got));
        if (!hasHead_) {
            head_ += bytes;
            const std::size_t end = head_.find("\r\n\r\n");
            if (end == std::string::npos) return false;
            constexpr std::string_view name = "\r\nContent-Length: ";
            const std::size_t at = head_.find(name);
            isGood_ = head_.starts_with("HTTP/1.1 200") && at < end;
            left_ = isGood_ ? std::strtoll(head_.c_str() + at + name.size(), nullptr, 10) : 0;
            left_ -= std::int64_t(head_.size() - end - 4);
            hasHead_ = true;
        } else {
            left_ -= got;
        }
        if (left_ > 0 || !isGood_) return false;
        ask();
        return true;
    }

  private:
    void ask() {
        head_.clear();
        hasHead_ = false;
        isGood_ = isGood_ && send(socket_, request_.data(), request_.size(), MSG_NOSIGNAL) == ssize_t(request_.size());
    }

    std::string_view request_;
    int socket_;
    bool isGood_ = false, hasHead_ = false;
    std::int64_t left_ = 0;
    std::string head_;
};

} // namespace

Load load(int port, const std::string& path, int connections, double seconds, const std::string& headers) {
    const std::string request = "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n";
    const int poll = epoll_create1(EPOLL_CLOEXEC);
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < connections; ++i) {
        clients.push_back(std::make_unique<Client>(port, request));
        epoll_event wanted{EPOLLIN, {.ptr = clients.back().get()}};
        epoll_ctl(poll, EPOLL_CTL_ADD, clients.back()->socket(), &wanted);
    }
    using Clock = std::chrono::steady_clock;
    const auto began = Clock::now();
    const auto end = began + std::chrono::duration<double>(seconds);
    Load result;
    std::int64_t answers = 0;
    auto now = began;
    for (; now < end && result.failures == 0; now = Clock::now()) {
        epoll_event events[64];
        const int count = epoll_wait(poll, events, 64, 100);
        for (int i = 0; i < count; ++i) {
            auto& client = *static_cast<Client*>(events[i].data.ptr);
            if (client.take()) ++answers;
            if (!client.isGood()) ++result.failures;
        }
    }
    close(poll);
    result.perSecond = double(answers) / std::chrono::duration<double>(now - began).count();
    return result;
}

void useProcessor(int which) {
    cpu_set_t set;
    CPU_ZERO(&set);
    const int count = int(std::max(1L, sysconf(_SC_NPROCESSORS_CONF)));
    for (int i = 0; i < count; ++i)
        if (which < 0 || i == which % count) CPU_SET(i, &set);
    sched_setaffinity(0, sizeof set, &set);
}

} // namespace bench
