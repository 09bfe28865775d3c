// The gallery's program: serves, or does one thing to the data of a gallery (a backup, a link for a lost password).

#include "GlassHobGallery/check/UploadCheck.h"
#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/site/Gallery.h"
#include "GlassHobGallery/site/Log.h"

#include "GlassHobCore/Identity.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <sys/stat.h>

namespace {

using namespace glasshob;
using namespace glasshob::gallery;

constexpr const char* usage =
    R"(usage: glasshob-gallery [options]                  serve the gallery
       glasshob-gallery [options] backup FILE      write a whole copy of the database, while it serves
       glasshob-gallery [options] reset-link NAME  print a link with which this person chooses a new password
options: --config FILE   lines "name = value": address, port, data, url, proxy, feed, get
         --address, --port, --data, --url, --proxy, --feed, --get VALUE   over the file and the environment
)";

struct Command {
    Config config;
    std::vector<std::string> words;
};

Command readArguments(int count, char** arguments) {
    Command command;
    std::string file;
    std::map<std::string, std::string> values;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (!argument.starts_with("--")) {
            command.words.push_back(argument);
            continue;
        }
        if (i + 1 == count) throw std::runtime_error("The option " + argument + " needs a value.");
        if (argument == "--config")
            file = arguments[++i];
        else
            values[argument.substr(2)] = arguments[++i];
    }
    if (!file.empty()) command.config.takeFile(file);
    command.config.takeEnvironment();
    command.config.take(values);
    if (command.config.get.empty()) command.config.get = "https://" + std::string(Identity::siteHost) + "/get";
    return command;
}

// Where the pages lie: beside an installed program, and beside the one in the build folder.
std::string resourceFolder() {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    return (program.parent_path().parent_path() / "share" / "glasshob-gallery").string();
}

void serve(Config config) {
    // Before any thread starts, so that all of them leave the signals to this one.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    const auto database = openSqliteDatabase(config.data + "/gallery.db");
    const auto media = openMediaFolder(config.data);
    // The port is known only once the server listens, and the gallery's own address may follow from it.
    struct Forward : HttpHandler {
        std::atomic<HttpHandler*> to = nullptr;
        Body bodyOf(const Request& request) override {
            HttpHandler* gallery = to;
            return gallery ? gallery->bodyOf(request) : Body();
        }
        std::shared_ptr<const ReadyResponse> answerAtOnce(Request& request) override {
            HttpHandler* gallery = to;
            return gallery ? gallery->answerAtOnce(request) : nullptr;
        }
        Response answer(Request& request, bool isTooLarge) override {
            if (HttpHandler* gallery = to) return gallery->answer(request, isTooLarge);
            Response starting;
            starting.status = 503;
            return starting;
        }
    } handler;
    HttpServer::Options options;
    options.address = config.address;
    options.port = config.port;
    options.isBehindProxy = config.isBehindProxy;
    options.workers = 12;
    std::optional<Gallery> gallery;
    HttpServer server(options, handler);
    config.port = server.port();
    if (config.url.empty()) config.url = "http://localhost:" + std::to_string(config.port);
    gallery.emplace(config, *database, *media, resourceFolder());
    gallery->sweep();
    handler.to = &*gallery;
    logEvent("started", {{"port", std::to_string(config.port)}, {"version", std::string(Identity::version)}});
    std::printf("The gallery is at %s\n", config.url.c_str());
    if (const std::string code = gallery->makeSetupCode(); !code.empty())
        std::printf("It has no administrator yet. Make the first one at %s/setup?code=%s\nSetup code: %s\n",
                    config.url.c_str(), code.c_str(), code.c_str());
    std::fflush(stdout);

    const timespec hour{3600, 0};
    for (;;) {
        const int signal = sigtimedwait(&ending, nullptr, &hour);
        if (signal == SIGINT || signal == SIGTERM) break;
        if (signal < 0 && errno == EAGAIN) gallery->sweep();
    }
    logEvent("stopping");
    server.stop(30);
    logEvent("stopped");
}

} // namespace

int main(int count, char** arguments) {
    if (count == 2 && std::string_view(arguments[1]) == uploadCheckArgument) return runUploadCheck();
    if (count == 2 && (std::string_view(arguments[1]) == "--help" || std::string_view(arguments[1]) == "-h")) {
        std::fputs(usage, stdout);
        return 0;
    }
    try {
        initSecrets();
        umask(077);
        const Command command = readArguments(count, arguments);
        std::filesystem::create_directories(command.config.data);
        if (command.words.empty()) {
            serve(command.config);
        } else if (command.words.size() == 2 && command.words[0] == "backup") {
            openSqliteDatabase(command.config.data + "/gallery.db")->backUp(command.words[1]);
        } else if (command.words.size() == 2 && command.words[0] == "reset-link") {
            const auto database = openSqliteDatabase(command.config.data + "/gallery.db");
            const auto media = openMediaFolder(command.config.data);
            Config config = command.config;
            if (config.url.empty()) config.url = "http://localhost:" + std::to_string(config.port);
            const std::string link =
                Gallery(config, *database, *media, resourceFolder()).makeResetLink(command.words[1]);
            if (link.empty()) throw std::runtime_error("Nobody here is called " + command.words[1] + ".");
            std::printf("%s\n", link.c_str());
        } else {
            std::fputs(usage, stderr);
            return 2;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
