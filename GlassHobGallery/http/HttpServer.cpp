#include "GlassHobGallery/http/HttpServer.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>

namespace glasshob::gallery {

namespace {

using Time = std::chrono::steady_clock;

// What goes beyond the limit is read and dropped up to this much, so that the sender gets to read the answer.
constexpr std::uint64_t drained = 4'000'000;

struct Exchange {
    MHD_Connection* connection = nullptr;
    Request request;
    std::uint64_t limit = 0, received = 0;
    Time::time_point began = Time::now();
    bool isTooLarge = false;
    bool isHandedOver = false;
    // Written by a worker before the connection is resumed.
    std::optional<Response> response;
};

std::string addressOf(MHD_Connection* connection) {
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    char text[INET6_ADDRSTRLEN] = "";
    if (info && info->client_addr->sa_family == AF_INET)
        inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(info->client_addr)->sin_addr, text, sizeof text);
    else if (info && info->client_addr->sa_family == AF_INET6)
        inet_ntop(AF_INET6, &reinterpret_cast<sockaddr_in6*>(info->client_addr)->sin6_addr, text, sizeof text);
    return text;
}

// The last address of the list is what our proxy saw; those before it are claims.
std::string forwardedAddress(std::string_view list) {
    std::string last(list.substr(list.rfind(',') + 1));
    std::erase(last, ' ');
    unsigned char bytes[16];
    const bool isAddress =
        inet_pton(AF_INET, last.c_str(), bytes) == 1 || inet_pton(AF_INET6, last.c_str(), bytes) == 1;
    return isAddress ? last : std::string();
}

void readHeaders(MHD_Connection* connection, Request& request) {
    MHD_get_connection_values(
        connection, MHD_HEADER_KIND,
        [](void* into, MHD_ValueKind, const char* key, const char* value) {
            auto& headers = static_cast<Request*>(into)->headers;
            const auto [place, isNew] = headers.emplace(key, value ? value : "");
            // One that comes twice is one list: what a proxy of ours adds stands behind what the sender claims.
            if (!isNew) {
                const bool isCookie = !headers.key_comp()(key, "Cookie") && !headers.key_comp()("Cookie", key);
                (place->second += isCookie ? "; " : ", ") += value ? value : "";
            }
            return MHD_YES;
        },
        &request);
}

void readQuery(MHD_Connection* connection, Request& request) {
    MHD_get_connection_values(
        connection, MHD_GET_ARGUMENT_KIND,
        [](void* into, MHD_ValueKind, const char* key, const char* value) {
            static_cast<Request*>(into)->query.emplace(key, value ? value : "");
            return MHD_YES;
        },
        &request);
}

// Takes the file over.
MHD_Response* make(Response& answer) {
    MHD_Response* made = nullptr;
    if (answer.file >= 0)
        made = MHD_create_response_from_fd_at_offset64(answer.size, std::exchange(answer.file, -1), answer.offset);
    else
        made = MHD_create_response_from_buffer(answer.body.size(), answer.body.data(), MHD_RESPMEM_MUST_COPY);
    if (!made) return nullptr;
    for (const auto& [name, value] : answer.headers)
        MHD_add_response_header(made, name.c_str(), value.c_str());
    return made;
}

MHD_Result queue(MHD_Connection* connection, Response& answer) {
    MHD_Response* made = make(answer);
    if (!made) return MHD_NO;
    const MHD_Result result = MHD_queue_response(connection, unsigned(answer.status), made);
    MHD_destroy_response(made);
    return result;
}

} // namespace

ReadyResponse::ReadyResponse(const Response& answer)
    : tag_(answer.status == 200 ? answer.header("ETag") : ""), status_(answer.status) {
    Response copy = answer;
    whole_ = make(copy);
    copy.body.clear();
    unchanged_ = make(copy);
    if (!whole_ || !unchanged_) throw std::bad_alloc();
}

ReadyResponse::~ReadyResponse() {
    MHD_destroy_response(whole_);
    MHD_destroy_response(unchanged_);
}

int ReadyResponse::statusFor(const Request& request) const {
    return request.knows(tag_) ? 304 : status_;
}

