#include "GlassHobGallery/tests/TestServer.h"

#include "GlassHobGallery/data/Secrets.h"

#include "GlassHobCore/site/Multipart.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace glasshob::gallery {

namespace {

std::string textOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), {});
}

std::atomic<int> counter = 0;

// Every password, token, cookie and code of the tests.
std::set<std::string>& secrets() {
    static std::set<std::string> all{goodPassword};
    return all;
}
const std::string& keepSecret(const std::string& text) {
    if (text.size() >= 8) secrets().insert(text);
    return text;
}

} // namespace

TestServer::TestServer(const std::string& url)
    : folder_(std::filesystem::temp_directory_path() / ("gallery-server-" + randomText(12, "abcdefghij"))), url_(url) {
    std::filesystem::create_directories(folder_);
    start();
}

TestServer::~TestServer() {
    // What the sanitizers find at its end, or before, fails the test too.
    if (process_ > 0) EXPECT_EQ(stop(SIGTERM), 0) << log();
    const std::string said = log();
    EXPECT_FALSE(said.contains("\"event\":\"check\"")) << "the process that looks at uploads fell";
    for (const std::string& secret : secrets())
        EXPECT_FALSE(said.contains(secret)) << "the log tells " << secret;
    std::filesystem::remove_all(folder_);
}

void TestServer::start(const std::string& fault) {
    const char* variable = fault.empty() ? "GLASSHOB_GALLERY_PROGRAM" : "GLASSHOB_FAULTY_GALLERY";
    const char* program = std::getenv(variable);
    if (!program) throw std::runtime_error(std::string(variable) + " names the program to test.");
    int output[2];
    if (pipe2(output, O_CLOEXEC) != 0) throw std::runtime_error("No pipe.");
    process_ = fork();
    if (process_ == 0) {
        dup2(output[1], 1);
        dup2(open((folder_ / "log").c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600), 2);
        if (!fault.empty()) setenv("GLASSHOB_FAULT", fault.c_str(), 1);
        const std::string data = folder_.string(), feed = data + "/latest.json";
        execl(program, program, "--port", "0", "--data", data.c_str(), "--proxy", "yes", "--feed", feed.c_str(),
              url_.empty() ? nullptr : "--url", url_.c_str(), nullptr);
        _exit(127);
    }
    close(output[1]);
    // It says all it has to say in one go, once it listens.
    std::string said;
    char buffer[4096];
    ssize_t got = 0;
    while (!said.contains("Setup code: ") && !said.ends_with('\n') &&
           (got = read(output[0], buffer, sizeof buffer)) > 0)
        said.append(buffer, std::size_t(got));
    close(output[0]);
    const std::string log = this->log();
    const std::size_t at = log.rfind("\"port\":\"");
    if (at == std::string::npos) throw std::runtime_error("The gallery did not start: " + log);
    port_ = std::atoi(log.c_str() + at + 8);
    if (const std::size_t code = said.find("Setup code: "); code != std::string::npos)
        setupCode_ = keepSecret(said.substr(code + 12, 14));
}

int TestServer::stop(int signal) {
    kill(process_, signal);
    return wait();
}

int TestServer::wait() {
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string TestServer::log() const {
    return textOf(folder_ / "log");
}

Ended runGallery(const std::string& words) {
    Ended ended;
    FILE* output = popen((std::string(std::getenv("GLASSHOB_GALLERY_PROGRAM")) + " " + words + " 2>&1").c_str(), "r");
    char buffer[4096];
    for (std::size_t got = 0; (got = fread(buffer, 1, sizeof buffer, output)) > 0;)
        ended.said.append(buffer, got);
    const int status = pclose(output);
    ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ended;
}

std::string checkOf(const std::filesystem::path& folder) {
    const Ended ended = runGallery("--data " + folder.string() + " check");
    return ended.status == 0 && ended.said.contains("The data are whole") ? "" : ended.said;
}

std::int64_t countOf(TestServer& at, const std::string& table) {
    SqliteConnection database = at.database();
    SqliteQuery query = database.query("SELECT count(*) FROM " + table);
    query.step();
    return query.integer(0);
}

std::set<std::string> filesIn(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file()) names.insert(entry.path().filename());
    return names;
}

std::string setUp(TestServer& server) {
    Browser chef(server);
    const Answer answer = chef.post("/setup", {{"setup", server.setupCode()},
                                               {"site", "Test Kitchen"},
                                               {"handle", "chef"},
                                               {"new", goodPassword},
                                               {"join", "anyone"}});
    if (answer.status != 303) throw std::runtime_error("The gallery cannot be set up: " + answer.body);
    return programOf(chef, server);
}

namespace {
std::unique_ptr<TestServer> shared_;
}

TestServer& server() {
    if (!shared_) {
        shared_ = std::make_unique<TestServer>();
        setUp(*shared_);
    }
    return *shared_;
}

void endServer() {
    shared_.reset();
}

Browser::Browser(TestServer& at) : at_(&at) {
    const int number = ++counter;
    address_ = "10.0." + std::to_string(number / 250) + "." + std::to_string(number % 250 + 1);
}

