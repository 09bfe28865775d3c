#include "GlassHobRender/export/ExportFeed.h"

#include "GlassHobRender/export/ExportSound.h"

#include <chrono>
#include <vector>

namespace glasshob {

namespace {

constexpr std::chrono::seconds stallDeadline{60};

} // namespace

ExportFeed::ExportFeed(MovieWriter& writer, std::stop_token stop) : writer_(writer), stop_(std::move(stop)) {}

ExportFeed::~ExportFeed() {
    record(ExportError::cancelled());
    if (soundThread_.joinable()) soundThread_.join();
}

void ExportFeed::record(ExportError error) {
    const std::lock_guard guard(lock_);
    if (!failure_) failure_ = std::move(error);
}

void ExportFeed::recordWriter(const std::string& otherwise) {
    const std::string told = writer_.error();
    record(ExportError::writer(told.empty() ? otherwise : told));
}

bool ExportFeed::hasFailed() const {
    const std::lock_guard guard(lock_);
    return failure_.has_value();
}

bool ExportFeed::waitFor(const MovieInput& input) {
    if (input.isReadyForMoreMediaData()) return true;
    const auto deadline = std::chrono::steady_clock::now() + stallDeadline;
    while (true) {
        if (hasFailed()) return false;
        if (stop_.stop_requested()) {
            record(ExportError::cancelled());
            return false;
        }
        if (writer_.status() == MovieWriter::Status::failed) {
            recordWriter("unknown");
            return false;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            record(
                ExportError::writer("the writer stalled waiting for the " + std::string(input.mediaType()) + " track"));
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (input.isReadyForMoreMediaData()) return true;
    }
}

void ExportFeed::startSound(MovieInput& input, ExportSound& sound, std::int64_t frames) {
    soundThread_ = std::jthread([this, &input, &sound, frames] { sendSound(input, sound, frames); });
}

void ExportFeed::sendSound(MovieInput& input, ExportSound& sound, std::int64_t frames) {
    std::vector<float> samples;
    for (std::int64_t i = 0; i < frames; ++i) {
        if (hasFailed() || !waitFor(input)) return;
        if (!sound.render(i, samples) || !writer_.append(input, samples)) {
            recordWriter("audio failed at frame " + std::to_string(i));
            return;
        }
    }
    input.markAsFinished();
}

std::optional<ExportError> ExportFeed::finish(MovieInput& video) {
    if (soundThread_.joinable()) soundThread_.join();
    if (!hasFailed()) {
        video.markAsFinished();
        // The encoder still holds dozens of frames, and the file is moved to make room for its index.
        const std::stop_callback whenStopped(stop_, [this] { writer_.interrupt(); });
        if (!writer_.finishWriting()) {
            if (stop_.stop_requested())
                record(ExportError::cancelled());
            else
                recordWriter("finishWriting");
        }
    }
    const std::lock_guard guard(lock_);
    return failure_;
}

} // namespace glasshob
