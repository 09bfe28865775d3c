#include "benchmarks/GallerySites.h"

#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/tests/Client.h"

#include "GlassHobCore/site/Multipart.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace bench {

using namespace glasshob::gallery;

namespace {

std::string textOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), {});
}

// One that nobody has now.
int freePort() {
    const int listening = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof place;
    bind(listening, reinterpret_cast<sockaddr*>(&place), size);
    getsockname(listening, reinterpret_cast<sockaddr*>(&place), &size);
    close(listening);
    return ntohs(place.sin_port);
}

std::string made(const std::string& arguments, const std::string& ending) {
    const Folder folder;
    const std::string path = folder.path() / ("made" + ending);
    if (std::system(("ffmpeg -v error -f lavfi -i " + arguments + " -y " + path).c_str()) != 0)
        throw std::runtime_error("ffmpeg cannot make what the benchmark shares.");
    return textOf(path);
}

} // namespace

Folder::Folder() {
    // Not where files may lie in memory: what is written here is to reach a disk.
    std::string name =
        (std::filesystem::exists("/var/tmp") ? "/var/tmp" : "/tmp") + std::string("/gallery-bench-XXXXXX");
    if (!mkdtemp(name.data())) throw std::runtime_error("No folder can be made for the benchmark.");
    path_ = name;
}

Folder::~Folder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
}

Process::Process(const std::vector<std::string>& command, int output) : process_(fork()) {
    if (process_ != 0) return;
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    dup2(output >= 0 ? output : open("/dev/null", O_WRONLY), 1);
    execv(arguments[0], arguments.data());
    _exit(127);
}

Process::~Process() {
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
}

GallerySite::GallerySite(Fill fill) {
    initSecrets();
    const std::string data = folder_.path();
    {
        const auto database = openSqliteDatabase(data + "/gallery.db");
        const Id person = database->addAccount({0, "chef", "", "x", true, false, std::time(nullptr), "", 0}).value();
        const auto signIn = [&](bool isProgram) {
            const std::string token = randomToken();
            const Moment now = std::time(nullptr);
            database->addSession({0, person, isProgram, "bench", "127.0.0.1", now, now}, hashOf(token));
            return token;
        };
        browser_ = "Cookie: session=" + signIn(false) + "\r\n";
        program_ = "Authorization: Bearer " + signIn(true) + "\r\n";
        if (fill) fill(*database, person);
    }
    int output[2];
    if (pipe2(output, O_CLOEXEC) != 0) throw std::runtime_error("No pipe.");
    const int log = open((data + "/log").c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
    const int errors = dup(2);
    dup2(log, 2);
    process_ =
        std::make_unique<Process>(std::vector<std::string>{GALLERY_PROGRAM, "--port", "0", "--data", data}, output[1]);
    dup2(errors, 2);
    close(errors);
    close(log);
    close(output[1]);
    std::string said;
    char letter = 0;
    while (read(output[0], &letter, 1) == 1 && letter != '\n')
        said += letter;
    close(output[0]);
    port_ = std::atoi(said.substr(said.rfind(':') + 1).c_str());
    if (port_ == 0) throw std::runtime_error("The gallery did not start: " + textOf(data + "/log"));
}

Nginx::Nginx(const std::string& bytes) : port_(freePort()) {
    const std::string folder = folder_.path();
    std::ofstream(folder + "/index.html", std::ios::binary) << bytes;
    // As Debian sets it up, with a log of every request as the gallery writes one, and connections that stay open.
    std::ofstream(folder + "/nginx.conf")
        << (geteuid() == 0 ? "user root;\n" : "") << "daemon off; worker_processes 1;\n"
        << "pid " << folder << "/pid; error_log " << folder << "/errors;\n"
        << "events { worker_connections 768; }\n"
        << "http { sendfile on; tcp_nopush on; keepalive_requests 100000000;\n"
        << "default_type text/html; access_log " << folder << "/log;\n"
        << "client_body_temp_path " << folder << "/body; proxy_temp_path " << folder << "/proxy; fastcgi_temp_path "
        << folder << "/fastcgi;\n"
        << "uwsgi_temp_path " << folder << "/uwsgi; scgi_temp_path " << folder << "/scgi;\n"
        << "server { listen 127.0.0.1:" << port_ << "; root " << folder << "; } }\n";
    process_ = std::make_unique<Process>(
        std::vector<std::string>{"/usr/sbin/nginx", "-e", folder + "/errors", "-c", folder + "/nginx.conf"});
    for (int i = 0; i < 100; ++i) {
        if (request(port_, "GET", "/").body == bytes) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw std::runtime_error("nginx did not start: " + textOf(folder + "/errors"));
}

std::string film(const std::string& size, int seconds, int bytes) {
    const std::string rate = std::to_string(bytes / seconds * 8);
    return made("testsrc2=size=" + size + ":rate=30:duration=" + std::to_string(seconds) +
                    ",noise=alls=30:allf=t -c:v libx264 -preset veryfast -pix_fmt yuv420p -b:v " + rate + " -maxrate " +
                    rate + " -bufsize " + rate + " -movflags +faststart",
                ".mp4");
}

std::string picture() {
    return made("testsrc2=size=1200x675 -frames:v 1 -q:v 5", ".jpg");
}

std::string shareBody(const std::string& boundary, const std::string& title, const std::string& source,
                      const std::string& loop, const std::string& thumb) {
    glasshob::Multipart parts{boundary, {}};
    parts.add("meta", "", "application/json",
              QByteArray::fromStdString("{\"title\":\"" + title +
                                        "\",\"description\":\"\",\"licence\":\"mit\",\"visibility\":\"public\"}"));
    parts.add("source", "source.metal", "text/plain; charset=utf-8", QByteArray::fromStdString(source));
    parts.add("loop", "loop.mp4", "video/mp4", QByteArray::fromStdString(loop));
    parts.add("thumb", "thumb.jpg", "image/jpeg", QByteArray::fromStdString(thumb));
    return parts.body().toStdString();
}

} // namespace bench