struct HttpServer::State {
    Options options;
    HttpHandler& handler;
    MHD_Daemon* daemon = nullptr;
    std::mutex mutex;
    std::condition_variable wake, idle;
    std::deque<Exchange*> waiting;
    std::size_t open = 0;
    bool isEnding = false;
    std::vector<std::thread> workers;

    State(Options chosen, HttpHandler& called) : options(std::move(chosen)), handler(called) {}

    MHD_Result on(MHD_Connection* connection, const char* url, const char* method, const char* data, std::size_t* size,
                  void** slot);
    void begin(Exchange& exchange, const char* url, const char* method);
    void done(Exchange* exchange);
    void work();
};

void HttpServer::State::begin(Exchange& exchange, const char* url, const char* method) {
    Request& request = exchange.request;
    request.method = method;
    request.path = url;
    readHeaders(exchange.connection, request);
    readQuery(exchange.connection, request);
    request.address = addressOf(exchange.connection);
    if (options.isBehindProxy)
        if (std::string told = forwardedAddress(request.header("X-Forwarded-For")); !told.empty())
            request.address = std::move(told);
    HttpHandler::Body body = handler.bodyOf(request);
    exchange.limit = body.limit;
    request.sink = std::move(body.sink);
}

MHD_Result HttpServer::State::on(MHD_Connection* connection, const char* url, const char* method, const char* data,
                                 std::size_t* size, void** slot) {
    if (!*slot) {
        auto made = std::make_unique<Exchange>();
        made->connection = connection;
        begin(*made, url, method);
        // So much is not even read: the answer goes out at once and the connection is closed.
        const unsigned long long announced =
            std::strtoull(std::string(made->request.header("Content-Length")).c_str(), nullptr, 10);
        *slot = made.get();
        Exchange& exchange = *made.release();
        {
            const std::lock_guard lock(mutex);
            ++open;
        }
        if (announced > exchange.limit + drained) {
            exchange.isTooLarge = true;
            Response answer = handler.answer(exchange.request, true);
            return queue(connection, answer);
        }
        return MHD_YES;
    }
    Exchange& exchange = *static_cast<Exchange*>(*slot);
    if (*size > 0) {
        exchange.received += *size;
        const bool isOverTime = Time::now() - exchange.began > std::chrono::seconds(options.wholeSeconds);
        if (isOverTime || exchange.received > exchange.limit + drained) return MHD_NO;
        if (exchange.received > exchange.limit) {
            exchange.isTooLarge = true;
            exchange.request.sink.reset();
            exchange.request.body.clear();
        } else if (exchange.request.sink) {
            exchange.request.sink->take({data, *size});
        } else {
            exchange.request.body.append(data, *size);
        }
        *size = 0;
        return MHD_YES;
    }
    if (exchange.response) return queue(connection, *exchange.response);
    if (exchange.isHandedOver) return MHD_YES;
    if (!exchange.isTooLarge) {
        // The server's library keeps it for as long as it is being sent.
        if (const auto ready = handler.answerAtOnce(exchange.request)) {
            const int status = ready->statusFor(exchange.request);
            return MHD_queue_response(connection, unsigned(status), status == 304 ? ready->unchanged_ : ready->whole_);
        }
    }
    exchange.isHandedOver = true;
    {
        const std::lock_guard lock(mutex);
        if (isEnding) return MHD_NO; // nobody is left to answer
        MHD_suspend_connection(connection);
        waiting.push_back(&exchange);
    }
    wake.notify_one();
    return MHD_YES;
}

void HttpServer::State::work() {
    for (;;) {
        Exchange* exchange = nullptr;
        {
            std::unique_lock lock(mutex);
            wake.wait(lock, [&] { return isEnding || !waiting.empty(); });
            if (waiting.empty()) return;
            exchange = waiting.front();
            waiting.pop_front();
        }
        exchange->response = handler.answer(exchange->request, exchange->isTooLarge);
        exchange->request.sink.reset();
        MHD_resume_connection(exchange->connection);
    }
}