std::string Browser::headers() const {
    std::string text = "X-Forwarded-For: " + address_ + "\r\nUser-Agent: Firefox/1 Linux\r\n";
    if (cookies_.empty()) return text;
    text += "Cookie: ";
    for (const auto& [name, value] : cookies_)
        text += name + "=" + value + "; ";
    return text + "\r\n";
}

Answer Browser::keep(Answer answer) {
    const auto [first, last] = answer.headers.equal_range("set-cookie");
    for (auto one = first; one != last; ++one) {
        const std::string pair = one->second.substr(0, one->second.find(';'));
        const std::size_t equals = pair.find('=');
        if (equals + 1 == pair.size())
            cookies_.erase(pair.substr(0, equals));
        else
            cookies_[pair.substr(0, equals)] = keepSecret(pair.substr(equals + 1));
    }
    return answer;
}

Answer Browser::get(const std::string& path) {
    return keep(request(at_->port(), "GET", path, headers()));
}

std::string Browser::tokenOn(const std::string& path) {
    const std::string page = get(path).body;
    constexpr std::string_view sign = "name=\"token\" value=\"";
    const std::size_t at = page.find(sign);
    return at == std::string::npos ? "" : keepSecret(page.substr(at + sign.size(), 43));
}

Answer Browser::post(const std::string& path, Fields form) {
    form["token"] = tokenOn(path);
    return postBare(path, form);
}

Answer Browser::postBare(const std::string& path, const Fields& form, const std::string& more) {
    return keep(request(at_->port(), "POST", path,
                        headers() + more + "Content-Type: application/x-www-form-urlencoded\r\n", formBody(form)));
}

Browser& Browser::join(const std::string& handle) {
    const Answer answer = post("/join", {{"handle", handle}, {"new", goodPassword}, {"email", ""}});
    EXPECT_EQ(answer.status, 303) << answer.body;
    return *this;
}

Answer Browser::signIn(const std::string& handle, const std::string& password) {
    return post("/signin", {{"name", handle}, {"password", password}});
}

std::string newHandle(const std::string& stem) {
    return stem + "-" + std::to_string(++counter);
}

Answer apiPost(const std::string& path, const QJsonObject& body, const std::string& token, TestServer& at) {
    const std::string sign = token.empty() ? "" : "Authorization: Bearer " + token + "\r\n";
    return request(at.port(), "POST", path, sign + "Content-Type: application/json\r\nUser-Agent: GlassHob/1.4.0\r\n",
                   QJsonDocument(body).toJson(QJsonDocument::Compact).toStdString());
}

Answer apiGet(const std::string& path, const std::string& token, TestServer& at) {
    return request(at.port(), "GET", path, token.empty() ? "" : "Authorization: Bearer " + token + "\r\n");
}

std::string programOf(Browser& person, TestServer& at) {
    const QJsonObject link = apiPost("/api/app/link", {}, "", at).json();
    const std::string code = keepSecret(link["code"].toString().toStdString());
    keepSecret(link["device"].toString().toStdString());
    const std::string token = person.tokenOn("/device?code=" + code);
    const Answer allowed = person.postBare("/device", {{"token", token}, {"code", code}, {"answer", "allow"}});
    EXPECT_EQ(allowed.status, 200) << allowed.body;
    return keepSecret(
        apiPost("/api/app/link/poll", {{"device", link["device"]}}, "", at).json()["token"].toString().toStdString());
}

Upload Upload::fresh() {
    Upload upload;
    upload.source =
        "// Number " + std::to_string(++counter) +
        "\n// @tags Water, light , WATER, <b>\n// @param speed 0.5 0 2 How <fast> it is\n"
        "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n\treturn float4(uv, p.speed, 1.0);\n}\n";
    upload.loop = testLoop();
    upload.thumb = testThumb();
    return upload;
}

std::string Upload::body(const std::string& boundary) const {
    std::string told = meta;
    if (told.empty())
        told = QJsonDocument(QJsonObject{{"title", title.c_str()},
                                         {"description", description.c_str()},
                                         {"licence", licence.c_str()},
                                         {"visibility", visibility.c_str()}})
                   .toJson(QJsonDocument::Compact)
                   .toStdString();
    Multipart parts{boundary, {}};
    parts.add("meta", "", "application/json", QByteArray::fromStdString(told));
    parts.add("source", "source.metal", "text/plain; charset=utf-8", QByteArray::fromStdString(source));
    parts.add("loop", "loop.mp4", "video/mp4", QByteArray::fromStdString(loop));
    parts.add("thumb", "thumb.jpg", "image/jpeg", QByteArray::fromStdString(thumb));
    return parts.body().toStdString();
}

Answer share(const std::string& token, const Upload& upload, TestServer& at) {
    return request(at.port(), "POST", "/api/shaders",
                   "Authorization: Bearer " + token + "\r\nContent-Type: multipart/form-data; boundary=GlassHob-T\r\n",
                   upload.body("GlassHob-T"));
}

std::string shared(const std::string& token, const Upload& upload) {
    const Answer answer = share(token, upload);
    EXPECT_EQ(answer.status, 201) << answer.body;
    return answer.json()["id"].toString().toStdString();
}

} // namespace glasshob::gallery
