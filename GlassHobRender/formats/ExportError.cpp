#include "GlassHobRender/formats/ExportError.h"

namespace glasshob {

ExportError ExportError::setup(const std::string& message) {
    return {Kind::setup, "Export could not start: " + message};
}
ExportError ExportError::render(std::int64_t frame) {
    return {Kind::render, "The GPU failed while drawing frame " + std::to_string(frame) + "."};
}
ExportError ExportError::writer(const std::string& message) {
    return {Kind::writer, "Writing the video failed: " + message};
}
ExportError ExportError::cancelled() {
    return {Kind::cancelled, "Export cancelled."};
}

} // namespace glasshob
