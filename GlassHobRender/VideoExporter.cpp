#include "GlassHobRender/VideoExporter.h"

#include "GPU/Buffer.h"
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Texture.h"
#include "GlassHobCore/Uniforms.h"
#include "GlassHobRender/OverlayPipeline.h"
#include "GlassHobRender/ShaderProgram.h"
#include "GlassHobRender/ShaderRun.h"
#include "GlassHobRender/Watermark.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace glasshob {

namespace {

constexpr std::int64_t sampleRate = AudioSettings::sampleRate;
constexpr double fadeIn = 0.02; // seconds, of the whole file's sound
constexpr double fadeOut = 0.3;
constexpr float markOpacity = 0.9F;
constexpr std::chrono::seconds stallDeadline{60};
constexpr std::size_t texturesInUse = 5; // one drawn, one converted, and the writer's queue

double notNegative(double value) {
    return value >= 0 ? value : 0;
}

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

// Shared textures that go round between the drawing and the writer.
class TexturePool {
  public:
    TexturePool(gpu::Device& device, std::int64_t width, std::int64_t height)
        : device_(device), width_(std::uint32_t(width)), height_(std::uint32_t(height)) {}

    // Null when none can be made; waits for one to come back where all are out.
    std::shared_ptr<gpu::Texture> take(const Failure& failure) {
        std::unique_lock guard(lock_);
        while (free_.empty() && made_ >= texturesInUse) {
            if (failure.isRecorded()) return nullptr;
            back_.wait_for(guard, std::chrono::milliseconds(50));
        }
        if (!free_.empty()) {
            auto texture = std::move(free_.back());
            free_.pop_back();
            return texture;
        }
        auto texture = device_.makeTexture({.width = width_,
                                            .height = height_,
                                            .storage = gpu::StorageMode::shared,
                                            .usage = {.shaderRead = false, .renderTarget = true}});
        if (!texture) return nullptr;
        ++made_;
        return *texture;
    }
    void giveBack(std::shared_ptr<gpu::Texture> texture) {
        const std::lock_guard guard(lock_);
        free_.push_back(std::move(texture));
        back_.notify_all();
    }

  private:
    gpu::Device& device_;
    std::uint32_t width_, height_;
    std::mutex lock_;
    std::condition_variable back_;
    std::vector<std::shared_ptr<gpu::Texture>> free_;
    std::size_t made_ = 0;
};

struct Entry {
    const ExportSegment* segment;
    std::int64_t local; // frame of the segment
};

const std::shared_ptr<const ShaderProgram>& heard(const ExportSegment& segment) {
    return segment.soundProgram != nullptr ? segment.soundProgram : segment.program;
}

class Export {
  public:
    Export(const std::vector<ExportSegment>& segments, const ExportPreset& preset,
           const std::shared_ptr<gpu::Device>& device, const std::string& path, const VideoExporter::Progress& progress,
           const VideoExporter::Encoding& encoding, const std::stop_token& stop)
        : preset_(preset), device_(device), path_(path), progress_(progress), stop_(stop),
          pool_(*device, preset.width, preset.height) {
        setUp(segments, encoding);
    }

    void run() {
        std::jthread soundThread;
        if (sound_ != nullptr) soundThread = std::jthread([this] { writeSound(); });
        writePictures();
        if (soundThread.joinable()) soundThread.join();
        if (failure_.error()) discard(*failure_.error());
        video_->markAsFinished();
        if (!writer_->finishWriting())
            discard(ExportError::writer(writer_->error().empty() ? "finishWriting" : writer_->error()));
        (void)progress_(total(), total());
    }

  private:
    std::int64_t total() const { return std::int64_t(entries_.size()); }

    void setUp(const std::vector<ExportSegment>& segments, const VideoExporter::Encoding& encoding) {
        if (segments.empty()) throw ExportError::setup("nothing to export");
        samplesPerFrame_ = preset_.fps > 0 ? sampleRate / preset_.fps : 0;
        if (samplesPerFrame_ * preset_.fps != sampleRate || preset_.fps <= 0)
            throw ExportError::setup(std::to_string(preset_.fps) + " fps does not divide the audio rate");
        for (const ExportSegment& segment : segments) {
            const std::int64_t count = ExportPlan(preset_, 0, segment.duration).frameCount();
            for (std::int64_t local = 0; local < count; ++local)
                entries_.push_back({&segment, local});
        }
        const auto any = [&](auto test) { return std::ranges::any_of(segments, test); };
        const bool hasSound =
            any([](const ExportSegment& s) { return s.sound && heard(s)->soundPipeline() != nullptr; });
        const auto queue = device_->makeCommandQueue(gpu::QueuePriority::background);
        if (!queue) throw ExportError::setup("no command queue");
        queue_ = *queue;
        try {
            if (any([](const ExportSegment& s) { return s.layout.has_value(); }))
                overlay_ = std::make_unique<OverlayQuad>(device_, gpu::PixelFormat::bgra8Unorm);
        } catch (const std::runtime_error&) {
            throw ExportError::setup("the overlay did not compile");
        }
        try {
            if (any([](const ExportSegment& s) { return s.watermark; }))
                mark_ = std::make_unique<Watermark>(device_, gpu::PixelFormat::bgra8Unorm);
        } catch (const std::runtime_error&) {
            throw ExportError::setup("the watermark did not compile");
        }
        if (hasSound) {
            const auto buffer =
                device_->makeBuffer(std::size_t(samplesPerFrame_) * 2 * sizeof(float), gpu::StorageMode::shared);
            const auto soundQueue = device_->makeCommandQueue(gpu::QueuePriority::background);
            if (!buffer || !soundQueue) throw ExportError::setup("no audio buffer");
            samples_ = *buffer;
            soundQueue_ = *soundQueue;
        }
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
        if (hasSound) sound_ = writer_->addAudio({});
        if (hasSound && sound_ == nullptr) discard(ExportError::setup("the writer rejected the audio settings"));
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
            if (failure_.isRecorded() || !waitFor(*sound_)) return;
            const bool isGood = soundOf(entries_[std::size_t(i)], samples);
            if (isGood) fadeEdges(i, samples);
            if (!isGood || !writer_->append(*sound_, samples)) {
                failWriting("audio failed at frame " + std::to_string(i));
                return;
            }
        }
        sound_->markAsFinished();
    }

