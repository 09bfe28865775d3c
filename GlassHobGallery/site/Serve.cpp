#include "GlassHobGallery/site/Serve.h"

#include "GlassHobGallery/site/Gallery.h"
#include "GlassHobGallery/site/Log.h"

#include "GlassHobCore/Identity.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>

namespace glasshob::gallery {

namespace {

// Where the pages lie: beside an installed program, and beside the one in the build folder.
std::string resourceFolder() {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    return (program.parent_path().parent_path() / "share" / "glasshob-gallery").string();
}

} // namespace

void serve(Config config, Data& data) {
    // Before any thread starts, so that all of them leave the signals to this one.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is a refusal as others are

    // A thousand connections, and the files that go out over them.
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < 8192) {
        files.rlim_cur = std::min<rlim_t>(files.rlim_max, 8192);
        setrlimit(RLIMIT_NOFILE, &files);
    }
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
    gallery.emplace(config, *data.database, *data.media, resourceFolder());
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

std::string resetLink(Config config, Data& data, std::string_view handle) {
    if (config.url.empty()) config.url = "http://localhost:" + std::to_string(config.port);
    return Gallery(config, *data.database, *data.media, resourceFolder()).makeResetLink(handle);
}

} // namespace glasshob::gallery
