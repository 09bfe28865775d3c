#pragma once

// What the gallery shows a shared shader by: a film of eight seconds that it plays again and again, and a picture. Both
// begin at one moment of the shader's time, have the sliders at their declared defaults, and go without the mark. They
// are made from the text alone, so that they are what everybody will see who opens it.
//
// Any thread; blocks until the device is done, which must not be the thread of an event loop. Nothing is left on the
// disk, however it ends.

#include "GlassHobRender/output/StillRenderer.h"

#include <QByteArray>
#include <QImage>

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

namespace gpu {
class Device;
} // namespace gpu

namespace glasshob::ShareRendering {

inline constexpr double loopSeconds = 8;
inline constexpr std::int64_t thumbWidth = 1200;
inline constexpr std::int64_t thumbHeight = 675;

// What is rendered.
struct Order {
    // UTF-8, as in the editor.
    std::string source;
    // Seconds, 0 or above.
    double start = 0;
    std::shared_ptr<gpu::Device> device;
};

struct Files {
    // MP4 and JPEG.
    QByteArray loop, thumb;
};

struct Failure {
    // To be shown; empty when it was stopped.
    std::string sentence;
    bool wasStopped() const { return sentence.empty(); }
};

// Told from 0 to 1, on the calling thread.
using Progress = std::function<void(double)>;

std::expected<Files, Failure> render(const Order& order, const Progress& progress, const std::stop_token& stop);

// The picture alone, before it is encoded.
std::expected<StillImage, Failure> picture(const Order& order, const std::stop_token& stop);

// The same pixels, which the image does not own.
QImage asImage(const StillImage& image);

// As JPEG, as good as fits into so many bytes; empty when nothing does.
QByteArray jpeg(const StillImage& image, qsizetype most);

} // namespace glasshob::ShareRendering
