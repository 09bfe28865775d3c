#include "GlassHobRender/VideoExporter.h"

#include "GPU/Texture.h"
#include "GlassHobRender/ExportSound.h"
#include "GlassHobRender/FrameDrawer.h"
#include "GlassHobRender/FramePool.h"

#include <chrono>
#include <cstdio>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

namespace glasshob {

namespace {

constexpr std::chrono::seconds stallDeadline{60};
constexpr std::chrono::milliseconds previewInterval{250};

// The first failure of either thread; later ones are dropped.
class Failure {
  public:
    void record(ExportError error) {
        const std::lock_guard guard(lock_);
        if (!error_) error_ = std::move(error);
    }
    bool isRecorded() const {
        const std::lock_guard guard(lock_);
        return error_.has_value();
    }
    const std::optional<ExportError>& error() const { return error_; } // when only one thread is left

  private:
    mutable std::mutex lock_;
    std::optional<ExportError> error_;
};

class Export {
  public:
    Export(const std::vector<ExportSegment>& segments, const ExportPreset& preset,
           const std::shared_ptr<gpu::Device>& device, const std::string& path, const VideoExporter::Progress& progress,
           const VideoExporter::Encoding& encoding, const std::stop_token& stop, const VideoExporter::Preview& preview)
        : preset_(preset), path_(path), progress_(progress), stop_(stop), preview_(preview),
          pool_(device, preset.width, preset.height) {
        setUp(segments, device, encoding);
    }

    void run() {
        std::jthread soundThread;
        if (soundInput_ != nullptr) soundThread = std::jthread([this] { writeSound(); });
        writePictures();
        if (soundThread.joinable()) soundThread.join();
        if (failure_.error()) discard(*failure_.error());
        video_->markAsFinished();
        if (!writer_->finishWriting())
            discard(ExportError::writer(writer_->error().empty() ? "finishWriting" : writer_->error()));
        (void)progress_(total(), total());
    }

  private:
    std::int64_t total() const { return timeline_.frameCount(); }

    void setUp(const std::vector<ExportSegment>& segments, const std::shared_ptr<gpu::Device>& device,
               const VideoExporter::Encoding& encoding) {
        if (segments.empty()) throw ExportError::setup("nothing to export");
        if (preset_.fps <= 0 || ExportSound::sampleRate % preset_.fps != 0)
            throw ExportError::setup(std::to_string(preset_.fps) + " fps does not divide the audio rate");
        timeline_ = ExportTimeline(segments, preset_.fps);
        drawer_.emplace(timeline_, preset_, device, stop_);
        if (timeline_.hasSound()) sound_.emplace(timeline_, device);
        std::remove(path_.c_str());
        auto writer = MovieWriter::make(path_);
        if (!writer) throw std::runtime_error(writer.error());
        writer_ = std::move(*writer);
        video_ = writer_->addVideo({.width = preset_.width,
                                    .height = preset_.height,
                                    .fps = preset_.fps,
                                    .bitrate = preset_.bitrate,
                                    .codec = preset_.codec,
                                    .encoder = encoding.encoder,
                                    .quality = encoding.quality});
        if (video_ == nullptr) discard(ExportError::setup("the writer rejected the video settings"));
        if (sound_) soundInput_ = writer_->addAudio({});
        if (sound_ && soundInput_ == nullptr) discard(ExportError::setup("the writer rejected the audio settings"));
        if (!writer_->startWriting())
            discard(ExportError::writer(writer_->error().empty() ? "startWriting" : writer_->error()));
    }

    [[noreturn]] void discard(ExportError error) {
        writer_->cancelWriting();
        std::remove(path_.c_str());
        throw error;
    }