void HttpServer::State::done(Exchange* exchange) {
    if (exchange->response && exchange->response->file >= 0) close(exchange->response->file);
    delete exchange;
    {
        const std::lock_guard lock(mutex);
        --open;
    }
    idle.notify_all();
}

HttpServer::HttpServer(Options options, HttpHandler& handler)
    : state_(std::make_unique<State>(std::move(options), handler)) {
    State& state = *state_;
    const auto access = [](void* self, MHD_Connection* connection, const char* url, const char* method, const char*,
                           const char* data, std::size_t* size, void** slot) -> MHD_Result {
        return static_cast<State*>(self)->on(connection, url, method, data, size, slot);
    };
    const auto completed = [](void* self, MHD_Connection*, void** slot, MHD_RequestTerminationCode) {
        if (*slot) static_cast<State*>(self)->done(static_cast<Exchange*>(std::exchange(*slot, nullptr)));
    };
    const bool isSix = state.options.address.contains(':');
    sockaddr_storage place{};
    auto& four = reinterpret_cast<sockaddr_in&>(place);
    auto& six = reinterpret_cast<sockaddr_in6&>(place);
    bool isGood = false;
    if (isSix) {
        six.sin6_family = AF_INET6;
        six.sin6_port = htons(state.options.port);
        isGood = inet_pton(AF_INET6, state.options.address.c_str(), &six.sin6_addr) == 1;
    } else {
        four.sin_family = AF_INET;
        four.sin_port = htons(state.options.port);
        isGood = inet_pton(AF_INET, state.options.address.c_str(), &four.sin_addr) == 1;
    }
    if (!isGood)
        throw std::runtime_error("\"" + state.options.address +
                                 "\" is no address to listen at. Name one such as 127.0.0.1 or ::.");
    // With epoll, which would cost less with hundreds of connections, libmicrohttpd 0.9.75 learns of some clients that
    // went away in the middle of a damaged request only when their time is over, and stopping would wait for them.
    const unsigned flags = MHD_USE_POLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | (isSix ? MHD_USE_IPv6 : 0);
    state.daemon = MHD_start_daemon(
        flags, state.options.port, nullptr, nullptr, +access, &state, MHD_OPTION_NOTIFY_COMPLETED, +completed, &state,
        MHD_OPTION_SOCK_ADDR, &place, MHD_OPTION_CONNECTION_LIMIT, state.options.connections,
        MHD_OPTION_PER_IP_CONNECTION_LIMIT, state.options.isBehindProxy ? 0u : state.options.connectionsOfOne,
        MHD_OPTION_CONNECTION_TIMEOUT, state.options.idleSeconds, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
        std::size_t(32 * 1024), MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_END);
    if (!state.daemon)
        throw std::runtime_error("Port " + std::to_string(state.options.port) + " of " + state.options.address +
                                 " is taken or not allowed. Choose another with --port.");
    for (unsigned i = 0; i < state.options.workers; ++i)
        state.workers.emplace_back([&state] { state.work(); });
}

std::uint16_t HttpServer::port() const {
    const MHD_DaemonInfo* info = MHD_get_daemon_info(state_->daemon, MHD_DAEMON_INFO_BIND_PORT);
    return info ? info->port : state_->options.port;
}

void HttpServer::stop(unsigned seconds) {
    State& state = *state_;
    if (!state.daemon) return;
    const MHD_socket listening = MHD_quiesce_daemon(state.daemon);
    {
        std::unique_lock lock(state.mutex);
        state.idle.wait_for(lock, std::chrono::seconds(seconds), [&] { return state.open == 0; });
    }
    // The workers first end what they have: a connection that waits for them must not be closed under them.
    {
        const std::lock_guard lock(state.mutex);
        state.isEnding = true;
    }
    state.wake.notify_all();
    for (std::thread& worker : state.workers)
        worker.join();
    MHD_stop_daemon(std::exchange(state.daemon, nullptr));
    if (listening != MHD_INVALID_SOCKET) close(listening);
}

HttpServer::~HttpServer() {
    stop(0);
}

} // namespace glasshob::gallery
