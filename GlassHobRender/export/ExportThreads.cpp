#include "GlassHobRender/export/ExportThreads.h"

#include "GlassHobRender/export/ExportSound.h"
#include "GlassHobRender/formats/FrameSink.h"

#include <new>

namespace glasshob {

ExportThreads::ExportThreads(const std::stop_token& stop)
    : whenStopped_(stop, [this] { fail(ExportError::cancelled()); }) {}

ExportThreads::~ExportThreads() {
    fail(ExportError::cancelled());
    join();
}

void ExportThreads::fail(ExportError error) {
    {
        const std::lock_guard guard(lock_);
        if (failure_) return;
        failure_ = std::move(error);
    }
    ended_.request_stop();
}

bool ExportThreads::hasFailed() const {
    const std::lock_guard guard(lock_);
    return failure_.has_value();
}

std::optional<ExportError> ExportThreads::failure() const {
    const std::lock_guard guard(lock_);
    return failure_;
}

void ExportThreads::run(std::function<void()> work) {
    threads_.emplace_back([this, work = std::move(work)] {
        try {
            work();
        } catch (const std::bad_alloc&) {
            fail(ExportError("There is not enough memory for this: choose a smaller size."));
        } catch (const std::exception& error) {
            fail(ExportError(std::string(error.what())));
        }
    });
}

void ExportThreads::runSound(ExportSound& sound, std::int64_t frames, FrameSink& sink) {
    run([this, &sound, frames, &sink] {
        std::vector<float> samples;
        for (std::int64_t i = 0; i < frames; ++i) {
            if (hasFailed()) return;
            if (!sound.render(i, samples))
                return fail(ExportError::writer("audio failed at frame " + std::to_string(i)));
            if (const auto sent = sink.writeSound(samples, ended()); !sent) return fail(sent.error());
        }
        sink.endSound();
    });
}

void ExportThreads::join() {
    threads_.clear();
}

} // namespace glasshob