    bool soundOf(const Entry& entry, std::vector<float>& samples) {
        const ExportSegment& segment = *entry.segment;
        samples.assign(std::size_t(samplesPerFrame_) * 2, 0.0F);
        const auto& program = heard(segment);
        if (!segment.sound || program->soundPipeline() == nullptr) return true;
        const double time = double(entry.local) / double(preset_.fps) + segment.soundStart.value_or(segment.start);
        const SoundUniforms uniforms{float(time), float(sampleRate), std::uint32_t(samplesPerFrame_), 0};
        const std::vector<float> parameters = program->parameterFloats(segment.soundValues.value_or(segment.values));
        const auto commands = soundQueue_->commandBuffer();
        gpu::ComputeCommandEncoder* encoder = commands != nullptr ? commands->makeComputeCommandEncoder() : nullptr;
        if (encoder == nullptr) return false;
        encoder->setComputePipelineState(program->soundPipeline());
        encoder->setBuffer(samples_, 0, 0);
        encoder->setBytes(&uniforms, sizeof uniforms, 1);
        encoder->setBytes(parameters.data(), parameters.size() * sizeof(float), 2);
        encoder->dispatchThreads({std::uint32_t(samplesPerFrame_), 1, 1});
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        if (commands->status() != gpu::CommandBufferStatus::completed) return false;
        const auto* made = static_cast<const float*>(samples_->contents());
        std::copy_n(made, samples.size(), samples.begin());
        return true;
    }