    // Waits until an input takes more; false once a failure is recorded, by whomever.
    bool waitFor(const MovieInput& input) {
        if (input.isReadyForMoreMediaData()) return true;
        const auto deadline = std::chrono::steady_clock::now() + stallDeadline;
        while (true) {
            if (failure_.isRecorded()) return false;
            if (writer_->status() == MovieWriter::Status::failed) {
                failure_.record(ExportError::writer(writer_->error().empty() ? "unknown" : writer_->error()));
                return false;
            }
            if (std::chrono::steady_clock::now() >= deadline) {
                failure_.record(ExportError::writer("the writer stalled waiting for the " +
                                                    std::string(input.mediaType()) + " track"));
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            if (input.isReadyForMoreMediaData()) return true;
        }
    }

    void failWriting(const std::string& otherwise) {
        failure_.record(ExportError::writer(writer_->error().empty() ? otherwise : writer_->error()));
    }

    // ---- sound, on its own thread

    void writeSound() {
        std::vector<float> samples;
        for (std::int64_t i = 0; i < total(); ++i) {
            if (failure_.isRecorded() || !waitFor(*soundInput_)) return;
            if (!sound_->render(i, samples) || !writer_->append(*soundInput_, samples)) {
                failWriting("audio failed at frame " + std::to_string(i));
                return;
            }
        }
        soundInput_->markAsFinished();
    }

    // ---- pictures, on the caller's

    void writePictures() {
        for (std::int64_t i = 0; i < total(); ++i) {
            if (failure_.isRecorded()) return;
            if (!progress_(i, total()) || stop_.stop_requested()) {
                failure_.record(ExportError::cancelled());
                return;
            }
            if (!waitFor(*video_)) return;
            auto texture = pool_.take([this] { return failure_.isRecorded(); });
            if (texture == nullptr) {
                failure_.record(ExportError::setup("could not get a pixel buffer"));
                return;
            }
            if (auto drawn = drawer_->draw(i, texture); !drawn) {
                failure_.record(drawn.error());
                return;
            }
            show(i, *texture);
            MovieFrame frame{texture->contents(), texture->rowBytes(), {}};
            frame.release = [this, held = std::move(texture)]() mutable { pool_.giveBack(std::move(held)); };
            if (!writer_->append(*video_, std::move(frame))) {
                failWriting("append failed at frame " + std::to_string(i));
                return;
            }
        }
    }

    void show(std::int64_t frame, const gpu::Texture& texture) {
        if (!preview_) return;
        const auto now = std::chrono::steady_clock::now();
        if (frame != 0 && frame != total() - 1 && now - lastShown_ < previewInterval) return;
        lastShown_ = now;
        preview_(texture.contents(), texture.rowBytes());
    }

    const ExportPreset& preset_;
    const std::string& path_;
    const VideoExporter::Progress& progress_;
    const std::stop_token& stop_;
    const VideoExporter::Preview& preview_;
    std::chrono::steady_clock::time_point lastShown_;
    ExportTimeline timeline_;
    std::optional<FrameDrawer> drawer_;
    std::optional<ExportSound> sound_;
    Failure failure_;
    FramePool pool_; // outlives the writer, whose frames go back to it
    std::unique_ptr<MovieWriter> writer_;
    MovieInput* video_ = nullptr;
    MovieInput* soundInput_ = nullptr;
};

} // namespace

namespace VideoExporter {

void exportMovie(const std::vector<ExportSegment>& segments, const ExportPreset& preset,
                 const std::shared_ptr<gpu::Device>& device, const std::string& path, const Progress& progress,
                 const Encoding& encoding, const std::stop_token& stop, const Preview& preview) {
    Export(segments, preset, device, path, progress, encoding, stop, preview).run();
}

void exportMovie(const std::shared_ptr<const ShaderProgram>& program, const SliderValues& values,
                 const ExportPlan& plan, bool watermark, const std::shared_ptr<gpu::Device>& device,
                 const std::string& path, const Progress& progress, const Encoding& encoding,
                 const std::stop_token& stop, const Preview& preview) {
    exportMovie({ExportSegment(program, values, plan.start, plan.duration, watermark, true)}, plan.preset, device, path,
                progress, encoding, stop, preview);
}

} // namespace VideoExporter
} // namespace glasshob
