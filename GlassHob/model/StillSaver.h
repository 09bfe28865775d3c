// Draws a still of a program away from the main thread and writes it in the format of its ending. Main thread; the
// answer arrives there later, unless the context object is gone by then.
#pragma once

#include "GlassHobCore/shader/Params.h"

#include <QString>

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>

class QObject;

namespace glasshob {

class ShaderProgram;

struct StillRequest {
    std::shared_ptr<const ShaderProgram> program;
    SliderValues values;
    std::int64_t width = 1920;
    std::int64_t height = 1080;
    std::uint32_t frame = 0;
    float time = 0;
    QString path;
};

// The failure is a sentence to show.
void saveStill(StillRequest request, QObject* context, std::function<void(std::expected<void, QString>)> done);

} // namespace glasshob
