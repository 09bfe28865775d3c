#include "hob/ExportProgress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace hob {

namespace {

std::string timeLeft(double seconds) {
    const auto whole = std::int64_t(std::ceil(seconds));
    if (whole < 60) return std::to_string(whole) + " s";
    const std::string rest = std::to_string(whole % 60);
    return std::to_string(whole / 60) + ":" + (rest.size() < 2 ? "0" : "") + rest + " min";
}

} // namespace

std::string progressBar(double done) {
    constexpr std::size_t width = 24;
    const auto filled = std::size_t(std::clamp(done, 0.0, 1.0) * double(width));
    return "[" + std::string(filled, '#') + std::string(width - filled, '.') + "]";
}

std::string catchUpText(double reached, double target) {
    char text[96];
    std::snprintf(text, sizeof text, "Running the particles up to the first frame: %.0f of %.0f seconds", reached,
                  target);
    return text;
}

bool ExportProgress::tell(std::int64_t done, std::int64_t total) {
    show(done, total);
    return !interrupts_.happened() && !console_.outputFailed();
}

void ExportProgress::tellCatchUp(double reached, double target) {
    const auto now = Clock::now();
    if (now - last_ < std::chrono::milliseconds(100)) return;
    last_ = now;
    console_.progress(catchUpText(reached, target));
}

void ExportProgress::show(std::int64_t done, std::int64_t total) {
    const auto now = Clock::now();
    if (done != 0 && done != total && now - last_ < std::chrono::milliseconds(100)) return;
    last_ = now;
    const double passed = std::chrono::duration<double>(now - start_).count();
    const double rate = passed > 0 && done > 0 ? double(done) / passed : 0;
    const double left = rate > 0 ? double(total - done) / rate : 0;
    if (json_) {
        char line[160];
        std::snprintf(line, sizeof line,
                      "{\"frame\": %lld, \"frames\": %lld, \"seconds\": %.3f, \"framesPerSecond\": %.2f, "
                      "\"secondsLeft\": %.1f}\n",
                      static_cast<long long>(done), static_cast<long long>(total), passed, rate, left);
        console_.write(line);
        return;
    }
    char figures[96];
    std::snprintf(figures, sizeof figures, " %lld of %lld frames, %.1f a second", static_cast<long long>(done),
                  static_cast<long long>(total), rate);
    console_.progress(progressBar(total > 0 ? double(done) / double(total) : 1) + figures +
                      (rate > 0 && done < total ? ", " + timeLeft(left) + " left" : ""));
}

} // namespace hob