    void fadeEdges(std::int64_t frame, std::vector<float>& samples) const {
        const double length = double(total()) / double(preset_.fps);
        const double first = double(frame * samplesPerFrame_) / double(sampleRate);
        if (first >= fadeIn && length - fadeOut >= first + 1.0 / double(preset_.fps)) return;
        for (std::int64_t j = 0; j < samplesPerFrame_; ++j) {
            const double time = first + double(j) / double(sampleRate);
            const double gain = std::max(0.0, std::min({1.0, time / fadeIn, (length - time) / fadeOut}));
            samples[std::size_t(2 * j)] *= float(gain);
            samples[std::size_t(2 * j + 1)] *= float(gain);
        }
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
            auto texture = pool_.take(failure_);
            if (texture == nullptr) {
                failure_.record(ExportError::setup("could not get a pixel buffer"));
                return;
            }
            if (!draw(i, texture)) return;
            MovieFrame frame{texture->contents(), texture->rowBytes(), {}};
            frame.release = [this, held = std::move(texture)]() mutable { pool_.giveBack(std::move(held)); };
            if (!writer_->append(*video_, std::move(frame))) {
                failWriting("append failed at frame " + std::to_string(i));
                return;
            }
        }
    }

    bool draw(std::int64_t number, const std::shared_ptr<gpu::Texture>& texture) {
        const Entry& entry = entries_[std::size_t(number)];
        const ExportSegment& segment = *entry.segment;
        const FrameLayout* layout = segment.layout ? &*segment.layout : nullptr;
        const std::int64_t width = layout != nullptr ? layout->picture.width : preset_.width;
        const std::int64_t height = layout != nullptr ? layout->picture.height : preset_.height;
        const auto failed = [&] {
            failure_.record(ExportError::render(number));
            return false;
        };
        GHUniforms uniforms;
        uniforms.resolution[0] = float(width);
        uniforms.resolution[1] = float(height);
        uniforms.time = float(double(entry.local) / double(preset_.fps) + segment.start);
        uniforms.timeDelta = float(1.0 / double(preset_.fps));
        uniforms.mouse[0] = uniforms.resolution[0] * 0.5F;
        uniforms.mouse[1] = uniforms.resolution[1] * 0.5F;
        uniforms.frame = std::uint32_t(entry.local);
        if (&segment != runOf_) {
            runOf_ = &segment;
            run_.reset();
            if (ShaderRun::needsRun(*segment.program)) {
                run_ = ShaderRun::make(segment.program, device_, width, height);
                if (run_ == nullptr) return failed();
                if (!run_->catchUp(*queue_, segment.values, nullptr, double(uniforms.time), stop_)) {
                    if (!stop_.stop_requested()) return failed();
                    failure_.record(ExportError::cancelled());
                    return false;
                }
            }
        }
        const auto commands = queue_->commandBuffer();
        if (commands == nullptr) return failed();
        if (run_ != nullptr) run_->encode(uniforms, *commands, segment.values);
        gpu::RenderPassDescriptor pass;
        pass.colorAttachments[0].texture = texture;
        pass.colorAttachments[0].loadAction =
            layout != nullptr ? gpu::LoadAction::clear : segment.program->pictureLoadAction();
        if (layout != nullptr) pass.colorAttachments[0].clearColor = layout->background;
        gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
        if (encoder == nullptr) return failed();
        if (layout != nullptr) {
            const FrameLayout::Rectangle& r = layout->picture;
            encoder->setViewport({double(r.x), double(r.y), double(r.width), double(r.height)});
            encoder->setScissorRect(
                {std::uint32_t(r.x), std::uint32_t(r.y), std::uint32_t(r.width), std::uint32_t(r.height)});
            segment.program->encodePicture(*encoder, uniforms, segment.values, run_.get());
            encoder->setViewport({0, 0, double(preset_.width), double(preset_.height)});
            encoder->setScissorRect({0, 0, std::uint32_t(preset_.width), std::uint32_t(preset_.height)});
            const std::int64_t wanted = layout->overlayIndex(double(entry.local) / double(preset_.fps));
            const auto last = std::int64_t(layout->overlays.size()) - 1;
            encoder->setRenderPipelineState(overlay_->pipeline);
            encoder->setFragmentTexture(layout->overlays.at(std::size_t(std::clamp<std::int64_t>(wanted, 0, last))), 0);
            encoder->drawPrimitives(gpu::PrimitiveType::triangleStrip, 0, 4);
        } else {
            segment.program->encodePicture(*encoder, uniforms, segment.values, run_.get());
        }
        if (segment.watermark) {
            const WatermarkPlacement::Rect rect = WatermarkPlacement::rect(preset_.width, preset_.height);
            mark_->draw(*encoder, {rect.x, rect.y, rect.size}, float(preset_.width), float(preset_.height),
                        markOpacity);
        }
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        return commands->status() == gpu::CommandBufferStatus::completed || failed();
    }

    const ExportPreset& preset_;
    const std::shared_ptr<gpu::Device>& device_;
    const std::string& path_;
    const VideoExporter::Progress& progress_;
    const std::stop_token& stop_;
    std::vector<Entry> entries_;
    std::int64_t samplesPerFrame_ = 0;
    std::shared_ptr<gpu::CommandQueue> queue_, soundQueue_;
    std::unique_ptr<OverlayQuad> overlay_;
    std::unique_ptr<Watermark> mark_;
    std::shared_ptr<gpu::Buffer> samples_;
    std::unique_ptr<ShaderRun> run_;
    const ExportSegment* runOf_ = nullptr;
    Failure failure_;
    TexturePool pool_; // outlives the writer, whose frames go back to it
    std::unique_ptr<MovieWriter> writer_;
    MovieInput* video_ = nullptr;
    MovieInput* sound_ = nullptr;
};

} // namespace

ExportSegment::ExportSegment(std::shared_ptr<const ShaderProgram> program_, SliderValues values_, double start_,
                             double duration_, bool watermark_, bool sound_, std::optional<FrameLayout> layout_,
                             std::shared_ptr<const ShaderProgram> soundProgram_,
                             std::optional<SliderValues> soundValues_, std::optional<double> soundStart_)
    : program(std::move(program_)), values(std::move(values_)), start(notNegative(start_)),
      duration(notNegative(duration_)), watermark(watermark_), sound(sound_), layout(std::move(layout_)),
      soundProgram(std::move(soundProgram_)), soundValues(std::move(soundValues_)), soundStart(soundStart_) {
    if (soundStart) soundStart = notNegative(*soundStart);
}

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

namespace VideoExporter {

void exportMovie(const std::vector<ExportSegment>& segments, const ExportPreset& preset,
                 const std::shared_ptr<gpu::Device>& device, const std::string& path, const Progress& progress,
                 const Encoding& encoding, const std::stop_token& stop) {
    Export(segments, preset, device, path, progress, encoding, stop).run();
}

void exportMovie(const std::shared_ptr<const ShaderProgram>& program, const SliderValues& values,
                 const ExportPlan& plan, bool watermark, const std::shared_ptr<gpu::Device>& device,
                 const std::string& path, const Progress& progress, const Encoding& encoding,
                 const std::stop_token& stop) {
    exportMovie({ExportSegment(program, values, plan.start, plan.duration, watermark, true)}, plan.preset, device, path,
                progress, encoding, stop);
}

} // namespace VideoExporter
} // namespace glasshob
