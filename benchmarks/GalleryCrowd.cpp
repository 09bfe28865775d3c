#include "benchmarks/GalleryCrowd.h"

#include "GlassHobGallery/tests/Client.h"
#include "benchmarks/Common.h"
#include "benchmarks/GallerySites.h"

#include <atomic>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace bench {

using namespace glasshob::gallery;
using namespace std::chrono_literals;

namespace {

constexpr int idle = 200, asked = 50, slow = 20;
constexpr auto slowStep = 200ms, uploadStep = 500ms, pageStep = 20ms;
constexpr auto duration = 10s;
constexpr std::size_t loopSize = 20'000'000, thumbSize = 1'000'000; // the most that is taken

// Calls at this pace until the time is over.
void repeat(std::chrono::milliseconds step, const std::function<void()>& call) {
    const auto end = std::chrono::steady_clock::now() + duration;
    for (auto next = std::chrono::steady_clock::now(); next < end; next += step) {
        std::this_thread::sleep_until(next);
        call();
    }
}

struct Times {
    double middle = 0, late = 0, worst = 0;
};
Times timesOf(std::vector<double> values) {
    std::ranges::sort(values);
    return {values[values.size() / 2], values[values.size() * 99 / 100], values.back()};
}

// Pages of a stranger and of somebody who is signed in, in turn.
Times readPages(const GallerySite& site) {
    Connection connection(site.port());
    std::vector<double> times;
    int number = 0;
    repeat(pageStep, [&] {
        const std::string headers = ++number % 2 ? site.browser() : "";
        times.push_back(milliseconds([&] {
            connection.send("GET / HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n");
            if (connection.receive().status != 200) throw std::runtime_error("A page failed.");
        }));
    });
    return timesOf(times);
}

long megabytesOf(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:")) return std::atol(line.c_str() + 6) / 1024;
    return 0;
}

void print(const char* what, const Times& times) {
    std::printf("  %-36s %6.2f ms, 99 of 100 within %.2f ms, the slowest %.2f ms\n", what, times.middle, times.late,
                times.worst);
}

} // namespace

void printCrowd() {
    const GallerySite site;
    std::printf(
        "crowd    %d idle connections (%d asked once), %d that send a byte every %lld ms, 2 uploads of %zu MB a "
        "second\n",
        idle, asked, slow, static_cast<long long>(slowStep.count()), (loopSize + thumbSize) / 1'000'000);
    print("pages alone", readPages(site));

    std::vector<std::unique_ptr<Connection>> still, dripping;
    for (int i = 0; i < idle; ++i) {
        still.push_back(std::make_unique<Connection>(site.port()));
        if (i >= asked) continue;
        still.back()->send("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
        if (still.back()->receive().status != 200) throw std::runtime_error("A page failed.");
    }
    for (int i = 0; i < slow; ++i) {
        dripping.push_back(std::make_unique<Connection>(site.port()));
        dripping.back()->send("POST /signin HTTP/1.1\r\nHost: localhost\r\nContent-Length: 60000\r\n\r\n");
    }
    std::atomic<bool> isCutOff = false;
    std::jthread drip([&] {
        repeat(slowStep, [&] {
            for (const auto& connection : dripping)
                isCutOff = isCutOff || !connection->send("x");
        });
    });
    // As large as they may be, and no films: received, written, looked at and refused.
    const std::string body =
        shareBody("GlassHob-B", "Noise", "float4 shade(float2 uv, constant Uniforms& u) { return 1; }",
                  std::string(loopSize, 'x'), std::string(thumbSize, 'y'));
    std::vector<double> uploads;
    std::atomic<int> refused = 0;
    std::jthread sharing([&] {
        repeat(uploadStep, [&] {
            uploads.push_back(milliseconds([&] {
                const Answer answer =
                    request(site.port(), "POST", "/api/shaders",
                            site.program() + "Content-Type: multipart/form-data; boundary=GlassHob-B\r\n", body);
                refused += answer.status == 422;
            }));
        });
    });
    const Times pages = readPages(site);
    drip.join();
    sharing.join();
    if (isCutOff) throw std::runtime_error("A slow sender was cut off.");
    if (refused != int(uploads.size())) throw std::runtime_error("An upload was not looked at.");
    print("pages in the crowd", pages);
    print("uploads in the crowd", timesOf(uploads));
    std::printf("  %zu uploads, at most %ld MB of memory\n", uploads.size(), megabytesOf(site.process()));
}

} // namespace bench
